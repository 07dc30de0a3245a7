// An emulated host that gets its IPv6 address, or a prefix, from a DHCP server.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "orv/il/random.h"
#include "orv/live/address_client.h"
#include "orv/live/dhcp6_message.h"
#include "orv/live/link_routers.h"

namespace orv::live {

/// The client of RFC 8415 section 18.2, for one address (IA_NA) or one prefix (IA_PD).
///
/// - Of the advertisements that come before the first repetition it takes the one with the highest
/// preference,
///   of others the first; one with the preference 255 at once (section 18.2.1).
/// - Unanswered messages are repeated as section 15 says. Everything is sent to all servers and relays.
/// - Others are asked whether they use an address (RFC 4862 section 5.4); if so it is declined.
/// - It renews at T1, asks all servers from T2 on, and begins anew when the lifetime runs out. A server that
///   does not know the binding any more is asked for it again (section 18.2.10.1).
///   T1 and T2 that the server leaves to it are half and four fifths of the
///   preferred lifetime (section 14.2).
/// - A refusal, an address in use, and a request without an answer are failures. After `attempts` of them
/// with
///   no address in between, as after that many solicitations without an advertisement, it asks no more.
/// - Servers say neither who the gateway is nor how long the link's prefix is: that comes from routers. A
/// host
///   that has heard none when it has its address asks for them, three times (RFC 4861 section 6.3.7).
///
/// Made to exist in thousands: at most two timers. The same calls at the same times with the same seed send
/// the same frames.
class Dhcp6Client : public AddressClient {
  public:
    using Nanoseconds = il::Nanoseconds;

    /// Those of all hosts of a block.
    struct Settings {
        bool is_prefix = false;  ///< asks for a prefix
        bool rapid_commit = false;
        std::vector<std::uint16_t> requested_options = {};
        std::vector<Dhcp6Option> options = {};  ///< IsFreeDhcp6Option()
        std::uint32_t attempts = 4;             ///< 0: never gives up
        /// SOL_TIMEOUT, REQ_TIMEOUT and so on, and SOL_MAX_RT (RFC 8415 section 7.6).
        Nanoseconds first_delay = std::chrono::seconds(1);
        Nanoseconds longest_delay = std::chrono::seconds(3600);
        /// How long others have to say that they use the address. 0: they are not asked.
        Nanoseconds probe = std::chrono::seconds(1);
    };
    /// One host. The IP address of `host` does not matter.
    struct Identity {
        HostAddress host;
        std::vector<std::uint8_t> duid = {};  ///< empty: MakeDuid()
        std::uint32_t iaid = 1;
        std::vector<Dhcp6Option> options = {};
    };

    /// Throws std::invalid_argument for times, options and DUIDs that cannot be. The settings are not null.
    Dhcp6Client(Identity identity, std::shared_ptr<const Settings> settings, Surroundings surroundings);
    /// Throws as the constructor does for one host's part of it.
    static void Check(const Identity& identity, const Settings& settings);
    ~Dhcp6Client() override;
    Dhcp6Client(const Dhcp6Client&) = delete;
    Dhcp6Client& operator=(const Dhcp6Client&) = delete;

    void Bind() override;
    /// Releasing until the server answers, or has not four times.
    void Release() override;
    void OnDatagram(const IpAddress& source, const MacAddress& source_mac,
                    std::span<const std::byte> payload) override;
    void OnAddressUsed(const IpAddress& address, const MacAddress& user) override;
    void OnRouterAdvertisement(const RouterAdvertisement& advertisement) override;

    State GetState() const override;
    bool HasLease() const override { return given_ || phase_ == Phase::Probing; }
    const std::optional<GivenAddress>& GetGiven() const override { return given_; }
    const std::string& GetFailure() const override { return failure_; }
    const AddressCounts& GetCounts() const override { return counts_; }

  private:
    enum class Phase : std::uint8_t {
        Idle,
        Soliciting,
        Requesting,
        Probing,
        Bound,
        Renewing,
        Rebinding,
        Releasing,
        Declining,
        Failed,
    };
    /// What the server gave, beyond what others need to know of it.
    struct Lease {
        Dhcp6Lease given = {};
        Nanoseconds renewal{}, rebinding{}, end{};
    };
    struct Offer {
        std::vector<std::uint8_t> server;
        std::uint8_t preference = 0;
        Dhcp6Lease lease = {};
    };

    void begin(Phase phase, Dhcp6Type type, Nanoseconds first_delay);
    void solicit();
    void request();
    void send_message();
    void on_timer();
    void on_silence();
    void on_advertisement(const Dhcp6Answer& answer);
    void on_reply(const Dhcp6Answer& answer);
    void on_renewal_reply(const Dhcp6Answer& answer);
    void take(const Dhcp6Answer& answer);
    void become_bound();
    void await_renewal();
    void on_renewal_time();
    void decline();
    void fail_round(const std::string& why);
    void lose(const std::string& why);
    void enter(Phase phase);
    void ask_for_routers();
    void start_timer(Nanoseconds delay);
    void stop_timer(std::uint64_t& timer);
    Nanoseconds spread(Nanoseconds delay, bool is_first_solicit = false);
    Nanoseconds now() const { return surroundings_.timeline.GetNow(); }

    Identity identity_;  ///< with the link-local address
    std::shared_ptr<const Settings> settings_;
    Surroundings surroundings_;
    il::Random random_;
    LinkRouters routers_;
    Phase phase_ = Phase::Idle;
    Dhcp6Type type_ = Dhcp6Type::Solicit;  ///< of the message that waits for an answer
    std::uint32_t transaction_ = 0;
    std::uint32_t sent_times_ = 0;
    Nanoseconds began_{};  ///< to send it
    Nanoseconds delay_{}, longest_delay_{};
    std::uint64_t timer_ = 0, router_timer_ = 0;
    std::uint32_t router_solicitations_ = 0;
    std::uint32_t failures_ = 0;  ///< since the last address
    std::optional<Offer> offer_;
    Lease lease_;
    std::optional<GivenAddress> given_;
    bool was_bound_ = false;                   ///< to another address than the one that is probed
    std::optional<Nanoseconds> told_longest_;  ///< SOL_MAX_RT
    std::string refusal_;                      ///< of the solicitation under way
    std::string failure_;
    AddressCounts counts_;
};

}  // namespace orv::live
