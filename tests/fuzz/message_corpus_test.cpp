#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/checks.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

std::vector<std::byte> read(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

TEST(Message_corpus_test, SeedsHoldWhatTheirNamesSay) {
    int seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(ORV_MESSAGE_CORPUS)) {
        const std::string name = entry.path().filename().string();
        const bool is_message = testing_aids::check_message_bytes(read(entry.path()));
        EXPECT_TRUE(is_message || !name.starts_with("good_")) << name;
        EXPECT_FALSE(is_message && name.starts_with("cut_")) << name;
        ++seeds;
    }
    EXPECT_GE(seeds, 10);
}

TEST(Message_corpus_test, GoodSeedsAreTheMessagesOfToday) {
    for (const auto& [name, message] : testing::sample_messages()) {
        const std::filesystem::path file =
            std::filesystem::path(ORV_MESSAGE_CORPUS) / ("good_" + name + ".msg");
        EXPECT_EQ(read(file), message.encode())
            << name << ": the wire form has changed; raise its version and write the seeds anew";
    }
}

}  // namespace
}  // namespace orv::tm
