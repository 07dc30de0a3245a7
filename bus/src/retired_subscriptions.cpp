#include "retired_subscriptions.h"

#include <utility>

namespace orv::bus {

RetiredSubscriptions::RetiredSubscriptions(natsConnection* connection) : connection_(connection) {
    natsStatistics* made = nullptr;
    check(natsStatistics_Create(&made), "statistics");
    statistics_.reset(made);
}

void RetiredSubscriptions::add(OwnedSubscription subscription) {
    if (!subscription) return;
    natsSubscription_Unsubscribe(subscription.get());
    const std::lock_guard lock(mutex_);
    const std::uint64_t received = count_received();
    std::erase_if(retired_, [received](const Retired& retired) { return retired.received < received; });
    retired_.push_back({received, std::move(subscription)});
}

std::uint64_t RetiredSubscriptions::count_received() {
    std::uint64_t received = 0;
    natsConnection_GetStats(connection_, statistics_.get());
    natsStatistics_GetCounts(statistics_.get(), &received, nullptr, nullptr, nullptr, nullptr);
    return received;
}

}  // namespace orv::bus
