// The objects of a test and what its ports might report, from a seed.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <random>

#include "oracle.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "test_project.h"

namespace results_test {

using namespace orv;  // NOLINT: tests
using framework::CScriptable;

/// The same numbers on every platform.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    /// 0 to `sides` - 1.
    std::uint64_t Roll(std::uint64_t sides) { return engine_() % sides; }
    /// True once in `sides` times.
    bool Hit(std::uint64_t sides) { return Roll(sides) == 0; }
    std::uint64_t Bits() { return engine_(); }

  private:
    std::mt19937_64 engine_;
};

/// What set-top boxes of one block might report: mostly views one after the other, with all that can go wrong
/// in between.
class RandomViews {
  public:
    using View = iptvcd_1_bll::stbox_event_s;
    using Retransmission = iptvcd_1_bll::stbox_event_rrr_s;

    RandomViews(Dice& dice, std::int64_t start) : dice_(dice), clocks_(kBoxes, start) {}

    View MakeView() {
        View ev;
        MakeCommon(ev);
        std::int64_t& clock = clocks_[ev.settop_index];
        const std::int64_t length = MakeLength();
        ev.mcast_join_ts = Stamp(clock);
        ev.mcast_leave_ts = Stamp(clock + length);
        SetPackets(ev.first_mcast_pkt_ts, ev.last_mcast_pkt_ts, clock, length);
        if (!dice_.Hit(3)) {
            const std::int64_t unicast_length = MakeLength();
            ev.unicast_join_ts = Stamp(clock);
            ev.unicast_leave_ts = Stamp(clock + unicast_length);
            SetPackets(ev.first_unicast_nosb_pkt_ts, ev.last_unicast_nosb_pkt_ts, clock, unicast_length);
            SetPackets(ev.first_unicast_sbit_pkt_ts, ev.last_unicast_sbit_pkt_ts, clock, unicast_length);
        }
        clock += length + Jitter(200);
        ev.total_mcast_packets = MakeCount();
        ev.total_unicast_nosb_packets = MakeCount();
        ev.total_unicast_sbit_packets = MakeCount();
        ev.uni_multi_gap_count = dice_.Roll(50);
        ev.uni_multi_overlap_count = dice_.Roll(50);
        if (dice_.Hit(2)) {
            for (auto counter :
                 {&View::lost_mcast_packets, &View::reordered_mcast_packets, &View::duplicate_mcast_packets,
                  &View::late_mcast_packets, &View::mcast_prbs_errors, &View::lost_unicast_packets,
                  &View::reordered_unicast_packets, &View::duplicate_unicast_packets,
                  &View::late_unicast_packets, &View::unicast_prbs_errors}) {
                if (dice_.Hit(8)) ev.*counter = MakeCount();
            }
        }
        for (auto flag : {&View::mcast_join_latency_flag, &View::mcast_leave_latency_flag,
                          &View::unicast_join_latency_flag, &View::unicast_leave_latency_flag,
                          &View::ext_hdr_error, &View::sbit_failure}) {
            ev.*flag = dice_.Hit(4);
        }
        ev.first_pkt_ts_valid = !dice_.Hit(6);
        ev.last_pkt_ts_valid = !dice_.Hit(6);
        return ev;
    }

    Retransmission MakeRetransmission() {
        Retransmission ev;
        MakeCommon(ev);
        SetPackets(ev.nack_pkt_tx_ts, ev.last_retrans_rtp_pkt_rx_ts, clocks_[ev.settop_index], MakeLength());
        ev.nack_rtp_seq_number = static_cast<std::uint16_t>(dice_.Bits());
        ev.flagged_retrans = dice_.Hit(2);
        ev.retrans_fail = dice_.Hit(2);
        return ev;
    }

    /// Boxes report as 0 to kBoxes - 1.
    static constexpr std::size_t kBoxes = 6;
    static constexpr std::uint32_t kChannels = 14;  ///< 0 among them

