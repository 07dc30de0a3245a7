// The client library's objects, freed by themselves.
#pragma once

#include <nats/nats.h>

#include <cstddef>
#include <memory>
#include <span>
#include <string>

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

}  // namespace orv::bus
