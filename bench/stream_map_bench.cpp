// The stream map of a test start: which stream carries which channel. Twice the streams and channels must not
// take more than about twice the time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "config/IptvStbBlockConfig.h"
#include "control/StreamMap.h"
#include "orv/core/host_application.h"
#include "orv/core/network_block.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/mcastcore/multicast_group.h"

namespace {

using namespace orv;  // NOLINT: a benchmark
using framework::CScriptable;
namespace relations = ids::relations;

CScriptable& Make(const char* class_name, CScriptable& parent) {
    return *framework::CScriptableCreator().Create(class_name, &parent);
}

/// As many channels in one channel block, watched in ranges of 16 by one block of set-top boxes, as there are
/// streams from a device on another port.
class Streams {
  public:
    explicit Streams(std::uint32_t count) : host_({framework::ClockKind::Virtual}) {
        CScriptable& root = host_.GetProject();
        CScriptable& channels = Make("IptvChannelBlock", root);
        CScriptable& group = Make("Ipv4Group", root);
        auto* addresses = dynamic_cast<mcastcore::CMulticastGroup&>(group).GetNetworkBlock();
        addresses->SetNetworkCount(count);
        channels.AddObject(group, relations::MulticastParam);

        block_ = &dynamic_cast<iptv::CIptvStbBlockConfig&>(Make("IptvStbBlockConfig", MakeDevice(1)));
        for (std::uint32_t first = 1; first <= count; first += 16) {
            CScriptable& range = Make("IptvViewedChannels", root);
            range.Set(ids::IptvViewedChannels::ChannelRangeStart, first);
            range.Set(ids::IptvViewedChannels::ChannelRangeEnd, first + 15);
            block_->AddObject(range, relations::StbChannel);
        }
        CScriptable& port = Make("Port", root);
        CScriptable& source = MakeDevice(count);
        source.AddObject(port, relations::AffiliationPort);
        CScriptable& streams = Make("StreamBlock", port);
        streams.AddObject(*source.GetObject("Ipv4If", common::kParentChild), relations::SrcBinding);
        streams.AddObject(*addresses, relations::DstBinding);
    }
    /// Streams in the map.
    std::size_t Map() {
        iptv::StreamMap map;
        map.Make(host_.GetProject(), {block_});
        return map.GetStreamIds().size();
    }

  private:
    CScriptable& MakeDevice(std::uint32_t hosts) {
        CScriptable& device = Make("EmulatedDevice", host_.GetProject());
        device.Set(ids::EmulatedDevice::DeviceCount, hosts);
        CScriptable& link = Make("EthIIIf", device);
        CScriptable& top = Make("Ipv4If", device);
        top.AddObject(link, relations::StackedOn);
        device.AddObject(top, relations::TopLevelIf);
        return device;
    }

    core::CHostApplication host_;
    iptv::CIptvStbBlockConfig* block_;
};

void MakeStreamMap(benchmark::State& state) {
    const auto count = static_cast<std::uint32_t>(state.range(0));
    Streams streams(count);
    for (auto _ : state) {
        if (streams.Map() == count) continue;
        std::fprintf(stderr, "The map does not have all %u streams\n", count);
        std::exit(1);
    }
}
BENCHMARK(MakeStreamMap)->Arg(32768)->Arg(16384)->Unit(benchmark::kMillisecond);

}  // namespace