  private:
    static constexpr std::int64_t kTurn = std::int64_t{1} << 46;

    /// Up to `ms`, in ticks.
    std::int64_t Ms(std::uint64_t ms) { return static_cast<std::int64_t>(dice_.Roll(ms * 100000)); }

    /// Some end before they begin, some are as short as a view can be or just shorter.
    std::int64_t MakeLength() {
        const std::uint64_t sort = dice_.Roll(8);
        if (sort == 0) return 499999 + static_cast<std::int64_t>(dice_.Roll(3));
        if (sort == 1) return dice_.Hit(2) ? 0 : Ms(5);
        return sort == 2 ? Ms(1000) - Ms(500) : Ms(5000);
    }

    /// The counter of the port at that time, which has not been sometimes and sometimes is off.
    std::int64_t Stamp(std::int64_t time) {
        if (dice_.Hit(12)) return 0;
        if (dice_.Hit(40)) time = static_cast<std::int64_t>(dice_.Bits() % kTurn);
        return (time % kTurn + kTurn) % kTurn;
    }

    /// Late mostly, early or to the tick sometimes.
    std::int64_t Jitter(std::uint64_t ms) {
        const std::uint64_t sort = dice_.Roll(6);
        return sort == 0 ? -Ms(ms) : sort == 1 ? 0 : Ms(ms);
    }

    void SetPackets(std::int64_t& first, std::int64_t& last, std::int64_t start, std::int64_t length) {
        first = Stamp(start + Jitter(300));
        last = Stamp(start + length + Jitter(300));
    }

    std::uint64_t MakeCount() { return dice_.Hit(8) ? ~std::uint64_t{0} : dice_.Roll(100000); }

    template <class Event>
    void MakeCommon(Event& ev) {
        ev.event_number = dice_.Bits();
        ev.settop_index = static_cast<std::uint32_t>(dice_.Roll(kBoxes));
        ev.viewed_channel = static_cast<std::uint16_t>(dice_.Roll(kChannels));
        ev.viewed_ip.type = dice_.Hit(2) ? ev.viewed_ip.kV4 : ev.viewed_ip.kV6;
        for (std::uint8_t& byte : ev.viewed_ip.v6.address) byte = static_cast<std::uint8_t>(dice_.Bits());
        for (auto* tag : {&ev.vlan_tag, &ev.vlan_inner_tag, &ev.ppp_index, &ev.vci, &ev.vpi})
            *tag = static_cast<std::uint16_t>(dice_.Bits());
    }

    Dice& dice_;
    std::vector<std::int64_t> clocks_;  ///< of each box
};

/// Up to three blocks on up to two ports, which share up to two profiles and a few ranges, or many, that
/// overlap; some are not active. Keeps what the oracle must know of them.
class RandomProject {
  public:
    explicit RandomProject(Dice& dice) : dice_(dice) {
        MakePorts();
        MakeRanges();
        MakeProfiles();
        const std::size_t count = 1 + dice_.Roll(3);
        for (std::size_t i = 0; i < count; ++i) MakeBlock(i);
    }

    std::vector<core::CPort*> ports;
    std::vector<iptv::CIptvViewedChannels*> ranges;
    std::vector<iptv::CIptvViewingProfileConfig*> profiles;
    std::vector<iptv::CIptvStbBlockConfig*> blocks;
    std::vector<OracleBlock> facts;  ///< of each block

  private:
    void MakePorts() {
        const std::size_t count = 1 + dice_.Roll(2);
        for (std::size_t i = 0; i < count; ++i) ports.push_back(&project_.MakePort(fmt::format("P{}", i)));
    }

    void MakeRanges() {
        const iptv::CIptvChannelBlock& news = project_.MakeChannelBlock("News", 0, 6);
        const iptv::CIptvChannelBlock& films = project_.MakeChannelBlock("Films", 6, 20);
        const int count = dice_.Hit(10) ? 13 : 4;
        for (int i = 0; i < count; ++i) {
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
            ranges.push_back(
                &project_.MakeRange(is_news ? news : films, range.first, range.last, range.name));
            ranges.back()->Set(ids::Scriptable::Active, range.active);
            range_facts_.push_back(range);
        }
    }

