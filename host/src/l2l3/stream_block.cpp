#include "orv/l2l3/stream_block.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "orv/core/network_endpoint.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/stream_index_manager.h"

namespace orv::l2l3 {

using core::CNetworkEndpoint;
using framework::CScriptable;
using framework::ScriptableVec;

namespace {

constexpr std::uint64_t kMostStreams = std::numeric_limits<std::uint64_t>::max();

std::vector<CNetworkEndpoint*> GetEndpoints(const CStreamBlock& block, framework::RelationType binding) {
    ScriptableVec objects;
    block.GetObjects(objects, CNetworkEndpoint::CLASS_ID(), binding);
    std::vector<CNetworkEndpoint*> endpoints;
    for (CScriptable* object : objects) {
        auto* endpoint = dynamic_cast<CNetworkEndpoint*>(object);
        if (endpoint && endpoint->GetActive() && !endpoint->IsDeleted()) endpoints.push_back(endpoint);
    }
    return endpoints;
}

}  // namespace

CStreamBlock::~CStreamBlock() {
    CStreamIndexManager::Instance().Release(GetHandle());
}

framework::ClassId CStreamBlock::CLASS_ID() {
    return ids::StreamBlock::CLASS;
}

void CStreamBlock::Refresh() {
    constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
    Set(ids::StreamBlock::StreamCount, static_cast<std::uint32_t>(std::min(GetStreamCount(), most)));
}

std::vector<CStreamBlock::TrafficPath> CStreamBlock::GetTrafficPaths() const {
    const auto sources = GetEndpoints(*this, ids::relations::SrcBinding);
    const auto destinations = GetEndpoints(*this, ids::relations::DstBinding);
    std::vector<TrafficPath> paths;
    paths.reserve(sources.size() * destinations.size());
    for (CNetworkEndpoint* source : sources) {
        for (CNetworkEndpoint* destination : destinations) paths.emplace_back(source, destination);
    }
    return paths;
}

std::uint64_t CStreamBlock::GetStreamCount(const TrafficPath& path) {
    const std::uint64_t sources = path.first->GetEndpointCount();
    const std::uint64_t destinations = path.second->GetEndpointCount();
    if (sources == 0 || destinations == 0) return 0;
    const std::uint64_t rounds = sources / std::gcd(sources, destinations);
    return rounds > kMostStreams / destinations ? kMostStreams : rounds * destinations;
}

std::uint64_t CStreamBlock::GetStreamCount() const {
    std::uint64_t total = 0;
    for (const TrafficPath& path : GetTrafficPaths()) {
        const std::uint64_t count = GetStreamCount(path);
        total = count > kMostStreams - total ? kMostStreams : total + count;
    }
    return total;
}

ORV_REGISTER_CLASS(CStreamBlock);

}  // namespace orv::l2l3
