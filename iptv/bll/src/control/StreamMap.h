// Which stream carries which channel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "msgset/ip_address.h"

namespace orv::core {
class CPort;
class CProject;
}  // namespace orv::core
namespace orv::l2l3 {
class CStreamBlock;
}

namespace orv::iptv {

class CIptvStbBlockConfig;
using iptvcd_1_bll::ipAddress_t;

/// The streams of the project's generators that carry the groups which the STB blocks of a test watch. With
/// it a port distinguishes the channels by the stream id in the frames' signature. Filled in once per test,
/// in time linear in groups and streams.
class StreamMap {
  public:
    /// Lists the groups that the active blocks watch, each once, in the order of their first use.
    void ListRelevantIPs(const core::CProject& project, const std::vector<CIptvStbBlockConfig*>& blocks);
    /// Appends the streams of a stream block that carry a relevant group.
    void ProcessOneStreamBlock(std::uint32_t portHandle, l2l3::CStreamBlock* block,
                               std::vector<ipAddress_t>& sources, std::vector<ipAddress_t>& groups,
                               std::vector<std::uint32_t>& streamIds);
    /// Lists the relevant groups and the streams that carry them. When a group is carried by no stream, the
    /// user log says so and the list of stream ids is empty: channels are then told apart by address.
    void Make(const core::CProject& project, const std::vector<CIptvStbBlockConfig*>& blocks);
    /// A new test starts without a map.
    void Clear();

    /// Parallel lists: source and group of each stream.
    const std::vector<ipAddress_t>& GetSources() const { return sources_; }
    const std::vector<ipAddress_t>& GetGroups() const { return groups_; }
    /// As long as the other two, or empty.
    const std::vector<std::uint32_t>& GetStreamIds() const { return stream_ids_; }

  private:
    struct AddressHash {
        std::size_t operator()(const ipAddress_t& address) const;
    };

    std::unordered_map<ipAddress_t, std::size_t, AddressHash> relevant_;  ///< index of first use
    std::vector<bool> found_;                                             ///< by that index
    std::vector<ipAddress_t> sources_;
    std::vector<ipAddress_t> groups_;
    std::vector<std::uint32_t> stream_ids_;
};

/// The project's ports that messages can be sent to.
std::vector<const core::CPort*> ListReachablePorts(const core::CProject& project);

}  // namespace orv::iptv
