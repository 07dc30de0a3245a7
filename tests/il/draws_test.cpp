// The queue of events and the shortcuts of random numbers give what the plain ways give.
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "orv/il/event_queue.h"
#include "orv/il/random.h"

namespace {

using namespace orv::il;

TEST(EventQueue, ReturnsEntriesInOrderOfTimeStbAndStep) {
    Random random(5);
    for (const std::uint32_t spread :
         {1U, 40U, 3000U}) {  // of delays: none, some, more than there are entries
        EventQueue queue;
        std::multiset<EventQueue::Entry> expected;
        Time now = 0;
        for (int i = 0; i < 20000; ++i) {
            const auto stb = random.below(50);
            for (auto more = random.below(4); more > 0; --more) {
                const auto step = static_cast<Step>(random.below(kSteps));
                const EventQueue::Entry entry{now + static_cast<Time>(step) * 100 + random.below(spread), stb,
                                              step};
                queue.push(entry);
                expected.insert(entry);
            }
            if (i % 2000 == 1999) {
                queue.erase_if([stb](const auto& entry) { return entry.stb % 2 == stb % 2; });
                std::erase_if(expected, [stb](const auto& entry) { return entry.stb % 2 == stb % 2; });
            }
            for (auto less = random.below(i > 15000 ? 6 : 4); less > 0 && !expected.empty(); --less) {
                ASSERT_FALSE(queue.empty());
                ASSERT_EQ(queue.first(), *expected.begin()) << spread << ", " << i;
                now = queue.first().time;
                queue.pop();
                expected.erase(expected.begin());
            }
            ASSERT_EQ(queue.empty(), expected.empty());
        }
    }
}

TEST(Random, AFunctionOfANormalNumberIsThatOfTheLogarithmAndTheCosine) {
    for (const double scale : {-1e10, 1e6, 1e3}) {  // steps near the error of the shortcut, and far above it
        Random random(3), same(3);
        const auto rounded = [scale](double normal) { return std::floor(scale * normal); };
        for (int i = 0; i < 1000000; ++i) ASSERT_EQ(random.of_normal(rounded), rounded(same.normal()));
    }
}

TEST(Random, RowsAreThoseOfTheLogarithm) {
    for (const double probability : {1e-9, 0.001, 0.3, 0.5, 0.9, 0.999, 1 - 0x1p-53}) {
        Random random(3), same(3);
        for (int i = 0; i < 100000; ++i) {
            const double row = std::log(1 - same.fraction()) / std::log(probability);
            ASSERT_EQ(random.in_a_row(probability),
                      row < 1e15 ? static_cast<std::uint64_t>(row) : Random::kForever);
        }
    }
}

}  // namespace
