// Traffic of one kind.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::core {
class CNetworkEndpoint;
}

namespace orv::l2l3 {

/// Traffic from every endpoint of the relation SrcBinding to every endpoint of the relation DstBinding.
class CStreamBlock : public framework::CScriptable {
  public:
    /// (source, destination)
    using TrafficPath = std::pair<core::CNetworkEndpoint*, core::CNetworkEndpoint*>;

    ~CStreamBlock() override;
    static framework::ClassId CLASS_ID();

    /// Recomputes the property StreamCount from the endpoints.
    void Refresh();
    /// The pairs in the order of the bindings, sources first. Deleted and inactive endpoints take no part.
    std::vector<TrafficPath> GetTrafficPaths() const;
    /// Streams of a path: the least common multiple of the two endpoints' address counts. Stream i goes from
    /// host i to group i, each taken modulo its count, so every pair that occurs does so once.
    static std::uint64_t GetStreamCount(const TrafficPath& path);
    /// Streams of all paths together; saturates at the largest number.
    std::uint64_t GetStreamCount() const;
};

}  // namespace orv::l2l3
