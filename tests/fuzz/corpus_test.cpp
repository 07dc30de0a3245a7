// The seeds of the fuzzers, in every build: each is what its check wants, whole and cut off.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "fuzz/checks.h"

namespace testing_aids {
namespace {

std::vector<std::byte> read_seed(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    const auto* first = reinterpret_cast<const std::byte*>(text.data());
    return {first, first + text.size()};
}

TEST(FuzzCorpus, EverySeedPassesItsCheck) {
    const std::pair<const char*, std::function<bool(Bytes)>> checks[] = {
        {"parser", check_parser_bytes},
        {"agents", check_agents_bytes},
        {"database", check_database_bytes},
        {"recording", check_recording_bytes},
        {"dhcp4", check_dhcp4_bytes},
        {"dhcp6", check_dhcp6_bytes},
        {"port", [](Bytes bytes) { return check_port_bytes(bytes), true; }}};
    for (const auto& [folder, check] : checks) {
        int seeds = 0, accepted = 0;
        for (const auto& entry :
             std::filesystem::directory_iterator(std::string(ORV_CORPUS) + "/" + folder)) {
            const auto bytes = read_seed(entry.path());
            EXPECT_NO_THROW(accepted += check(bytes)) << entry.path();
            if (std::string(folder) == "port") continue;
            EXPECT_NO_THROW(check(Bytes(bytes).first(bytes.size() / 2))) << entry.path();
            ++seeds;
        }
        EXPECT_GE(4 * accepted, seeds) << folder << ": most seeds are refused";
    }
}

}  // namespace
}  // namespace testing_aids
