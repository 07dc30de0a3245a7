// A network that serves groups as its hosts ask for them, and a live port on it, on a clock that a test
// moves.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "frame_sink.h"
#include "il/scenario.h"
#include "live_world.h"
#include "msgset/interface_requests.h"
#include "orv/il/port_core.h"

namespace testing_aids {

/// Gets a host's frames and shows them to the port as its interface would. While a group is joined, the
/// packets of all groups' common clock reach the VLANs of its members.
class EmulatedNetwork : public orv::nic::FrameSink {
  public:
    using Nanoseconds = orv::il::Nanoseconds;

    explicit EmulatedNetwork(FakeTimeline& timeline) : timeline_(timeline) {}

    bool send(std::span<const std::byte> frame) override;
    /// A frame from elsewhere. `info` as the kernel would say it.
    void Deliver(std::span<const std::byte> frame, const orv::live::ReceiveInfo& info = {});

    static constexpr Nanoseconds kWay = std::chrono::microseconds(20);  ///< until a frame is seen leaving
    static constexpr Nanoseconds kGap =
        std::chrono::milliseconds(2);                        ///< of packets; number n is sent at n * kGap
    Nanoseconds join_delay = std::chrono::milliseconds(37);  ///< the first packet follows within a gap
    Nanoseconds leave_delay = std::chrono::milliseconds(112);
    std::vector<std::string> sources{"10.0.9.1"};
    bool is_foreign = false;  ///< packets are RTP without a signature
    bool is_silent = false;   ///< there are no packets
    std::function<int(std::uint64_t number, const std::string& group)> copies = [](auto, const auto&) {
        return 1;
    };                      ///< of a packet that arrive
    std::string lost_text;  ///< frames that say this are taken, and never seen leaving

    struct Sent {
        Nanoseconds time;
        std::string text;  ///< sent_text()
        orv::live::MacAddress host;
        orv::live::VlanTags vlan;
    };
    std::vector<Sent> sent;  ///< seen leaving
    std::size_t CountSent(const std::string& text) const;
    /// The groups that have members.
    std::set<std::string> GetMemberships() const;

    std::function<void(const orv::nic::SeenFrame&)> to_port;
    /// Frames that are not about groups.
    std::function<void(const std::vector<std::byte>&)> to_server;

  private:
    struct Flow {
        std::set<orv::live::MacAddress> members;
        Nanoseconds from{}, until{};
    };
    void Tick();
    void OnLeft(const std::vector<std::byte>& frame);
    void SendPacket(const orv::live::VlanTags& vlan, const orv::live::IpAddress& group,
                    const std::string& source, std::uint64_t number);

    FakeTimeline& timeline_;
    bool is_sending_ = false;
    std::map<std::pair<orv::live::VlanTags, std::string>, Flow> flows_;
};

/// What a live port is made of, without its thread and its interface.
class EmulatedPort : public orv::il::ISoftwarePort {
  public:
    EmulatedPort(const orv::nic::LivePort::Setup& setup, orv::il::ITimeline& timeline,
                 EmulatedNetwork& network, Send send, HangUp hang_up);

    void Receive(const std::vector<std::byte>& bytes) override;
    void ChannelsChange(const std::function<void()>& change) override { core.channels_change(change); }

    orv::nic::LiveFigures figures;
    std::vector<std::string> complaints;
    int runs_over = 0;
    orv::nic::LiveWorld world;
    orv::il::PortCore core;
};

/// A port on its network, and its peer.
class LiveScenario {
  public:
    static constexpr std::uint32_t kInterface = 5;

    /// A scenario of `hosts`, all of one block, of IGMPv2 or MLDv2. Change it and the network before Start().
    explicit LiveScenario(std::vector<orv::live::HostAddress> hosts,
                          const orv::nic::MembershipSettings& settings = {},
                          const orv::nic::UnicastSettings& unicast = {});

    /// Changes groups and hosts to those of a version.
    void Speak(IgmpVersion version);
    /// The fault of the first request that is refused, or "".
    std::string Configure();
    void Start();
    void RunTo(int time_ms) { peer.RunTo(milliseconds(time_ms)); }
    /// From the start until the end of the test is announced, and a second longer; fails after a minute.
    void RunAll();
    EmulatedPort& GetPort() { return static_cast<EmulatedPort&>(*peer.port); }

    std::vector<orv::live::HostAddress> hosts;
    std::unique_ptr<EmulatedNetwork> network;
    Peer peer;
};

/// Number `index` from 0, 10.0.0.1 and so on, or 2001:db8::1; the outer VLAN first.
orv::live::HostAddress host_of(std::uint8_t index, const std::vector<std::uint16_t>& vlans = {},
                               bool is_v6 = false);

/// The stack, as a host application sends it, of hosts that are of one family and have as many tags each.
/// Layers from IP down, each with a list.
IFSETUP_1_bll::NetworkInterfaceStack_s stack_of(const std::vector<orv::live::HostAddress>& hosts);

}  // namespace testing_aids
