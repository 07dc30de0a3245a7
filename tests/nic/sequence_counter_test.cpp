#include "sequence_counter.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <set>
#include <vector>

namespace {

using orv::il::Packets;
using orv::nic::SequenceCounter;

/// "3 received, 1 lost": what there is.
std::string text_of(const Packets& packets) {
    std::string text = fmt::format("{} received", packets.received);
    for (const auto& [count, what] : {std::pair(packets.lost, "lost"),
                                      {packets.reordered, "reordered"},
                                      {packets.duplicate, "duplicate"},
                                      {packets.late, "late"}})
        if (count > 0) text += fmt::format(", {} {}", count, what);
    return text;
}

Packets count(const std::vector<std::uint64_t>& sequences, bool is_wrapping) {
    SequenceCounter counter;
    Packets packets;
    for (const std::uint64_t sequence : sequences) {
        if (is_wrapping) {
            counter.add_wrapping(static_cast<std::uint16_t>(sequence), 40'000, packets);
        } else {
            counter.add(sequence, packets);
        }
    }
    return packets;
}

TEST(SequenceCounter, TellsWhatBecameOfPackets) {
    constexpr std::uint64_t kFar = std::uint64_t{1} << 41;
    const struct {
        const char* what;
        std::vector<std::uint64_t> sequences;
        const char* text;
        bool also_wrapping = true;
    } cases[] = {
        {"all there", {7, 8, 9}, "3 received"},
        {"a gap", {7, 10, 11}, "3 received, 2 lost"},
        {"a gap filled", {7, 9, 10, 8}, "4 received, 1 reordered"},
        {"filled twice", {7, 9, 8, 8}, "4 received, 1 reordered, 1 duplicate"},
        {"twice", {7, 7, 8, 7}, "4 received, 2 duplicate"},
        {"63 behind", {100, 164, 101}, "3 received, 62 lost, 1 reordered"},
        {"64 behind", {100, 165, 101}, "3 received, 63 lost, 1 late"},
        {"1023 behind", {100, 1124, 101}, "3 received, 1022 lost, 1 late"},
        {"forgotten", {100, 1125, 101}, "3 received, 1024 lost, 1 late"},
        {"old places are free again", {100, 1124, 1125}, "3 received, 1023 lost"},
        {"before the first", {100, 99, 101, 99}, "4 received, 1 reordered, 1 duplicate"},
        {"wraps", {65534, 65535, 65536, 65538}, "4 received, 1 lost"},
        {"wraps back", {65535, 65537, 65536, 65535}, "4 received, 1 reordered, 1 duplicate"},
        {"anew far behind", {30000, 5, 6, 8}, "4 received, 1 lost, 1 late"},
        {"a stray far behind", {30000, 5, 30001, 6}, "4 received, 2 late"},
        {"anew far ahead", {5, kFar, kFar + 1, kFar + 3}, "4 received, 1 lost", false},
        {"a stray far ahead", {5, kFar, 6, kFar + 1, 7}, "5 received", false},
        {"two strays", {5, kFar, 2 * kFar, 6}, "4 received", false},
        {"a long outage", {5, 32772}, "2 received, 32766 lost"},
        {"an outage of days",
         {5, 1'000'000'005, 1'000'000'006, 1'000'000'008},
         "4 received, 1000000000 lost",
         false},
        {"the last number", {UINT64_MAX - 1, UINT64_MAX, 0, 1}, "4 received, 1 late", false},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(test.text, text_of(count(test.sequences, false))) << test.what;
        if (test.also_wrapping) {
            EXPECT_EQ(test.text, text_of(count(test.sequences, true))) << test.what << ", 16 bits";
        }
    }
}

/// Reference implementation: received numbers are kept in a set.
Packets model(const std::vector<std::uint64_t>& sequences) {
    Packets packets;
    std::set<std::uint64_t> seen;
    const std::uint64_t first = sequences.empty() ? 0 : sequences.front();
    for (const std::uint64_t sequence : sequences) {
        ++packets.received;
        const std::uint64_t highest = seen.empty() ? sequence : *seen.rbegin();
        const bool is_new = seen.insert(sequence).second;
        if (!is_new) ++packets.duplicate;
        if (!is_new || sequence >= highest) continue;
        ++(highest - sequence < 64 ? packets.reordered : packets.late);
    }
    for (std::uint64_t i = first; !seen.empty() && i < *seen.rbegin(); ++i) packets.lost += !seen.contains(i);
    return packets;
}

TEST(SequenceCounter, CountsWhatAPlainModelCounts) {
    struct Copy {
        std::uint64_t place;
        std::uint64_t sequence;
    };
    const bool holds = rc::check([](const std::vector<std::uint16_t>& fates, std::uint16_t start) {
        std::vector<Copy> copies;
        // As many as fill the counter's memory several times.
        constexpr std::uint64_t kRepeats = 30;
        for (std::uint64_t i = 0; i < fates.size() * kRepeats; ++i) {
            const std::uint64_t fate = orv::il::mixed(fates[i % fates.size()] + (i << 16));
            const std::uint64_t delay = fate >> 32;
            if (fate % 10 == 0) continue;
            copies.push_back({i, start + i});
            if (fate % 10 == 1) copies.back().place += delay % 60;
            if (fate % 100 == 2) copies.back().place += delay % 900;
            if (fate % 10 == 3) copies.push_back({i + delay % 60, start + i});
        }
        std::ranges::stable_sort(copies, {}, &Copy::place);
        std::vector<std::uint64_t> sequences;
        for (const Copy& copy : copies) sequences.push_back(copy.sequence);
        const std::string expected = text_of(model(sequences));
        RC_ASSERT(text_of(count(sequences, false)) == expected);
        RC_ASSERT(text_of(count(sequences, true)) == expected);
    });
    EXPECT_TRUE(holds);
}

}  // namespace
