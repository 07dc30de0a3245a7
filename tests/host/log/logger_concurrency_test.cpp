#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "orv/framework/logger.h"

namespace host_test {
namespace {

using namespace orv::framework;  // NOLINT: tests

TEST(LoggerConcurrency, ThreadsLogWhileListenersAndLevelsChange) {
    auto& factory = BLLLoggerFactory::GetInstance();
    factory.SetConsole(false);
    std::atomic<bool> stop = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&stop, i] {
            BLLLogger& logger =
                *BLLLoggerFactory::GetInstance().GetLogger("test.thread" + std::to_string(i % 2));
            while (!stop) {
                if (logger.IsEnabledFor(LogLevelType::Error)) logger.Error("text", "here.cpp", 1);
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        auto heard = std::make_unique<int>(0);  // gone after RemoveListener: a call after it would be found
        const int id = factory.AddListener([&heard = *heard](const LogRecord&) { ++heard; });
        factory.SetLevel("test.thread0", round % 2 ? LogLevelType::Debug : LogLevelType::Fatal);
        std::this_thread::yield();
        factory.RemoveListener(id);
    }
    stop = true;
    for (std::thread& thread : threads) thread.join();
    factory.SetConsole(true);
}

}  // namespace
}  // namespace host_test
