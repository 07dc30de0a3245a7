// An emulated host that gets its IPv4 address from a DHCP server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "orv/il/random.h"
#include "orv/il/timeline.h"
#include "orv/live/address_client.h"
#include "orv/live/dhcp4_message.h"

namespace orv::live {

/// The client of RFC 2131 section 4.4, without INIT-REBOOT and DHCPINFORM.
///
/// - It takes the first offer, and announces an address once it has it (RFC 5227 section 3).
/// - Unanswered messages are repeated after delays that double and have a random part (RFC 2131 section 4.1).
/// - It renews at T1 from the server that gave the address, sent to the MAC address its answer came from,
///   and asks all servers from T2 on. Without an answer it asks again after half of the time that is left, at
///   least `renewal_retry` or a sixteenth of the lease, whichever is less, though not less than a second.
///   T1 and T2 that make no sense are replaced by half and 7/8 of the lease. A lease counts from the first
///   request for it.
/// - When the server refuses to renew or the lease runs out, the host has no address any more and begins
///   anew. So it does when it gets another address than it had, which is probed like the first.
/// - A refusal, an address in use, and a DHCPREQUEST without an answer are failures. After `attempts` of them
///   with no address in between, as after that many DHCPDISCOVER without an offer, it asks no more.
///   Between a refusal and the next DHCPDISCOVER is the delay of a message repeated that often.
/// - The first DHCPDISCOVER goes out at once, and T1 and T2 have no random part: whoever has many hosts
///   spreads their beginnings.
///
/// Made to exist in thousands: at most one timer, and none while it is idle, has failed, or has an address
/// for ever. The same calls at the same times with the same seed send the same frames.
class Dhcp4Client : public AddressClient {
  public:
    using Nanoseconds = il::Nanoseconds;

    /// Those of all hosts of a block.
    struct Settings {
        /// Option 55: subnet mask, router, broadcast address, lease time, T1 and T2.
        std::vector<std::uint8_t> parameters = {1, 3, 28, 51, 58, 59};
        /// For instance the vendor class; IsFreeDhcp4Option(). Not one that the host's own options have.
        std::vector<Dhcp4Option> options = {};
        bool wants_broadcast = false;  ///< answers that bring the address are to be broadcast
        bool rapid_commit = false;     ///< RFC 4039
        std::optional<std::uint32_t> lease_seconds = {};  ///< to ask for
        std::uint32_t attempts = 4;                       ///< 0: never gives up
        std::uint32_t request_attempts = 4;               ///< how often one DHCPREQUEST is sent; at least 1
        /// From a message to its first repetition, and the most the doubling leads to. The random part is a
        /// quarter of the first more or less, at most a second.
        Nanoseconds first_delay = std::chrono::seconds(4);
        Nanoseconds longest_delay = std::chrono::seconds(64);
        /// How long others have to say that they use the address: an ARP probe (RFC 2131 section 4.4.1).
        /// 0: they are not asked.
        Nanoseconds probe = std::chrono::milliseconds(500);
        /// From a declined address to the next DHCPDISCOVER; by RFC 2131 section 3.1 at least ten seconds.
        Nanoseconds conflict_pause = std::chrono::seconds(10);
        Nanoseconds renewal_retry = std::chrono::seconds(60);
    };
    /// One host. The IP address of `host` does not matter.
    struct Identity {
        HostAddress host;
        std::vector<Dhcp4Option> options = {};  ///< as in the settings
    };

    /// Throws std::invalid_argument for settings or options that cannot be: negative times, a first delay of
    /// 0 or above the longest, request attempts of 0, options that are not free, twice there, or longer than
    /// a message. The settings are not null.
    Dhcp4Client(Identity identity, std::shared_ptr<const Settings> settings, Surroundings surroundings);
    /// Sends nothing; Release does.
    /// Throws as the constructor does for one host's part of it.
    static void Check(const Identity& identity, const Settings& settings);
    ~Dhcp4Client() override;
    Dhcp4Client(const Dhcp4Client&) = delete;
    Dhcp4Client& operator=(const Dhcp4Client&) = delete;

    void Bind() override;
    /// Idle at once: servers do not answer a release.
    void Release() override;
    void OnDatagram(const IpAddress& source, const MacAddress& source_mac,
                    std::span<const std::byte> payload) override;
    /// While it probes: declines the address. Later conflicts are only counted.
    void OnAddressUsed(const IpAddress& address, const MacAddress& user) override;

    State GetState() const override;
    bool HasLease() const override { return given_ || probed_; }
    const std::optional<GivenAddress>& GetGiven() const override { return given_; }
    const std::string& GetFailure() const override { return failure_; }
    const AddressCounts& GetCounts() const override { return counts_; }

  private:
    /// RFC 2131 section 4.4.
    enum class Phase : std::uint8_t {
        Idle,
        Selecting,
        Requesting,
        Probing,
        Bound,
        Renewing,
        Rebinding,
        Pausing,  ///< before it begins anew
        Failed,
    };
    /// What was acknowledged, or before that offered, beyond what others need to know of it.
    struct Lease {
        IpAddress address = {};
        IpAddress server = {};
        MacAddress server_mac = {};  ///< or of the router on the way
        Nanoseconds renewal = {};    ///< T1
        Nanoseconds rebinding = {};  ///< T2
        Nanoseconds retry = {};      ///< least time between two attempts to renew
    };

    // To get an address.
    void begin();
    void discover();
    void request();
    void on_silence();
    void on_offer(const Dhcp4Answer& answer);
    void on_refusal(const Dhcp4Answer& answer);
    void fail_round(std::string why, Nanoseconds pause);
    void give_up(std::string why);

    // To have one.
    void on_acknowledgement(const Dhcp4Answer& answer, const IpAddress& source, const MacAddress& source_mac);
    void take_over(const Dhcp4Answer& answer, const MacAddress& source_mac);
    void become_bound();
    void await_renewal();
    void on_renewal_time();
    void lose();

    bool is_waiting() const;
    bool is_expected(const Dhcp4Answer& answer) const;
    void send(Dhcp4Request message, const IpAddress& server = {});
    void send_counted(const Dhcp4Request& message, const IpAddress& server = {});
    void send_arp(const IpAddress& own, const IpAddress& target);
    Nanoseconds delay_of(std::uint32_t times);
    void start_timer(Nanoseconds delay);
    void stop_timer();
    void on_timer();
    void enter(Phase phase);
    void tell_change();

    Identity identity_;
    std::shared_ptr<const Settings> settings_;
    Surroundings surroundings_;
    il::Random random_;
    Nanoseconds began_{};  ///< to ask for an address, or to renew
    Nanoseconds asked_{};  ///< first request of the transaction, which a lease counts from
    std::uint64_t timer_ = 0;
    std::uint32_t transaction_ = 0;
    std::uint32_t sent_times_ = 0;  ///< the message that waits for an answer
    std::uint32_t failures_ = 0;    ///< since the last address
    std::uint16_t seconds_ = 0;     ///< in the last message; a request repeats what the discover said
    Phase phase_ = Phase::Idle;
    bool is_untold_ = false;  ///< something has changed since the last tell_change()
    bool was_bound_ = false;  ///< to another address than the one that is probed
    Lease lease_;
    std::optional<GivenAddress> probed_;  ///< acknowledged, not yet in use
    std::optional<GivenAddress> given_;
    std::string failure_;
    AddressCounts counts_;
};

}  // namespace orv::live
