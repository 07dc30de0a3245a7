// A server with the example of a configuration, its users, and waiting for what other threads do.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "bus/nats_server.h"
#include "orv/bus/connection.h"

namespace testing_aids {

/// The example, and a user "observer" who may do everything.
std::string example_configuration();

/// Of one of its users: "controller", "lounge", "headend", "observer".
orv::bus::ServerAccess access_of(const NatsServer& server, const std::string& user);

/// What other threads change, until it is as wanted.
class Watched {
  public:
    void change(const std::function<void()>& change) {
        const std::lock_guard lock(mutex_);
        change();
        changed_.notify_all();
    }
    testing::AssertionResult wait_until(const std::function<bool()>& is_so) {
        std::unique_lock lock(mutex_);
        if (changed_.wait_for(lock, std::chrono::seconds(60), is_so)) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "timed out";
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
};

}  // namespace testing_aids
