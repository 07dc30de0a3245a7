#include "simulated_addressing.h"

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "orv/il/port_fault.h"
#include "orv/il/random.h"
#include "packets.h"

namespace orv::il {

using hostaddr_1_bll::addressBlock_s;
using hostaddr_1_bll::AddressProtocol;
using live::AddressClient;
using live::GivenAddress;
using live::IpAddress;

namespace {

GivenAddress make_given(std::uint32_t number, AddressProtocol protocol) {
    if (protocol == AddressProtocol::DHCPV4) {
        constexpr std::uint32_t kNet = 0x64400000;  // 100.64.0.0
        return {IpAddress::V4(kNet + 10 + number % 0x3ffff0),
                10,
                IpAddress::V4(kNet + 1),
                {},
                IpAddress::V4(kNet + 1)};
    }
    std::array<std::uint8_t, 16> bytes{0x20, 0x01, 0x0d, 0xb8};
    bytes[15] = 1;
    const IpAddress router = IpAddress::V6(bytes);
    // Of a prefix the last four of eight bytes count, of an address the last four.
    const bool is_prefix = protocol == AddressProtocol::DHCPV6_PD;
    bytes[15] = 0;
    bytes[is_prefix ? 3 : 11] |= 1;
    for (int i = 0; i < 4; ++i)
        bytes[static_cast<std::size_t>((is_prefix ? 7 : 15) - i)] =
            static_cast<std::uint8_t>(number >> (8 * i));
    return {IpAddress::V6(bytes), 64, router, {}, router};
}

class SimulatedClient : public AddressClient {
  public:
    using MakeAddress = std::function<GivenAddress()>;

    SimulatedClient(ITimeline& timeline, std::uint64_t seed, const NetworkBehaviour& behaviour,
                    MakeAddress make, std::function<void()> changed)
        : timeline_(timeline),
          random_(seed),
          behaviour_(behaviour),
          make_(std::move(make)),
          changed_(std::move(changed)) {}
    ~SimulatedClient() override {
        if (timer_ != 0) timeline_.Cancel(timer_);
    }
    SimulatedClient(const SimulatedClient&) = delete;
    SimulatedClient& operator=(const SimulatedClient&) = delete;

    void Bind() override {
        if (state_ != State::Idle && state_ != State::Failed) return;
        failure_.clear();
        ++counts_.sent;
        timer_ = timeline_.PostAfter(Nanoseconds(draw_delay(behaviour_.address_delay, random_)), [this] {
            timer_ = 0;
            on_answer();
        });
        become(State::Binding);
    }
    void Release() override {
        if (state_ == State::Idle) return;
        if (timer_ != 0) timeline_.Cancel(std::exchange(timer_, 0));
        if (given_.has_value()) ++counts_.sent;
        given_.reset();
        failure_.clear();
        become(State::Idle);
    }
    // Nothing comes from a simulated network but by the function of time that it is.
    void OnDatagram(const IpAddress&, const live::MacAddress&, std::span<const std::byte>) override {}
    void OnAddressUsed(const IpAddress&, const live::MacAddress&) override {}

    State GetState() const override { return state_; }
    bool HasLease() const override { return given_.has_value(); }
    const std::optional<GivenAddress>& GetGiven() const override { return given_; }
    const std::string& GetFailure() const override { return failure_; }
    const live::AddressCounts& GetCounts() const override { return counts_; }

  private:
    void on_answer() {
        if (random_.happens(behaviour_.address_failure)) {
            failure_ = "nobody answers";
            return become(State::Failed);
        }
        ++counts_.received;
        given_ = make_();
        become(State::Bound);
    }
    void become(State state) {
        state_ = state;
        changed_();
    }

    ITimeline& timeline_;
    Random random_;
    const NetworkBehaviour& behaviour_;
    const MakeAddress make_;
    const std::function<void()> changed_;
    std::uint64_t timer_ = 0;
    State state_ = State::Idle;
    std::optional<GivenAddress> given_;
    std::string failure_;
    live::AddressCounts counts_;
};

}  // namespace

SimulatedAddressing::SimulatedAddressing(const std::string& port, const Network& network, ITimeline& timeline)
    : port_(port), network_(network), timeline_(timeline) {}

const NetworkBehaviour& SimulatedAddressing::behaviour() const {
    const auto own = network_.ports.find(port_);
    return own == network_.ports.end() ? network_.behaviour : own->second;
}

AddressNetwork::Clients SimulatedAddressing::make_clients(const addressBlock_s& block,
                                                          const PortConfiguration&, std::uint64_t seed,
                                                          Changed changed) {
    if (absent_.contains(block.if_handle))
        throw PortFault(FaultCode::BadValue, "the hosts of interface " + std::to_string(block.if_handle) +
                                                 " get their addresses by another block already");
    Clients clients;
    for (std::uint32_t i = 0; i < block.hosts.size(); ++i) {
        clients.push_back(std::make_unique<SimulatedClient>(
            timeline_, mixed(seed + i), behaviour(),
            [this, protocol = block.protocol] { return make_given(given_++, protocol); },
            [changed, i] { changed(i); }));
    }
    // A delegated prefix is for those behind the host.
    const bool needs_address = block.protocol != AddressProtocol::DHCPV6_PD;
    absent_[block.if_handle] = std::vector<bool>(needs_address ? block.hosts.size() : 0, true);
    return clients;
}

void SimulatedAddressing::host_changed(const addressBlock_s& block, std::uint32_t host,
                                       const Client& client) {
    std::vector<bool>& absent = absent_[block.if_handle];
    if (host < absent.size()) absent[host] = !client.GetGiven();
}

void SimulatedAddressing::forget(const addressBlock_s& block) {
    absent_.erase(block.if_handle);
}

std::vector<bool> SimulatedAddressing::get_absent(std::uint32_t if_handle) const {
    const auto found = absent_.find(if_handle);
    return found == absent_.end() ? std::vector<bool>() : found->second;
}

}  // namespace orv::il