    void MakeProfiles() {
        const std::uint32_t thresholds[] = {0, 3, 5, 1000, 100000};
        const std::size_t count = 1 + dice_.Roll(2);
        for (std::size_t i = 0; i < count; ++i) {
            const ViewingHabit habit = {thresholds[dice_.Roll(5)], static_cast<std::uint8_t>(dice_.Roll(3))};
            profiles.push_back(&project_.MakeProfile(fmt::format("F{}", i)));
            profiles.back()->Set(ids::IptvViewingProfileConfig::JoinLatencyThreshold, habit.threshold_ms);
            profiles.back()->Set(ids::IptvViewingProfileConfig::ZapIntervalType, habit.zap_type);
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
        core::CPort* port = ports[dice_.Roll(ports.size())];
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
        const std::size_t profile = dice_.Roll(profiles.size());
        block.profile = profiles[profile]->GetName();
        block.habit = habits_[profile];
        std::vector<iptv::CIptvViewedChannels*> watched;
        const std::size_t all = ranges.size(), first = dice_.Roll(all), count = all - dice_.Roll(4);
        for (std::size_t i = 0; i < count; ++i) {
            block.ranges.push_back(range_facts_[(first + 3 * i) % all]);
            watched.push_back(ranges[(first + 3 * i) % all]);
        }
        iptv::CIptvStbBlockConfig& config =
            project_.MakeStbBlock(device, *profiles[profile], watched, block.name);
        config.SetBaseStbIndex(block.base_index);
        config.Set(ids::Scriptable::Active, block.active);
        config.Set(ids::IptvStbBlockConfig::SaveTimeStamps, block.rows);
        block.handle = config.GetHandle();
        blocks.push_back(&config);
        facts.push_back(std::move(block));
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
        if (dice_.Hit(2))
            for (std::size_t i = 1; i < RandomViews::kBoxes; ++i) addresses.list.push_back(make());
        CScriptable& config = testing_aids::TestProject::LayerOf(device, layer);
        config.Set(first, addresses.first);
        config.Set(step, addresses.step);
        config.SetCollection(list, addresses.list);
        return addresses;
    }

    Dice& dice_;
    testing_aids::TestProject project_;
    std::vector<OracleRange> range_facts_;
    std::vector<ViewingHabit> habits_;
};

using Notification = std::vector<iptvcd_1_bll::stblock_event_s>;

inline std::vector<Notification> MakeStream(Dice& dice, const RandomProject& project) {
    // From before the counter turns over or from anywhere else.
    const std::int64_t turn = std::int64_t{1} << 46;
    const std::int64_t start = dice.Hit(3) ? turn - static_cast<std::int64_t>(dice.Roll(1000000000))
                                           : static_cast<std::int64_t>(dice.Bits() % turn);
    std::vector<RandomViews> views(project.facts.size(), RandomViews(dice, start));
    std::vector<Notification> stream(1 + dice.Roll(4));
    for (Notification& notification : stream) {
        notification.resize(1 + dice.Roll(3));
        for (auto& record : notification) {
            const std::size_t block = dice.Roll(views.size());
            // Of something else now and then.
            record.stblock_handle =
                dice.Hit(30) ? project.ranges.front()->GetHandle() : project.facts[block].handle;
            const std::size_t events = dice.Roll(8);
            for (std::size_t i = 0; i < events; ++i) record.events.push_back(views[block].MakeView());
            const std::size_t retransmissions = dice.Roll(4);
            for (std::size_t i = 0; i < retransmissions; ++i)
                record.rrr_events.push_back(views[block].MakeRetransmission());
        }
    }
    return stream;
}

}  // namespace results_test
