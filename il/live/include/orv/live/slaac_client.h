// An emulated host that makes its IPv6 address from what routers advertise.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "orv/live/address_client.h"
#include "orv/live/link_routers.h"

namespace orv::live {

/// Stateless address autoconfiguration (RFC 4862).
///
/// - It asks for a router at once and then again (RFC 4861 section 6.3.7). When nobody has answered one
///   interval after the last time, it has failed.
/// - The first usable prefix and the modified EUI-64 of the MAC address make the address (RFC 4862 section
///   5.5.3, RFC 2464 section 4). Others are asked whether they use it (section 5.4); if so the host has
///   failed, because there is no second choice.
/// - Lifetimes follow later advertisements; one that nobody authenticates cannot shorten what is left below
///   two hours (section 5.5.3 e). When the lifetime runs out, the host asks for routers again.
///
/// Made to exist in thousands: at most one timer. Used like every AddressClient.
class SlaacClient : public AddressClient {
  public:
    using Nanoseconds = il::Nanoseconds;

    struct Settings {
        std::uint32_t attempts = 3;  ///< solicitations (RFC 4861 section 10); 0: never gives up
        /// Between two solicitations (RFC 4861 section 10). Without an end of attempts they double up to the
        /// longest (RFC 7559).
        Nanoseconds first_delay = std::chrono::seconds(4);
        Nanoseconds longest_delay = std::chrono::seconds(3600);
        /// How long others have to say that they use the address. 0: they are not asked.
        Nanoseconds probe = std::chrono::seconds(1);
    };

    /// Of `host` the IP address does not matter. The settings are not null. Throws std::invalid_argument for
    /// times that cannot be.
    SlaacClient(const HostAddress& host, std::shared_ptr<const Settings> settings, Surroundings surroundings);
    ~SlaacClient() override;
    SlaacClient(const SlaacClient&) = delete;
    SlaacClient& operator=(const SlaacClient&) = delete;

    void Bind() override;
    /// There is nobody to be told.
    void Release() override;
    void OnDatagram(const IpAddress&, const MacAddress&, std::span<const std::byte>) override {}
    void OnAddressUsed(const IpAddress& address, const MacAddress& user) override;
    void OnRouterAdvertisement(const RouterAdvertisement& advertisement) override;

    State GetState() const override { return state_; }
    const std::optional<GivenAddress>& GetGiven() const override { return given_; }
    const std::string& GetFailure() const override { return failure_; }
    const AddressCounts& GetCounts() const override { return counts_; }

  private:
    void solicit();
    void on_silence();
    void probe(const AdvertisedPrefix& prefix);
    void become_bound();
    void prolong(const AdvertisedPrefix& prefix);
    void on_expiry();
    void fail(const std::string& why);
    void become(State state);
    void start_timer(Nanoseconds delay, void (SlaacClient::*work)());
    void stop_timer();
    IpAddress address_in(const IpAddress& prefix) const;

    HostAddress host_;  ///< with its link-local address
    std::shared_ptr<const Settings> settings_;
    Surroundings surroundings_;
    LinkRouters routers_;
    State state_ = State::Idle;
    std::uint64_t timer_ = 0;
    std::uint32_t solicitations_ = 0;  ///< since the last address
    bool is_probing_ = false;
    bool others_give_addresses_ = false;  ///< a router says that addresses come by DHCPv6
    GivenAddress candidate_;              ///< the address, before it is used
    std::optional<GivenAddress> given_;
    std::string failure_;
    AddressCounts counts_;
};

}  // namespace orv::live
