#include "channel_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "addresses.h"
#include "find_objects.h"
#include "orv/core/network_block.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"
#include "orv/nic/addresses.h"

namespace orv::app {

namespace {

using mcastcore::CMulticastGroup;

constexpr std::uint64_t kLastChannel = 65535;  ///< ports have 16 bits for a channel number
constexpr std::uint64_t kChannelsOfZapping = 4;

const CMulticastGroup* GetGroup(const CScriptable& channels) {
    return dynamic_cast<const CMulticastGroup*>(
        channels.GetObject(CMulticastGroup::CLASS_ID(), ids::relations::MulticastParam));
}

/// A channel block with all that makes its channels.
struct Channels {
    const CScriptable* block;
    const CMulticastGroup* group;
    std::uint64_t first;
    std::uint64_t count;
};

class ChannelCheck {
  public:
    void CheckChannels(const CScriptable& channels) {
        const CMulticastGroup* group = GetGroup(channels);
        if (!group) {
            return Add(channels, "MulticastParam", "the relation is missing",
                       "the Ipv4Group or Ipv6Group with the addresses of its channels");
        }
        CheckSources(channels, *group);
        const core::CNetworkBlock* addresses = group->GetNetworkBlock();
        if (!addresses) return;
        channels_.push_back({&channels, group, channels.GetU32(ids::IptvChannelBlock::ChannelStart),
                             addresses->GetNetworkCount()});
        if (CheckNumbers(channels_.back(), *addresses)) CheckAddresses(channels, *addresses);
    }

    /// Hosts use either IGMP or MLD, so their channels must have that IP version, too.
    void CheckVersions(const CScriptable& stbs) {
        const CScriptable* protocol = stbs.GetObject("MulticastHostConfig", ids::relations::MulticastParam);
        if (!protocol) return;
        ForEachRange(stbs, [&](const CScriptable& range) {
            const Channels* channels = FindChannels(range);
            if (!channels || IsIpv4(*channels->group) == IsIpv4(*protocol)) return;
            Add(stbs, "StbChannel",
                fmt::format("the addresses of {} are of {}, but {} joins those of {}",
                            channels->block->Describe(), IsIpv4(*protocol) ? "IPv6" : "IPv4",
                            protocol->Describe(), IsIpv4(*protocol) ? "IPv4" : "IPv6"),
                "channels and protocol of one version of IP");
        });
    }

    /// A zapping test distinguishes four channels at a time, by the last two bits of their addresses.
    void CheckZapping(const CScriptable& stbs) {
        std::uint64_t channels = 0;
        ForEachRange(stbs, [&](const CScriptable& range) {
            namespace Id = ids::IptvViewedChannels;
            const std::uint64_t first = range.GetU32(Id::ChannelRangeStart),
                                last = range.GetU32(Id::ChannelRangeEnd);
            if (first <= last) channels += last - first + 1;
            if (const Channels* of_range = FindChannels(range)) CheckStep(*of_range->group);
        });
        if (channels % kChannelsOfZapping == 0) return;
        Add(stbs, "StbChannel",
            fmt::format("the ranges from first to last channel, whatever their steps, are of {} channels",
                        channels),
            fmt::format("a multiple of {} in a zapping test", kChannelsOfZapping));
    }

    ObjectProblems Take() { return std::move(problems_); }

  private:
    template <class Visit>
    static void ForEachRange(const CScriptable& stbs, const Visit& visit) {
        ScriptableVec ranges;
        stbs.GetObjects(ranges, ids::IptvViewedChannels::CLASS, ids::relations::StbChannel);
        for (const CScriptable* range : ranges) visit(*range);
    }

    /// The channels that contain a whole range; null if there are none.
    const Channels* FindChannels(const CScriptable& range) {
        const auto [known, is_new] = channels_of_ranges_.try_emplace(&range, nullptr);
        if (!is_new) return known->second;
        const std::uint64_t first = range.GetU32(ids::IptvViewedChannels::ChannelRangeStart);
        const std::uint64_t last = range.GetU32(ids::IptvViewedChannels::ChannelRangeEnd);
        const auto found = std::find_if(channels_.begin(), channels_.end(), [&](const Channels& channels) {
            return channels.first <= first && last < channels.first + channels.count;
        });
        return known->second = found == channels_.end() ? nullptr : &*found;
    }

