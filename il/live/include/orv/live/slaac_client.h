// An emulated host that makes its IPv6 address from a prefix that a router tells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "orv/il/random.h"
#include "orv/il/timeline.h"
#include "orv/live/address_client.h"

namespace orv::live {

/// A host of RFC 4862, without temporary addresses.
///
/// - It asks routers from its link-local address (RFC 4861 section 6.3.7) until it has an address, even when
///   one has answered that it has no prefix: another may have one.
/// - The address is the first prefix that can be used with the modified EUI-64 of the MAC address behind it
///   (RFC 4291 appendix A). Deprecated prefixes (preferred for 0 s) are used when there is no other.
/// - It asks whether somebody has the address already (RFC 4862 section 5.4). If so it fails at once, because
///   it could only make the same address again.
/// - Later advertisements prolong the address, and may shorten it to two hours (section 5.5.3 e). Once it is
///   deprecated, the host makes the next from another prefix that is preferred, and drops it. When it runs
///   out, the host has no address any more and asks again.
/// - The gateway is the first router with a lifetime, until it takes that back or the time has passed; then
///   the next that says so. What was said before the host began to ask, or after it has failed, is not heard.
/// - The prefix length of the address is that of the on-link prefix around it, 128 without one.
///
/// Whoever gave the address is the server. An advertisement that prolongs it counts as a renewal; if another
/// router sent it, as rebound, and that router is the server from then on. Counted as sent are the
/// solicitations of routers.
///
/// Made to exist in thousands: at most one timer, and none while it is idle, has failed, or has everything
/// for ever. The same calls at the same times with the same seed send the same frames.
class SlaacClient : public AddressClient {
  public:
    using Nanoseconds = il::Nanoseconds;

    /// Those of all hosts of a block.
    struct Settings {
        /// Solicitations of routers; after the last of them the host waits as long as after the others, and
        /// asks no more. 0: it never gives up, and the delays double (RFC 7559).
        std::uint32_t attempts = 3;
        /// Between two of them. With doubled delays the first, which has a random part of a tenth more or
        /// less, as the others have, and the longest without it.
        Nanoseconds first_delay = std::chrono::seconds(4);
        Nanoseconds longest_delay = std::chrono::hours(1);
        /// How long others have to say that they use the address. 0: they are not asked.
        Nanoseconds probe = std::chrono::seconds(1);
        /// All hosts of a link hear an advertisement, or lose their addresses, at the same time. What they
        /// then send is delayed at random by less than this (RFC 4861 section 6.3.7, RFC 4862 section 5.4.2).
        Nanoseconds spread = std::chrono::seconds(1);
    };

    /// The IP address of `host` does not matter. Throws std::invalid_argument for settings that cannot be:
    /// negative times, a first delay of 0 or above the longest. The settings are not null.
    SlaacClient(const HostAddress& host, std::shared_ptr<const Settings> settings, Surroundings surroundings);
    /// Sends nothing.
    ~SlaacClient() override;
    SlaacClient(const SlaacClient&) = delete;
    SlaacClient& operator=(const SlaacClient&) = delete;

    /// The first solicitation goes out at once: whoever has many hosts spreads their beginnings.
    void Bind() override;
    /// Idle at once, and nobody is told: routers do not know who has an address.
    void Release() override;
    /// Nothing comes so.
    void OnDatagram(const IpAddress& source, const MacAddress& source_mac,
                    std::span<const std::byte> payload) override;
    /// Before the host uses the address: fails. Later conflicts are only counted.
    void OnAddressUsed(const IpAddress& address, const MacAddress& user) override;
    void OnRouterAdvertisement(const RouterAdvertisement& advertisement) override;

    State GetState() const override;
    bool HasLease() const override { return given_.has_value(); }
    const std::optional<GivenAddress>& GetGiven() const override { return given_; }
    const std::string& GetFailure() const override { return failure_; }
    const AddressCounts& GetCounts() const override { return counts_; }

  private:
    enum class Phase : std::uint8_t { Idle, Soliciting, Probing, Bound, Failed };
    static constexpr Nanoseconds kForever = GivenAddress::kForever;

    /// The address that is probed or in use.
    struct Lease {
        IpAddress address = IpAddress::V6({});
        IpAddress server = IpAddress::V6({});
        Nanoseconds valid_until = kForever;
        Nanoseconds preferred_until = kForever;
    };
    struct Gateway {
        IpAddress address = IpAddress::V6({});
        std::optional<MacAddress> mac = {};
        Nanoseconds until = kForever;
    };
    /// The on-link prefix around the address.
    struct Link {
        std::uint8_t length = 0;  ///< 0: there is none
        Nanoseconds until = kForever;
    };

    // To get an address.
    void begin(Nanoseconds delay);
    void solicit();
    Nanoseconds doubled_delay();
    void give_up(std::string why);
    std::string why_no_address() const;
    void take(const AdvertisedPrefix& prefix, const IpAddress& router);
    void probe();
    void become_bound();

    // To have one.
    void prolong(const AdvertisedPrefix& prefix, const IpAddress& router);
    bool hear_prefixes(const RouterAdvertisement& advertisement);
    bool hear_gateway(const RouterAdvertisement& advertisement);
    bool hear_link(const RouterAdvertisement& advertisement);
    void lose();

    bool has_lease() const { return phase_ == Phase::Probing || phase_ == Phase::Bound; }
    Nanoseconds now() const { return surroundings_.timeline.GetNow(); }
    Nanoseconds spread();
    void stop();
    void on_timer();
    void settle();
    void start_timer();
    void stop_timer();
    void enter(Phase phase);

    HostAddress host_;
    std::shared_ptr<const Settings> settings_;
    Surroundings surroundings_;
    il::Random random_;
    std::uint64_t timer_ = 0;
    Nanoseconds timer_time_{};
    Nanoseconds next_ = kForever;   ///< when it sends or stops waiting
    Nanoseconds delay_{};           ///< after the last solicitation
    std::uint32_t sent_times_ = 0;  ///< since it entered the phase
    Phase phase_ = Phase::Idle;
    bool is_untold_ = false;    ///< something has changed since `changed` was called
    bool was_bound_ = false;    ///< to another address than the one that is probed
    bool is_managed_ = false;   ///< `without_prefix_` says M
    IpAddress without_prefix_;  ///< a router that had none to make an address with; unset: none has said so
    Lease lease_;
    Gateway gateway_;
    Link link_;
    std::optional<GivenAddress> given_;
    std::string failure_;
    AddressCounts counts_;
};

}  // namespace orv::live
