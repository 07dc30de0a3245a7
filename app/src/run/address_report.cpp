#include "address_report.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>
#include <utility>

#include "orv/nic/addresses.h"

namespace orv::app {

using hostaddr_1_bll::hostAddress_s;
using hostaddr_1_bll::HostState;

namespace {

/// The least value that so large a fraction does not exceed.
double GetPercentile(const std::vector<double>& sorted, double fraction) {
    const double rank = std::ceil(fraction * static_cast<double>(sorted.size()));
    return sorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

}  // namespace

std::optional<AddressReport::Times> AddressReport::GetTimesToBind() const {
    std::vector<double> times;
    for (const hostAddress_s& host : hosts)
        if (host.bind_nsec > 0) times.push_back(static_cast<double>(host.bind_nsec) / 1e9);
    if (times.empty()) return {};
    std::ranges::sort(times);
    const double sum = std::accumulate(times.begin(), times.end(), 0.0);
    return Times{times.front(),
                 sum / static_cast<double>(times.size()),
                 times.back(),
                 GetPercentile(times, 0.5),
                 GetPercentile(times, 0.95),
                 GetPercentile(times, 0.99)};
}

std::size_t AddressReport::CountBound() const {
    return static_cast<std::size_t>(std::ranges::count(hosts, HostState::BOUND, &hostAddress_s::state));
}

std::vector<AddressReport::Failure> AddressReport::GetFailures() const {
    std::map<std::string, Failure> by_reason;
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        if (hosts[i].state != HostState::FAILED && hosts[i].state != HostState::BINDING) continue;
        const std::string why = hosts[i].state == HostState::FAILED ? hosts[i].failure : "no answer yet";
        Failure& failure = by_reason[why];
        failure.why = why;
        if (failure.hosts++ == 0) failure.first = i + 1;
    }
    std::vector<Failure> failures;
    for (const auto& [why, failure] : by_reason) failures.push_back(failure);
    std::ranges::stable_sort(failures, std::ranges::greater(), &Failure::hosts);
    return failures;
}

std::string MakeHostAddressesJson(const std::vector<AddressReport>& reports) {
    using Json = nlohmann::ordered_json;
    Json json = Json::array();
    for (const AddressReport& report : reports) {
        Json hosts = Json::array();
        for (const hostAddress_s& host : report.hosts) {
            Json told = Json::object();
            const auto add = [&told](const char* name, const hostaddr_1_bll::ipAddress_t& address) {
                const bool is_one = hostaddr_1_bll::ipAddress_t::length_of(address.type) > 0;
                const live::IpAddress told_address = is_one ? nic::ToLiveAddress(address) : live::IpAddress();
                if (!told_address.IsUnspecified()) told[name] = told_address.ToString();
            };
            add("address", host.address);
            if (!told.empty()) told["prefix_length"] = host.prefix_length;
            add("gateway", host.gateway);
            add("server", host.server);
            if (host.bind_nsec > 0) told["bind_s"] = static_cast<double>(host.bind_nsec) / 1e9;
            if (!host.failure.empty()) told["failure"] = host.failure;
            hosts.push_back(std::move(told));
        }
        json.push_back({{"port", report.port},
                        {"device", report.device},
                        {"protocol", report.protocol},
                        {"hosts", std::move(hosts)}});
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace orv::app
