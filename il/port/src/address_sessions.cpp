#include "orv/il/address_sessions.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "orv/il/port_fault.h"
#include "orv/il/random.h"

namespace orv::il {

using hostaddr_1_bll::addressCounts_s;
using hostaddr_1_bll::hostAddress_s;
using hostaddr_1_bll::HostState;
using live::AddressClient;
using live::GivenAddress;

namespace {

constexpr Nanoseconds kOneSecond = std::chrono::seconds(1);
/// What could not begin because the port was busy may begin together, up to so much later.
constexpr Nanoseconds kCatchUp = std::chrono::milliseconds(20);
/// A wake-up costs as much as some messages: what is due within that time begins together.
constexpr Nanoseconds kLeastSleep = std::chrono::milliseconds(1);

/// Of hosts that give back what they have, if their block has no limit: servers do not answer, so that nobody
/// hears of it when there were more at once than they can take.
constexpr std::uint32_t kReleasesPerSecond = 500;

constexpr std::size_t kStates = 5;

std::size_t index_of(AddressClient::State state) {
    return static_cast<std::size_t>(state);
}

HostState to_record(AddressClient::State state) {
    constexpr std::array kTable{HostState::IDLE, HostState::BINDING, HostState::BOUND, HostState::RELEASING,
                                HostState::FAILED};
    return kTable.at(index_of(state));
}

hostaddr_1_bll::ipAddress_t to_record(const live::IpAddress& address) {
    hostaddr_1_bll::ipAddress_t record;
    record.type = address.IsV6() ? record.kV6 : record.kV4;
    std::ranges::copy(address.GetBytes(), record.v6.address);
    return record;
}

hostaddr_1_bll::ipAddress_t make_no_address() {
    hostaddr_1_bll::ipAddress_t record;
    record.type = std::numeric_limits<std::uint32_t>::max();
    return record;
}

}  // namespace

/// The hosts of a block.
class AddressSessions::Hosts {
  public:
    Hosts(ITimeline& timeline, AddressNetwork& network, Block block, const PortConfiguration& configuration,
          std::uint64_t seed)
        : timeline_(timeline), network_(network), block_(std::move(block)) {
        hosts_.resize(block_.hosts.size());
        auto clients = network_.make_clients(block_, configuration, seed,
                                             [this](std::uint32_t host) { on_changed(host); });
        for (std::size_t i = 0; i < hosts_.size(); ++i) hosts_[i].client = std::move(clients.at(i));
        in_state_[index_of(AddressClient::State::Idle)] = static_cast<std::uint32_t>(hosts_.size());
    }

    ~Hosts() {
        timeline_.Cancel(timer_);
        network_.forget(block_);
    }
    Hosts(const Hosts&) = delete;
    Hosts& operator=(const Hosts&) = delete;

    void bind() {
        first_failure_.clear();
        began_.reset();
        all_bound_in_ = {};
        for (std::uint32_t i = 0; i < hosts_.size(); ++i) {
            const AddressClient::State state = hosts_[i].state;
            const bool has_none = state == AddressClient::State::Idle ||
                                  state == AddressClient::State::Failed ||
                                  state == AddressClient::State::Releasing;
            want(i, has_none ? Wish::Bind : Wish::None);
        }
        start_some();
    }

    void release() {
        for (std::uint32_t i = 0; i < hosts_.size(); ++i)
            want(i, hosts_[i].client->HasLease() ? Wish::Release : Wish::None);
        // Those that ask stop at once: they have nothing to give back, and make room. Nobody begins
        // meanwhile.
        is_starting_ = true;
        for (Host& host : hosts_)
            if (host.wish == Wish::None) host.client->Release();
        is_starting_ = false;
        start_some();
    }

    /// At most so many that have an address, at once. Returns how many it were.
    std::size_t give_back(std::size_t most) {
        queue_.clear();
        timeline_.Cancel(std::exchange(timer_, 0));
        std::size_t done = 0;
        for (Host& host : hosts_) {
            host.wish = Wish::None;
            host.is_queued = false;
            const bool has_address = host.client->HasLease();
            if (has_address && done == most) continue;
            if (has_address) ++done;
            host.client->Release();
        }
        return done;
    }

