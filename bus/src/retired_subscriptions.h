// Subscriptions whose time is over.
#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "owned.h"

namespace orv::bus {

/// The client library (3.4.1) hands a message to the subscription that it has looked up without holding it:
/// freed at that moment, it is used afterwards. Here it is kept until the connection has begun with a later
/// message.
class RetiredSubscriptions {
  public:
    explicit RetiredSubscriptions(natsConnection* connection);

    /// Ends it. Any thread.
    void add(OwnedSubscription subscription);

  private:
    struct Retired {
        std::uint64_t received;  ///< messages of the connection, once nobody could look it up any more
        OwnedSubscription subscription;
    };
    std::uint64_t count_received();

    natsConnection* const connection_;
    std::mutex mutex_;
    std::unique_ptr<natsStatistics, Destroy<natsStatistics_Destroy>> statistics_;
    std::vector<Retired> retired_;
};

}  // namespace orv::bus
