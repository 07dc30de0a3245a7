#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "orv/tm/flat_shape.h"

namespace orv::tm {
namespace {

TEST(Intern_test, ThreadsAgreeOnOneShapeOfEachSort) {
    constexpr int kThreads = 4;
    constexpr int kShapes = 200;
    std::vector<std::vector<std::shared_ptr<const Tm_flat_shape>>> seen(kThreads);
    std::atomic<bool> start = false;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            while (!start) std::this_thread::yield();
            for (int i = 0; i < kShapes; ++i) {
                const std::vector<Tm_flat_member> members = {
                    {.name = "m" + std::to_string(i), .kind = TMV_UINT32}};
                const auto before = Tm_flat_shape::find_interned(Tm_flat_shape(members));
                seen[static_cast<std::size_t>(t)].push_back(Tm_flat_shape::intern(members));
                EXPECT_TRUE(before == nullptr || before == seen[static_cast<std::size_t>(t)].back());
            }
        });
    }
    start = true;
    for (std::thread& thread : threads) thread.join();
    for (int t = 1; t < kThreads; ++t) EXPECT_EQ(seen[static_cast<std::size_t>(t)], seen[0]);
}

}  // namespace
}  // namespace orv::tm