    void CheckSources(const CScriptable& channels, const CMulticastGroup& group) {
        const CScriptable* device =
            channels.GetObject(ids::EmulatedDevice::CLASS, ids::relations::TrafficSources);
        if (!device || channels.GetBool(ids::IptvChannelBlock::UseNetworkBlockSources)) return;
        const bool ipv4 = IsIpv4(group);
        const CScriptable* top = device->GetObject(ids::NetworkInterface::CLASS, ids::relations::TopLevelIf);
        const std::string expected = fmt::format("an {} of it", ipv4 ? "Ipv4If" : "Ipv6If");
        const std::string purpose = fmt::format("{} takes source addresses from it", channels.Describe());
        if (!top) {
            Add(*device, "TopLevelIf", "the relation is missing, and " + purpose, expected);
        } else if (!top->IsTypeOf(ipv4 ? ids::Ipv4If::CLASS : ids::Ipv6If::CLASS)) {
            Add(*device, "TopLevelIf", top->Describe() + " is of the wrong class, and " + purpose, expected);
        }
    }

    bool CheckNumbers(const Channels& channels, const core::CNetworkBlock& addresses) {
        const std::uint64_t last = channels.first + channels.count - 1;
        if (last <= kLastChannel) return true;
        const std::string text = fmt::format("the channels of {} have numbers from {} to {}",
                                             channels.block->Describe(), channels.first, last);
        const std::string expected = fmt::format("none above {}", kLastChannel);
        if (channels.count > kLastChannel) {
            Add(addresses, "NetworkCount", text, expected);
        } else {
            Add(*channels.block, "ChannelStart", text, expected);
        }
        return false;
    }

    void CheckAddresses(const CScriptable& channels, const core::CNetworkBlock& block) {
        const std::vector<ipAddress_t> groups = GetAddresses(block);
        if (groups.empty() && block.GetNetworkCount() == 0)
            return Add(block, "NetworkCount", "there are no addresses", "1 or more");
        if (groups.empty())
            return Add(block, "StartIpList", "the list is empty", "the address of the first channel");
        const auto wrong = std::find_if(groups.begin(), groups.end(), [](const ipAddress_t& address) {
            return !nic::ToLiveAddress(address).IsMulticast();
        });
        if (wrong == groups.end()) return;
        Add(block, "StartIpList",
            fmt::format("address {} of {} is {}, which is no multicast group", wrong - groups.begin() + 1,
                        channels.Describe(), nic::ToLiveAddress(*wrong).ToString()),
            "224.0.0.0 to 239.255.255.255, or ff00:: and above");
    }

    void CheckStep(const CMulticastGroup& group) {
        const core::CNetworkBlock& block = *group.GetNetworkBlock();
        if (block.GetAddrIncrement() % 2 == 0) {
            Add(block, "AddrIncrement", fmt::format("{} is even", block.GetAddrIncrement()),
                "an odd number in a zapping test");
        }
        const bool ipv4 = IsIpv4(group);
        const int length =
            block.GetU8(ipv4 ? ids::Ipv4NetworkBlock::PrefixLength : ids::Ipv6NetworkBlock::PrefixLength);
        const int whole = ipv4 ? 32 : 128;
        if (length == whole) return;
        Add(block, "PrefixLength", fmt::format("there are {} bits", length),
            fmt::format("{} in a zapping test", whole));
    }

    void Add(const CScriptable& object, const char* key, const std::string& text,
             const std::string& expected) {
        problems_.push_back({&object, key, text, expected});
    }

    std::vector<Channels> channels_;
    std::unordered_map<const CScriptable*, const Channels*> channels_of_ranges_;
    ObjectProblems problems_;
};

}  // namespace

ObjectProblems FindChannelProblems(const core::CProject& project) {
    ChannelCheck check;
    for (const CScriptable* channels : FindActive(project, ids::IptvChannelBlock::CLASS))
        check.CheckChannels(*channels);
    for (const CScriptable* stbs : FindActive(project, ids::IptvStbBlockConfig::CLASS))
        check.CheckVersions(*stbs);
    for (const framework::CCommand* start : FindStartCommands()) {
        if (start->GetU8(ids::IptvStartTestCommand::TestType) != ids::TestType::ZAPPING) continue;
        for (const CScriptable* stbs : FindStbBlocks(*start)) {
            if (stbs->GetActive()) check.CheckZapping(*stbs);
        }
    }
    return check.Take();
}

}  // namespace orv::app
