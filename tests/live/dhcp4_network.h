// A DHCP client on a network whose servers do what a script says.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "il/fake_timeline.h"
#include "live/sample_frames.h"
#include "orv/live/dhcp4_client.h"

namespace testing_aids {

/// A message of a server, put together byte by byte: the fixed part for the client 02:00:00:00:0a:01, in the
/// transaction 0x11223344, and the options, to which the end is added.
std::vector<std::byte> dhcp4_answer(std::string_view address_hex, std::string_view options_hex);
/// Messages of each kind; `text` is what text_of_dhcp4() makes of the bytes.
std::span<const SampleFrame> sample_dhcp4();
/// Everything that an answer holds; empty for no answer.
std::string text_of_dhcp4(std::span<const std::byte> payload);

struct Dhcp4Network {
    using Settings = orv::live::Dhcp4Client::Settings;
    explicit Dhcp4Network(const Settings& settings = {}, std::uint64_t seed = 1);

    /// Lets things happen to the client, separated by commas, and returns what it sends until each of the
    /// times, and its state then.
    ///   bind, release        is told so
    ///   offer 10 1 3600      server 192.0.2.1 offers 192.0.2.10 for an hour; so "ack", and "nak 0 1 0".
    ///   Further
    ///                        words: "t1=9" and "t2=9", "rapid", "old" (of another
    ///                        transaction), "other" (for another host), "none" (no server), "group"
    ///                        (from a MAC address that is no host's)
    ///   used 10              somebody else says that the address is his; "mine 10": the host itself is heard
    ///   10s                  lets time pass
    /// Addresses are told as their last number: "request 10 of 1", "renew 10 at 1" to the MAC address of the
    /// server, "probe 10"; after the state of a bound host its address, and until when in seconds.
    std::string play(std::string_view script);
    /// What has happened, without what has not.
    std::string counts() const;

    /// Makes an answer one to the host's last message.
    void address_to_host(std::span<std::byte> answer) const;

    FakeTimeline timeline;
    std::vector<std::pair<orv::live::Nanoseconds, std::vector<std::byte>>> sent;  ///< frames
    int changes = 0;
    orv::live::Dhcp4Client client;

  private:
    void answer(const std::string& step);
    std::string state() const;

    std::string said_;               ///< since the last time
    std::uint32_t transaction_ = 0;  ///< of what was sent last
};

}  // namespace testing_aids
