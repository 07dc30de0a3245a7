// The world of a live port: STBs on a network interface.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "clock_bridge.h"
#include "frame_filter.h"
#include "live_addressing.h"
#include "live_run.h"
#include "neighbours.h"
#include "next_hops.h"
#include "orv/il/world.h"
#include "packet_link.h"

namespace orv::nic {

/// What a world uses and does not own.
struct LiveSurroundings {
    il::ITimeline& timeline;
    FrameSink& sink;
    LiveFigures& figures;
    std::size_t mtu;  ///< of IP packets of hosts, bytes
    LivePort::Complain complain;
    std::function<void(const Listening&)> listen;  ///< of a run that begins, or of none
};

class LiveWorld : public il::World {
  public:
    /// `run_over` is called when a run is over, before its port reports it.
    LiveWorld(const LivePort::Setup& setup, const LiveSurroundings& surroundings,
              std::function<void()> run_over);

    std::unique_ptr<il::Run> start(const il::PortConfiguration& configuration, const il::TestStart& start,
                                   il::Time now, il::ResultReport& report) override;

    /// Makes the hosts of the port's interfaces answer ARP and neighbour discovery. Returns how many there
    /// are if that may have changed.
    std::optional<std::size_t> know_hosts(const il::InterfaceConfiguration& interfaces);
    il::AddressSessions* addressing() override { return &sessions_; }
    /// The port ends: some hosts give back what they were given. False when none is left.
    bool give_back_some() { return sessions_.give_back_some(kGivenBackAtOnce); }
    /// A frame sent or received on the interface; `stamp` is in the port's time.
    void on_seen(const SeenFrame& frame, il::Time stamp);

  private:
    static constexpr std::size_t kGivenBackAtOnce = 5;

    class RunHere;

    std::vector<Host> hosts_of_stbs(il::RunPlan& plan, const il::InterfaceConfiguration& interfaces) const;
    void listen();

    std::string port_;
    MembershipSettings membership_;
    UnicastSettings unicast_;
    std::uint64_t seed_;
    const LiveSurroundings surroundings_;
    std::function<void()> run_over_;
    const il::TickCounter counter_;
    Neighbours neighbours_;
    NextHops hops_;
    std::uint64_t known_revision_ = UINT64_MAX;
    std::uint64_t runs_ = 0;  ///< number of runs started
    LiveRun* run_ = nullptr;  ///< null without a run
    Listening listening_;     ///< of the run
    LiveAddressing addressing_;
    il::AddressSessions sessions_;
};

}  // namespace orv::nic
