#include "address_clients.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "orv/il/port_fault.h"
#include "orv/live/dhcp4_client.h"
#include "orv/live/dhcp6_client.h"
#include "orv/live/slaac_client.h"
#include "orv/nic/address_check.h"

namespace orv::nic {

using hostaddr_1_bll::addressBlock_s;
using hostaddr_1_bll::AddressProtocol;
using hostaddr_1_bll::hostIdentity_s;
using hostaddr_1_bll::hostOption_s;
using il::FaultCode;
using il::PortFault;
using live::AddressClient;
using live::Dhcp4Client;
using live::Dhcp6Client;
using std::chrono::milliseconds;

namespace {

std::vector<live::Dhcp4Option> to_dhcp4(const std::vector<hostOption_s>& options) {
    std::vector<live::Dhcp4Option> made;
    for (const hostOption_s& option : options) {
        if (option.code > 254)
            throw PortFault(FaultCode::BadValue, fmt::format("DHCPv4 has no option {}", option.code));
        made.push_back({static_cast<std::uint8_t>(option.code), option.value});
    }
    return made;
}

/// What clients have in common.
template <class Settings>
void set_times(const addressBlock_s& block, Settings& settings) {
    settings.attempts = block.attempts;
    if (block.first_timeout_ms > 0) settings.first_delay = milliseconds(block.first_timeout_ms);
    if (block.longest_timeout_ms > 0) settings.longest_delay = milliseconds(block.longest_timeout_ms);
    settings.longest_delay = std::max(settings.longest_delay, settings.first_delay);
    settings.probe = milliseconds(block.probe_ms);
}

std::shared_ptr<const live::Dhcp4Client::Settings> make_dhcp4_settings(const addressBlock_s& block) {
    auto settings = std::make_shared<live::Dhcp4Client::Settings>();
    if (!block.requested_options.empty()) {
        settings->parameters.clear();
        for (const std::uint16_t code : block.requested_options)
            settings->parameters.push_back(static_cast<std::uint8_t>(code));
    }
    settings->options = to_dhcp4(block.options);
    settings->wants_broadcast = block.broadcast;
    settings->rapid_commit = block.rapid_commit;
    if (block.lease_seconds > 0) settings->lease_seconds = block.lease_seconds;
    set_times(block, *settings);
    return settings;
}

std::vector<live::Dhcp6Option> to_dhcp6(const std::vector<hostOption_s>& options) {
    std::vector<live::Dhcp6Option> made;
    for (const hostOption_s& option : options) made.push_back({option.code, option.value});
    return made;
}

std::shared_ptr<const live::Dhcp6Client::Settings> make_dhcp6_settings(const addressBlock_s& block) {
    auto settings = std::make_shared<live::Dhcp6Client::Settings>();
    set_times(block, *settings);
    settings->is_prefix = block.protocol == AddressProtocol::DHCPV6_PD;
    settings->rapid_commit = block.rapid_commit;
    settings->requested_options = block.requested_options;
    settings->options = to_dhcp6(block.options);
    return settings;
}

std::shared_ptr<const live::SlaacClient::Settings> make_slaac_settings(const addressBlock_s& block) {
    auto settings = std::make_shared<live::SlaacClient::Settings>();
    set_times(block, *settings);
    return settings;
}

Dhcp4Client::Identity make_dhcp4_identity(const hostIdentity_s& identity, const Host& host) {
    return {host.address, to_dhcp4(identity.options)};
}

Dhcp6Client::Identity make_dhcp6_identity(const hostIdentity_s& identity, const Host& host) {
    return {host.address, identity.duid, identity.iaid, to_dhcp6(identity.options)};
}

}  // namespace

ClientMaker choose_client_maker(const addressBlock_s& block) {
    switch (block.protocol) {
        case AddressProtocol::DHCPV4:
            return [settings = make_dhcp4_settings(block)](const auto& identity, const Host& host,
                                                           AddressClient::Surroundings surroundings) {
                return std::make_unique<live::Dhcp4Client>(make_dhcp4_identity(identity, host), settings,
                                                           std::move(surroundings));
            };
        case AddressProtocol::DHCPV6:
        case AddressProtocol::DHCPV6_PD:
            return [settings = make_dhcp6_settings(block)](const auto& identity, const Host& host,
                                                           AddressClient::Surroundings surroundings) {
                return std::make_unique<live::Dhcp6Client>(make_dhcp6_identity(identity, host), settings,
                                                           std::move(surroundings));
            };
        case AddressProtocol::SLAAC:
            return [settings = make_slaac_settings(block)](const auto&, const Host& host,
                                                           AddressClient::Surroundings surroundings) {
                return std::make_unique<live::SlaacClient>(host.address, settings, std::move(surroundings));
            };
        default:
            throw PortFault(FaultCode::BadValue,
                            fmt::format("address block {} has an unknown protocol", block.handle));
    }
}

void CheckAddressBlock(const addressBlock_s& block) {
    const bool is_v4 = block.protocol == AddressProtocol::DHCPV4;
    const auto settings4 = is_v4 ? make_dhcp4_settings(block) : nullptr;
    const auto settings6 = is_v4 ? nullptr : make_dhcp6_settings(block);
    for (std::size_t i = 0; i < block.hosts.size() && block.protocol != AddressProtocol::SLAAC; ++i) {
        try {
            if (is_v4)
                Dhcp4Client::Check(make_dhcp4_identity(block.hosts[i], {}), *settings4);
            else
                Dhcp6Client::Check(make_dhcp6_identity(block.hosts[i], {}), *settings6);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(fmt::format("host {}: {}", i + 1, error.what()));
        }
    }
}

}  // namespace orv::nic
