// A block of set-top boxes that change channels, and the records of their views.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "config/IptvStbBlockConfig.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/host_application.h"
#include "orv/core/network_block.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"
#include "results/IptvResultsManager.h"

namespace bench {

/// One block on one port, with a number of ranges of four channels, each in a channel block of its own.
class ChannelChangers {
    using CScriptable = orv::framework::CScriptable;

  public:
    using Notification = std::vector<iptvcd_1_bll::stblock_event_s>;

    ChannelChangers(std::uint32_t settop_boxes, std::uint32_t ranges)
        : host_({orv::framework::ClockKind::Virtual}), settop_boxes_(settop_boxes), channels_(4 * ranges) {
        namespace ids = orv::ids;
        CScriptable& root = host_.GetProject();
        CScriptable& port = Make("Port", root);
        CScriptable& device = Make("EmulatedDevice", root);
        device.Set(ids::EmulatedDevice::DeviceCount, settop_boxes);
        device.AddObject(port, ids::relations::AffiliationPort);
        CScriptable& link = Make("EthIIIf", device);
        CScriptable& top = Make("Ipv4If", device);
        top.AddObject(link, ids::relations::StackedOn);
        device.AddObject(top, ids::relations::TopLevelIf);
        CScriptable& protocol = Make("IgmpHostConfig", device);
        protocol.AddObject(top, ids::relations::UsesIf);
        block_ = &Make("IptvStbBlockConfig", device);
        block_->AddObject(Make("IptvViewingProfileConfig", root), ids::relations::IptvProfile);
        block_->AddObject(protocol, ids::relations::MulticastParam);
        for (std::uint32_t i = 0; i < ranges; ++i) AddRange(root, 1 + 4 * i);
        Manager().Prepare({});
    }

    orv::iptv::CIptvResultsManager& Manager() { return *orv::iptv::CIptvResultsManager::GetResultsManager(); }
    CScriptable& GetBlock() { return *block_; }
    /// The first range.
    CScriptable& GetRange() {
        return *block_->GetObject("IptvViewedChannels", orv::ids::relations::StbChannel);
    }
    void SaveTimeStamps() { block_->Set(orv::ids::IptvStbBlockConfig::SaveTimeStamps, true); }

    /// Every set-top box views some channels for a second each.
    Notification MakeNotification(int number, int views) const {
        constexpr std::int64_t kMs = 100000;  // ticks
        std::mt19937 random(static_cast<unsigned>(number) + 1);
        Notification notification(1);
        notification[0].stblock_handle = block_->GetHandle();
        auto& events = notification[0].events;
        events.reserve(static_cast<std::size_t>(settop_boxes_) * static_cast<std::size_t>(views));
        for (int view = 0; view < views; ++view) {
            for (std::uint32_t settop = 0; settop < settop_boxes_; ++settop) {
                auto& ev = events.emplace_back();
                ev.event_number = events.size();
                ev.settop_index = settop;
                ev.viewed_channel = static_cast<std::uint16_t>(1 + random() % channels_);
                ev.mcast_join_ts = (1000 * (number * views + view) + settop % 50) * kMs;
                ev.first_mcast_pkt_ts = ev.mcast_join_ts + (5 + random() % 40) * kMs;
                ev.mcast_leave_ts = ev.mcast_join_ts + 1000 * kMs;
                ev.last_mcast_pkt_ts = ev.mcast_leave_ts + (1 + random() % 20) * kMs;
                ev.first_pkt_ts_valid = ev.last_pkt_ts_valid = true;
                ev.total_mcast_packets = 900 + random() % 200;
                ev.lost_mcast_packets = random() % 8 == 0 ? random() % 5 : 0;
                ev.viewed_ip.v4 = {{225, 0, 0, 1}};
            }
        }
        return notification;
    }

  private:
    static CScriptable& Make(const char* class_name, CScriptable& parent) {
        return *orv::framework::CScriptableCreator().Create(class_name, &parent);
    }

    void AddRange(CScriptable& root, std::uint32_t first) {
        namespace ids = orv::ids;
        CScriptable& channels = Make("IptvChannelBlock", root);
        channels.Set(ids::IptvChannelBlock::ChannelStart, first);
        CScriptable& group = Make("Ipv4Group", root);
        dynamic_cast<orv::mcastcore::CMulticastGroup&>(group).GetNetworkBlock()->SetNetworkCount(4);
        channels.AddObject(group, ids::relations::MulticastParam);
        CScriptable& range = Make("IptvViewedChannels", root);
        range.Set(ids::IptvViewedChannels::ChannelBlock, channels.GetHandle());
        range.Set(ids::IptvViewedChannels::ChannelRangeStart, first);
        range.Set(ids::IptvViewedChannels::ChannelRangeEnd, first + 3);
        range.Set(ids::IptvViewedChannels::InitialChannelStart, first);
        block_->AddObject(range, ids::relations::StbChannel);
    }

    orv::core::CHostApplication host_;
    std::uint32_t settop_boxes_;
    std::uint32_t channels_;
    CScriptable* block_ = nullptr;
};

}  // namespace bench
