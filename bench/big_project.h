// A big IPTV project.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/core/host_application.h"
#include "orv/core/network_block.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"

namespace bench {

/// A valid project: 8 ports that share a processor, on which set-top-box blocks of one box each view two
/// ranges each. One range lies in each channel block.
class BigProject {
    using CScriptable = orv::framework::CScriptable;
    using Objects = std::vector<CScriptable*>;

  public:
    BigProject(std::uint32_t stb_blocks, std::uint32_t ranges) : host_({orv::framework::ClockKind::Virtual}) {
        for (std::uint32_t i = 0; i < ranges; ++i) AddChannels(1 + i * kChannelsPerBlock);
        for (std::uint32_t i = 0; i < kPorts; ++i) ports_.push_back(&Make("Port", Root()));
        CScriptable& profile = Make("IptvViewingProfileConfig", Root());
        for (std::uint32_t i = 0; i < stb_blocks; ++i)
            AddStbBlock(*ports_[i * kPorts / stb_blocks], profile, *ranges_[2 * i % ranges],
                        *ranges_[(2 * i + 1) % ranges]);
    }
    CScriptable& Root() { return host_.GetProject(); }
    const Objects& GetPorts() const { return ports_; }
    /// Those of the first port first.
    const Objects& GetStbBlocks() const { return stb_blocks_; }

  private:
    static constexpr std::uint32_t kPorts = 8;
    static constexpr std::uint32_t kChannelsPerBlock = 4;

    static CScriptable& Make(const char* class_name, CScriptable& parent) {
        return *orv::framework::CScriptableCreator().Create(class_name, &parent);
    }

    void AddChannels(std::uint32_t first) {
        namespace ids = orv::ids;
        CScriptable& block = Make("IptvChannelBlock", Root());
        block.Set(ids::IptvChannelBlock::ChannelStart, first);
        CScriptable& group = Make("Ipv4Group", Root());
        dynamic_cast<orv::mcastcore::CMulticastGroup&>(group).GetNetworkBlock()->SetNetworkCount(
            kChannelsPerBlock);
        block.AddObject(group, ids::relations::MulticastParam);
        CScriptable& range = Make("IptvViewedChannels", Root());
        range.Set(ids::IptvViewedChannels::ChannelBlock, block.GetHandle());
        range.Set(ids::IptvViewedChannels::ChannelRangeStart, first);
        range.Set(ids::IptvViewedChannels::ChannelRangeEnd, first + kChannelsPerBlock - 1);
        range.Set(ids::IptvViewedChannels::InitialChannelStart, first);
        ranges_.push_back(&range);
    }

    void AddStbBlock(CScriptable& port, CScriptable& profile, CScriptable& range, CScriptable& other_range) {
        namespace relations = orv::ids::relations;
        CScriptable& device = Make("EmulatedDevice", Root());
        device.AddObject(port, relations::AffiliationPort);
        CScriptable& link = Make("EthIIIf", device);
        CScriptable& top = Make("Ipv4If", device);
        top.AddObject(link, relations::StackedOn);
        device.AddObject(top, relations::TopLevelIf);
        CScriptable& protocol = Make("IgmpHostConfig", device);
        protocol.AddObject(top, relations::UsesIf);
        CScriptable& block = Make("IptvStbBlockConfig", device);
        block.AddObject(profile, relations::IptvProfile);
        block.AddObject(protocol, relations::MulticastParam);
        block.AddObject(range, relations::StbChannel);
        block.AddObject(other_range, relations::StbChannel);
        stb_blocks_.push_back(&block);
    }

    orv::core::CHostApplication host_;
    Objects ranges_;
    Objects ports_;
    Objects stb_blocks_;
};

}  // namespace bench
