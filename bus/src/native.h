// The client library's objects, freed by themselves.
#pragma once

#include <nats/nats.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

#include "orv/bus/connection.h"

namespace orv::bus {

template <auto destroy>
struct Destroy {
    template <class T>
    void operator()(T* object) const {
        destroy(object);
    }
};
using OwnedOptions = std::unique_ptr<natsOptions, Destroy<natsOptions_Destroy>>;
using OwnedConnection = std::unique_ptr<natsConnection, Destroy<natsConnection_Destroy>>;
using OwnedSubscription = std::unique_ptr<natsSubscription, Destroy<natsSubscription_Destroy>>;
using OwnedMessage = std::unique_ptr<natsMsg, Destroy<natsMsg_Destroy>>;

/// Throws BusError with what was being done, and the library's text.
void check(natsStatus status, const std::string& what);

std::span<const std::byte> data_of(natsMsg* message);

struct Connection::Native {
    Events events;
    std::string server;  ///< for texts
    std::atomic<bool> is_ending = false;
    OwnedConnection connection;
    // The library's last call.
    std::mutex mutex;
    std::condition_variable changed;
    bool is_closed = false;
};

}  // namespace orv::bus