    addressCounts_s count() const {
        addressCounts_s counts;
        counts.idle = in_state_[index_of(AddressClient::State::Idle)];
        counts.binding = in_state_[index_of(AddressClient::State::Binding)];
        counts.bound = in_state_[index_of(AddressClient::State::Bound)];
        counts.releasing = in_state_[index_of(AddressClient::State::Releasing)];
        counts.failed = in_state_[index_of(AddressClient::State::Failed)];
        counts.first_failure = first_failure_;
        counts.all_bind_nsec = static_cast<std::uint64_t>(all_bound_in_.count());
        for (const Host& host : hosts_) {
            // Those that wait for their turn are on their way.
            if (host.wish == Wish::Bind) {
                --count_of(counts, host.state);
                ++counts.binding;
            } else if (host.wish == Wish::Release) {
                --count_of(counts, host.state);
                ++counts.releasing;
            }
            const live::AddressCounts& own = host.client->GetCounts();
            counts.sent += own.sent;
            counts.received += own.received;
            counts.ignored += own.ignored;
            counts.repeated += own.repeated;
            counts.refused += own.refused;
            counts.conflicts += own.conflicts;
            counts.renewed += own.renewed;
            counts.rebound += own.rebound;
            counts.changed += own.changed;
            counts.lost += own.lost;
        }
        return counts;
    }

    std::vector<hostAddress_s> describe(std::uint32_t first, std::uint32_t most) const {
        std::vector<hostAddress_s> described;
        for (std::size_t i = first; i < hosts_.size() && described.size() < most; ++i) {
            const Host& host = hosts_[i];
            hostAddress_s& record = described.emplace_back();
            record.state = host.wish == Wish::Bind ? HostState::BINDING : to_record(host.state);
            record.address = record.gateway = record.server = make_no_address();
            record.bind_nsec = static_cast<std::uint64_t>(host.bound_in.count());
            record.failure = host.client->GetFailure();
            const auto& given = host.client->GetGiven();
            if (!given) continue;
            record.address = to_record(given->address);
            record.prefix_length = given->prefix_length;
            if (!given->gateway.IsUnspecified()) record.gateway = to_record(given->gateway);
            if (!given->server.IsUnspecified()) record.server = to_record(given->server);
        }
        return described;
    }

  private:
    enum class Wish : std::uint8_t { None, Bind, Release };
    struct Host {
        std::unique_ptr<AddressClient> client;
        AddressClient::State state = AddressClient::State::Idle;  ///< as counted
        Wish wish = Wish::None;                                   ///< waits for its turn
        bool is_queued = false;
        bool was_lost = false;  ///< its address, since it was bound
        Nanoseconds asked{};
        Nanoseconds bound_in{};  ///< 0: it was not bound
    };

    static std::uint32_t& count_of(addressCounts_s& counts, AddressClient::State state) {
        constexpr std::array kTable{&addressCounts_s::idle, &addressCounts_s::binding,
                                    &addressCounts_s::bound, &addressCounts_s::releasing,
                                    &addressCounts_s::failed};
        return counts.*kTable.at(index_of(state));
    }

    void want(std::uint32_t number, Wish wish) {
        Host& host = hosts_[number];
        host.wish = wish;
        if (wish == Wish::None || std::exchange(host.is_queued, true)) return;
        queue_.push_back(number);
    }

    bool may_start() const {
        const std::uint32_t outstanding = in_state_[index_of(AddressClient::State::Binding)] +
                                          in_state_[index_of(AddressClient::State::Releasing)];
        return block_.outstanding_sessions == 0 || outstanding < block_.outstanding_sessions;
    }

    /// As many as may begin now; a timer or the end of another session continues.
    void start_some() {
        if (is_starting_) return;  // by a client that is being started
        is_starting_ = true;
        const Nanoseconds now = timeline_.GetNow();
        next_start_ = std::max(next_start_, now - kCatchUp);
        while (!queue_.empty() && next_start_ <= now) {
            Host& host = hosts_[queue_.front()];
            if (host.wish != Wish::None && !may_start()) break;
            queue_.pop_front();
            host.is_queued = false;
            // What it gives back has to be away first: on_changed() continues.
            if (host.wish == Wish::Bind && host.state == AddressClient::State::Releasing) continue;
            const Wish wish = std::exchange(host.wish, Wish::None);
            if (wish == Wish::None) continue;
            if (wish == Wish::Bind) {
                host.asked = now;
                host.bound_in = {};
                host.was_lost = false;
                if (!began_) began_ = now;
                host.client->Bind();
            } else {
                host.client->Release();
            }
            if (block_.sessions_per_second > 0) {
                next_start_ += kOneSecond / block_.sessions_per_second;
            } else if (wish == Wish::Release) {
                next_start_ += kOneSecond / kReleasesPerSecond;
            }
        }
        is_starting_ = false;
        timeline_.Cancel(std::exchange(timer_, 0));
        if (!queue_.empty() && next_start_ > now)
            timer_ = timeline_.PostAfter(std::max(next_start_ - now, kLeastSleep), [this] {
                timer_ = 0;
                start_some();
            });
    }

