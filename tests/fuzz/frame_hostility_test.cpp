// Random and damaged frames, RTCP and DHCP: they change nothing and crash nothing.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "fuzz/checks.h"
#include "live/dhcp4_network.h"
#include "live/sample_rtcp.h"

namespace testing_aids {
namespace {

TEST(FrameHostilityTest, SamplesAreReactedTo) {
    for (const SampleFrame& sample : sample_frames())
        EXPECT_TRUE(check_frame_bytes(bytes_of(sample.hex))) << sample.name;
    for (const SampleFrame& sample : sample_datagrams())
        EXPECT_TRUE(check_rtcp_bytes(bytes_of(sample.hex))) << sample.name;
    for (const SampleFrame& sample : sample_dhcp4())
        EXPECT_TRUE(check_dhcp4_bytes(bytes_of(sample.hex))) << sample.name;
}

TEST(FrameHostilityTest, LiveRunsEndAsTheyShould) {
    for (const SampleFrame& sample : sample_frames()) {
        std::vector<std::byte> bytes = bytes_of(sample.hex);
        bytes.emplace_back();
        for (unsigned choice = 0; choice < 8; ++choice) {
            bytes.back() = static_cast<std::byte>(choice);
            EXPECT_NO_THROW(check_live_run_bytes(bytes)) << sample.name << ", " << choice;
        }
    }
    for (const SampleFrame& sample : sample_datagrams()) {
        std::vector<std::byte> bytes = bytes_of(sample.hex);
        bytes.push_back(std::byte{8});
        EXPECT_NO_THROW(check_live_run_bytes(bytes)) << sample.name;
    }
}

TEST(FrameHostilityTest, RandomBytes) {
    std::mt19937 random(20261121);
    for (int round = 0; round < 20'000; ++round) {
        std::vector<std::byte> bytes(random() % 200);
        for (std::byte& byte : bytes) byte = static_cast<std::byte>(random());
        if (bytes.size() >= 14 && round % 2 == 0) {
            // Gives them the type of a protocol that is parsed.
            static constexpr unsigned kTypes[] = {0x0800, 0x0806, 0x86dd, 0x8100};
            const unsigned type = kTypes[random() % 4];
            bytes[12] = static_cast<std::byte>(type >> 8);
            bytes[13] = static_cast<std::byte>(type);
        }
        ASSERT_NO_THROW(check_frame_bytes(bytes)) << hex_text(bytes);
        if (bytes.size() >= 4) {  // RTCP of a type that is parsed, all of the datagram
            static constexpr unsigned kTypes[] = {203, 205, 210};
            bytes.resize(bytes.size() / 4 * 4);
            bytes[0] = static_cast<std::byte>(0x80 | random() % 8);
            bytes[1] = static_cast<std::byte>(kTypes[random() % 3]);
            bytes[2] = std::byte{0};
            bytes[3] = static_cast<std::byte>(bytes.size() / 4 - 1);
        }
        ASSERT_NO_THROW(check_rtcp_bytes(bytes)) << hex_text(bytes);
    }
}

/// How many were understood nevertheless.
int change_or_cut(std::span<const SampleFrame> samples, int rounds, bool (*check)(Bytes)) {
    std::mt19937 random(20261122);
    int understood = 0;
    for (const SampleFrame& sample : samples) {
        const std::vector<std::byte> whole = bytes_of(sample.hex);
        for (int round = 0; round < rounds; ++round) {
            std::vector<std::byte> bytes = whole;
            for (int change = 0; change <= round % 3; ++change) {
                bytes[random() % bytes.size()] = static_cast<std::byte>(random());
            }
            if (round % 5 == 0) bytes.resize(random() % bytes.size());
            EXPECT_NO_THROW(understood += check(bytes)) << sample.name << ": " << hex_text(bytes);
        }
    }
    return understood;
}

TEST(FrameHostilityTest, SamplesWithSomeBytesChangedOrCutOff) {
    constexpr const char* kWhy = "the changes leave little to look at";
    EXPECT_GT(change_or_cut(sample_frames(), 300, check_frame_bytes), 1000) << kWhy;
    EXPECT_GT(change_or_cut(sample_datagrams(), 3000, check_rtcp_bytes), 5000) << kWhy;
    EXPECT_GT(change_or_cut(sample_dhcp4(), 300, check_dhcp4_bytes), 300) << kWhy;
}

}  // namespace
}  // namespace testing_aids
