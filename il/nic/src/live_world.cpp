#include "live_world.h"

#include <fmt/format.h>

#include "host_stacks.h"
#include "orv/il/port_fault.h"
#include "orv/nic/addresses.h"

namespace orv::nic {

using il::FaultCode;
using il::PortFault;

namespace {

constexpr std::uint64_t kAddressPurpose = 5;

/// A base: the run has waited for addresses until its own destructor or a failed constructor is done.
struct HopsOfRun {
    explicit HopsOfRun(NextHops& of_world) : hops(of_world) {}
    ~HopsOfRun() { hops.forget(); }
    HopsOfRun(const HopsOfRun&) = delete;
    HopsOfRun& operator=(const HopsOfRun&) = delete;

    NextHops& hops;
};

}  // namespace

/// Notifies the world when it is destroyed.
class LiveWorld::RunHere : private HopsOfRun, public LiveRun {
  public:
    template <class... Arguments>
    explicit RunHere(LiveWorld& world, Arguments&&... arguments)
        : HopsOfRun(world.hops_), LiveRun(std::forward<Arguments>(arguments)...), world_(world) {
        world_.run_ = this;
    }
    ~RunHere() override {
        world_.run_ = nullptr;
        world_.listening_ = {};
        try {
            world_.listen();
        } catch (const NicError&) {  // costs time only: the port goes on listening to the groups
        }
        world_.run_over_();
    }

  private:
    LiveWorld& world_;
};

LiveWorld::LiveWorld(const LivePort::Setup& setup, const LiveSurroundings& surroundings,
                     std::function<void()> run_over)
    : port_(setup.name),
      membership_(setup.membership),
      unicast_(setup.unicast),
      seed_(setup.seed),
      surroundings_(surroundings),
      run_over_(std::move(run_over)),
      counter_(setup.seed, port_, surroundings.timeline.GetNow().count()),
      hops_(surroundings.timeline, surroundings.sink),
      addressing_(surroundings.timeline, surroundings.sink,
                  {[this] {
                       known_revision_ = UINT64_MAX;
                       listen();
                   },
                   [this](const FormerAddress& before) {
                       if (run_) run_->on_address_lost(before);
                   },
                   [this](const FormerAddress& before, const Host& now) {
                       if (run_) run_->on_address_changed(before, now);
                   }}),
      sessions_(surroundings.timeline, addressing_, il::seed_of(setup.seed, port_, kAddressPurpose)) {}

/// By STB of the port. Notes in the plan which of them have no address.
std::vector<Host> LiveWorld::hosts_of_stbs(il::RunPlan& plan,
                                           const il::InterfaceConfiguration& interfaces) const {
    std::vector<Host> all;
    for (il::PlannedBlock& block : plan.blocks) {
        const auto& config = block.config;
        const auto hosts = addressing_.has(config.vif_handle)
                               ? addressing_.get_hosts(config.vif_handle)
                               : hosts_of(config.vif_handle, interfaces.stacks.at(config.vif_handle));
        if (hosts.size() < config.settop_count) {
            throw PortFault(
                FaultCode::BadValue,
                fmt::format("STB block {} has {} STBs, and interface {} only {} hosts", config.stblock_handle,
                            config.settop_count, config.vif_handle, hosts.size()));
        }
        for (const Host& host : hosts) block.absent.push_back(host.address.ip.IsUnspecified());
        all.insert(all.end(), hosts.begin(), hosts.begin() + config.settop_count);
    }
    return all;
}

/// What the run hears, and what hosts need to get addresses.
void LiveWorld::listen() {
    Listening all = listening_;
    if (addressing_.needs_broadcasts()) all.groups.push_back(live::IpAddress::V4(0xffffffff));
    surroundings_.listen(all);
}

std::unique_ptr<il::Run> LiveWorld::start(const il::PortConfiguration& configuration,
                                          const il::TestStart& start, il::Time now,
                                          il::ResultReport& report) {
    il::RunPlan plan(configuration, start);
    const auto hosts = hosts_of_stbs(plan, configuration.interfaces);
    const std::uint64_t seed = il::seed_of_run(seed_, port_, runs_);
    Listening listening{.hears_reports = membership_.suppress_reports};
    for (const il::Subscription& subscription : plan.subscriptions)
        listening.groups.push_back(ToLiveAddress(subscription.group));
    auto run = std::make_unique<RunHere>(
        *this, std::move(plan), hosts, membership_, seed, now,
        RunContext{surroundings_.timeline, surroundings_.sink, counter_, report, surroundings_.figures,
                   surroundings_.mtu, hops_, unicast_, surroundings_.complain});
    listening_ = std::move(listening);
    listen();
    ++runs_;
    return run;
}

std::optional<std::size_t> LiveWorld::know_hosts(const il::InterfaceConfiguration& interfaces) {
    if (interfaces.revision == known_revision_) return {};
    known_revision_ = interfaces.revision;
    neighbours_.clear();
    std::size_t count = 0;
    interfaces.stacks.for_each([&](std::uint32_t handle, const auto& stack) {
        if (addressing_.has(handle)) {
            count += addressing_.get_hosts(handle).size();
            return;
        }
        try {
            for (const Host& host : hosts_of(handle, stack)) {
                neighbours_.add(host.address);
                ++count;
            }
        } catch (const PortFault&) {  // reported when a test starts with it
        }
    });
    return count;
}

void LiveWorld::on_seen(const SeenFrame& frame, il::Time stamp) {
    if (frame.is_outgoing && run_) run_->on_sent(frame.bytes, stamp);
    // Of outgoing frames, hosts process only reports of the port's other hosts.
    if (frame.is_outgoing && !membership_.suppress_reports) return;
    const auto parsed = live::ParseFrame(frame.bytes, frame.info);
    if (!parsed) return;
    if (const auto* report = std::get_if<live::MembershipReport>(&parsed->content)) {
        if (run_ && membership_.suppress_reports)
            run_->on_report(parsed->vlan, report->group, parsed->source);
    }
    if (frame.is_outgoing) return;
    addressing_.on_frame(*parsed, stamp);
    if (run_) run_->on_frame(*parsed, stamp);
    hops_.on_frame(*parsed);
    neighbours_.on_frame(*parsed, stamp, surroundings_.sink);
}

}  // namespace orv::nic