    void on_changed(std::uint32_t number) {
        Host& host = hosts_[number];
        if (!host.client) return;  // it is being made
        const AddressClient::State state = host.client->GetState();
        const AddressClient::State before = std::exchange(host.state, state);
        --in_state_[index_of(before)];
        ++in_state_[index_of(state)];
        if (before != state) note(number, before);
        network_.host_changed(block_, number, *host.client);
        if (host.wish != Wish::None && !std::exchange(host.is_queued, true)) queue_.push_back(number);
        if (before != state && !queue_.empty() && timer_ == 0) start_some();
    }

    void note(std::uint32_t number, AddressClient::State before) {
        Host& host = hosts_[number];
        if (host.state == AddressClient::State::Bound && before == AddressClient::State::Binding) {
            const Nanoseconds now = timeline_.GetNow();
            host.bound_in = std::max(now - host.asked, Nanoseconds(1));
            if (!host.was_lost && began_) all_bound_in_ = std::max(now - *began_, Nanoseconds(1));
        }
        const bool is_lost =
            before == AddressClient::State::Bound && host.state == AddressClient::State::Binding;
        if (is_lost) {
            host.asked = timeline_.GetNow();
            host.was_lost = true;
        }
        const std::string& why = host.client->GetFailure();
        // One that looks at the other address it was given has lost nothing yet.
        if ((is_lost && !why.empty()) || host.state == AddressClient::State::Failed) {
            if (first_failure_.empty()) first_failure_ = fmt::format("host {}: {}", number + 1, why);
        }
    }

    ITimeline& timeline_;
    AddressNetwork& network_;
    const Block block_;
    std::vector<Host> hosts_;
    std::deque<std::uint32_t> queue_;  ///< hosts that wait for their turn
    std::array<std::uint32_t, kStates> in_state_{};
    Nanoseconds next_start_{};
    std::uint64_t timer_ = 0;
    bool is_starting_ = false;
    std::string first_failure_;
    std::optional<Nanoseconds> began_;  ///< the first host of the latest bind
    Nanoseconds all_bound_in_{};        ///< 0: none was bound
};

AddressSessions::AddressSessions(ITimeline& timeline, AddressNetwork& network, std::uint64_t seed)
    : timeline_(timeline), network_(network), seed_(seed) {}
AddressSessions::~AddressSessions() = default;

void AddressSessions::configure(const std::vector<Block>& blocks, const PortConfiguration& configuration) {
    for (const Block& block : blocks) {
        if (block.hosts.size() > kMostStbs)
            throw PortFault(FaultCode::BadValue,
                            fmt::format("address block {} has {} hosts; at most {} are possible",
                                        block.handle, block.hosts.size(), kMostStbs));
    }
    for (const Block& block : blocks) {
        if (const auto known = blocks_.find(block.handle); known != blocks_.end()) {
            known->second->give_back(kMostStbs);
            blocks_.erase(known);
        }
        blocks_.emplace(block.handle, std::make_unique<Hosts>(timeline_, network_, block, configuration,
                                                              mixed(seed_ + block.handle)));
    }
}

void AddressSessions::remove(const std::vector<std::uint32_t>& handles) {
    for (Hosts* hosts : find_all(handles)) hosts->give_back(kMostStbs);
    for (const std::uint32_t handle : handles) blocks_.erase(handle);
}

void AddressSessions::bind(const std::vector<std::uint32_t>& handles) {
    for (Hosts* hosts : find_all(handles)) hosts->bind();
}

void AddressSessions::release(const std::vector<std::uint32_t>& handles) {
    for (Hosts* hosts : find_all(handles)) hosts->release();
}

bool AddressSessions::give_back_some(std::size_t most) {
    std::size_t done = 0;
    for (const auto& [handle, hosts] : blocks_) done += hosts->give_back(most - done);
    return done == most;
}

addressCounts_s AddressSessions::count(std::uint32_t handle) const {
    return find(handle).count();
}

std::vector<hostAddress_s> AddressSessions::describe(std::uint32_t handle, std::uint32_t first,
                                                     std::uint32_t most) const {
    return find(handle).describe(first, most);
}

AddressSessions::Hosts& AddressSessions::find(std::uint32_t handle) const {
    const auto found = blocks_.find(handle);
    if (found == blocks_.end())
        throw PortFault(FaultCode::UnknownHandle,
                        fmt::format("there is no address block with handle {}", handle));
    return *found->second;
}

/// All or none.
std::vector<AddressSessions::Hosts*> AddressSessions::find_all(
    const std::vector<std::uint32_t>& handles) const {
    std::vector<Hosts*> found;
    for (const std::uint32_t handle : handles) found.push_back(&find(handle));
    return found;
}

}  // namespace orv::il
