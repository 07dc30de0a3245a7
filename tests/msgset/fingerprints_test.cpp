// A change of a message shows as a changed line of fingerprints.txt, whose head says how to renew it.
#include <gmock/gmock.h>

#include <fstream>
#include <vector>

namespace {

std::vector<std::string> lines_of(const char* path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

TEST(Fingerprints, MessagesAreWhatTheyWere) {
    const std::vector<std::string> golden = lines_of(GOLDEN_FINGERPRINTS);
    ASSERT_GT(golden.size(), 100U);
    EXPECT_THAT(lines_of(FINGERPRINTS), testing::ElementsAreArray(golden))
        << "a message, record or enumeration has changed; see the head of " << GOLDEN_FINGERPRINTS;
}

}  // namespace
