// A connection as the client library has it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "orv/bus/connection.h"
#include "owned.h"
#include "retired_subscriptions.h"

namespace orv::bus {

struct Connection::Native {
    Events events;
    std::string server;  ///< for texts
    std::atomic<bool> is_ending = false;
    OwnedConnection connection;
    std::optional<RetiredSubscriptions> retired;
    // The library's last call.
    std::mutex mutex;
    std::condition_variable changed;
    bool is_closed = false;
};

}  // namespace orv::bus
