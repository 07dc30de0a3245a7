// What became of hosts that get their addresses from the network.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "msgset/hostaddr_1.h"

namespace orv::app {

/// The hosts of one block.
struct AddressReport {
    std::string port, device;
    std::string protocol;  ///< "DHCPv4"
    std::size_t host_count = 0;
    /// When all of them had an address or had failed, or it was not waited for any longer. None if the port
    /// has gone before.
    std::vector<hostaddr_1_bll::hostAddress_s> hosts;
    hostaddr_1_bll::addressCounts_s counts;  ///< the latest

    /// Of the hosts that got an address, in seconds.
    struct Times {
        double min = 0, mean = 0, max = 0, p50 = 0, p95 = 0, p99 = 0;
    };
    /// Nothing if none got an address.
    std::optional<Times> GetTimesToBind() const;
    std::size_t CountBound() const;

    /// Hosts without an address for the same reason.
    struct Failure {
        std::string why;
        std::size_t hosts = 0;
        std::size_t first = 0;  ///< its number, from 1
    };
    /// The most frequent first.
    std::vector<Failure> GetFailures() const;
};

/// For run_description::kHostAddresses.
std::string MakeHostAddressesJson(const std::vector<AddressReport>& reports);

}  // namespace orv::app
