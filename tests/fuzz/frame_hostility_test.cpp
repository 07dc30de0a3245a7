// Random and damaged frames: they change nothing and crash nothing.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "fuzz/checks.h"
#include "live/sample_frames.h"

namespace testing_aids {
namespace {

TEST(FrameHostilityTest, SamplesAreReactedTo) {
    for (const SampleFrame& sample : sample_frames())
        EXPECT_TRUE(check_frame_bytes(bytes_of(sample.hex))) << sample.name;
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
    }
}

TEST(FrameHostilityTest, SamplesWithSomeBytesChangedOrCutOff) {
    std::mt19937 random(20261122);
    int understood = 0;
    for (const SampleFrame& sample : sample_frames()) {
        const std::vector<std::byte> whole = bytes_of(sample.hex);
        for (int round = 0; round < 300; ++round) {
            std::vector<std::byte> bytes = whole;
            for (int change = 0; change <= round % 3; ++change) {
                bytes[random() % bytes.size()] = static_cast<std::byte>(random());
            }
            if (round % 5 == 0) bytes.resize(random() % bytes.size());
            ASSERT_NO_THROW(understood += check_frame_bytes(bytes)) << sample.name << ": " << hex_text(bytes);
        }
    }
    EXPECT_GT(understood, 1000) << "the changes leave little to look at";
}

}  // namespace
}  // namespace testing_aids
