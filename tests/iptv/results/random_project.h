// The objects of a test, from a seed.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "oracle.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "random_views.h"
#include "test_project.h"

namespace results_test {

using namespace orv;  // NOLINT: tests
using framework::CScriptable;

/// Up to three blocks on up to two ports, which share up to two profiles and a few ranges, or many, that
/// overlap; some are not active. Keeps what the oracle must know of them.
class RandomProject {
  public:
    explicit RandomProject(Dice& dice) : dice_(dice) {
        MakePorts();
        MakeRanges();
        MakeProfiles();
        const std::size_t blocks = 1 + dice_.Roll(3);
        for (std::size_t i = 0; i < blocks; ++i) MakeBlock(i);
    }

    const std::vector<core::CPort*>& GetPorts() const { return ports_; }
    const std::vector<iptv::CIptvViewedChannels*>& GetRanges() const { return ranges_; }
    const std::vector<iptv::CIptvViewingProfileConfig*>& GetProfiles() const { return profiles_; }
    const std::vector<iptv::CIptvStbBlockConfig*>& GetBlocks() const { return blocks_; }
    /// Of each block.
    const std::vector<OracleBlock>& GetFacts() const { return facts_; }

  private:
    void MakePorts() {
        const std::size_t ports = 1 + dice_.Roll(2);
        for (std::size_t i = 0; i < ports; ++i) ports_.push_back(&project_.MakePort(fmt::format("P{}", i)));
    }

    void MakeRanges() {
        const iptv::CIptvChannelBlock& news = project_.MakeChannelBlock("News", 0, 6);
        const iptv::CIptvChannelBlock& films = project_.MakeChannelBlock("Films", 6, 20);
        const int ranges = dice_.Hit(10) ? 13 : 4;
        for (int i = 0; i < ranges; ++i) {
            OracleRange range;
            range.name = fmt::format("R{}", i);
            range.first = static_cast<std::uint32_t>(dice_.Roll(RandomViews::kChannels - 1));
            range.last = range.first + static_cast<std::uint32_t>(dice_.Roll(6));
            const bool is_news = range.first < 6;
            if (is_news) range.last = std::min(range.last, 5u);
            // A range that is no more than the first channel of a block does not count as inside it.
            if (range.last == 0 || range.last == 6) ++range.last;
            range.channel_name = is_news ? "News" : "Films";
            range.active = !dice_.Hit(8);
            ranges_.push_back(
                &project_.MakeRange(is_news ? news : films, range.first, range.last, range.name));
            ranges_.back()->Set(ids::Scriptable::Active, range.active);
            range_facts_.push_back(range);
        }
    }

    void MakeProfiles() {
        const std::uint32_t thresholds[] = {0, 3, 5, 1000, 100000};
        const std::size_t profiles = 1 + dice_.Roll(2);
        for (std::size_t i = 0; i < profiles; ++i) {
            const ViewingHabit habit = {thresholds[dice_.Roll(5)], static_cast<std::uint8_t>(dice_.Roll(3))};
            profiles_.push_back(&project_.MakeProfile(fmt::format("F{}", i)));
            profiles_.back()->Set(ids::IptvViewingProfileConfig::JoinLatencyThreshold, habit.threshold_ms);
            profiles_.back()->Set(ids::IptvViewingProfileConfig::ZapIntervalType, habit.zap_type);
            habits_.push_back(habit);
        }
    }

    void MakeBlock(std::size_t number) {
        OracleBlock block;
        block.name = fmt::format("B{}", number);
        block.clients = static_cast<std::uint32_t>(1 + dice_.Roll(9));
        // Numbers of boxes overlap now and then, or turn over.
        block.base_index = dice_.Hit(6)   ? 0xfffffffd
                           : dice_.Hit(6) ? 2
                                          : static_cast<std::uint32_t>(10 * number);
        block.active = !dice_.Hit(12);
        block.rows = dice_.Hit(3);
        core::CPort* port = ports_[dice_.Roll(ports_.size())];
        block.port = port->GetName();
        const bool ipv6 = number % 2 == 1;
        core::CEmulatedDevice& device = project_.MakeDevice(port, block.clients, {.ipv6 = ipv6});
        if (ipv6) {
            block.addresses = MakeAddresses<common::CIpv6Address>(
                device, "Ipv6If", ids::Ipv6If::Address, ids::Ipv6If::AddrStep, ids::Ipv6If::AddrList);
        } else {
            block.addresses = MakeAddresses<common::CIpAddress>(device, "Ipv4If", ids::Ipv4If::Address,
                                                                ids::Ipv4If::AddrStep, ids::Ipv4If::AddrList);
        }
        const std::size_t profile = dice_.Roll(profiles_.size());
        block.profile = profiles_[profile]->GetName();
        block.habit = habits_[profile];
        std::vector<iptv::CIptvViewedChannels*> ranges;
        const std::size_t all = ranges_.size();
        const std::size_t first = dice_.Roll(all);
        const std::size_t count = all - dice_.Roll(4);
        for (std::size_t i = 0; i < count; ++i) {
            block.ranges.push_back(range_facts_[(first + 3 * i) % all]);
            ranges.push_back(ranges_[(first + 3 * i) % all]);
        }
        iptv::CIptvStbBlockConfig& config =
            project_.MakeStbBlock(device, *profiles_[profile], ranges, block.name);
        config.SetBaseStbIndex(block.base_index);
        config.Set(ids::Scriptable::Active, block.active);
        config.Set(ids::IptvStbBlockConfig::SaveTimeStamps, block.rows);
        block.handle = config.GetHandle();
        blocks_.push_back(&config);
        facts_.push_back(std::move(block));
    }

    template <class Address>
    HostAddresses<Address> MakeAddresses(const core::CEmulatedDevice& device, const std::string& layer,
                                         common::PropId first, common::PropId step, common::PropId list) {
        const auto make = [this] {
            std::uint8_t bytes[16];
            for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(dice_.Bits());
            return Address(bytes);
        };
        HostAddresses<Address> addresses;
        addresses.first = make();
        addresses.step = make();
        if (dice_.Hit(2)) {
            for (std::size_t i = 1; i < RandomViews::kBoxes; ++i) addresses.list.push_back(make());
        }
        CScriptable& config = testing_aids::TestProject::LayerOf(device, layer);
        config.Set(first, addresses.first);
        config.Set(step, addresses.step);
        config.SetCollection(list, addresses.list);
        return addresses;
    }

    Dice& dice_;
    testing_aids::TestProject project_;
    std::vector<core::CPort*> ports_;
    std::vector<iptv::CIptvViewedChannels*> ranges_;
    std::vector<iptv::CIptvViewingProfileConfig*> profiles_;
    std::vector<iptv::CIptvStbBlockConfig*> blocks_;
    std::vector<OracleRange> range_facts_;
    std::vector<ViewingHabit> habits_;
    std::vector<OracleBlock> facts_;
};

}  // namespace results_test
