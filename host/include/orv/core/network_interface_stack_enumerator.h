// The interface stacks of single hosts.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "orv/core/network_interface.h"

namespace orv::core {

/// Walks over the hosts behind an interface and gives for each its own stack, with its own addresses and
/// tags.
///
/// The interfaces of the object tree describe all hosts at once, so the lists given out hold interfaces of
/// the enumerator's own: of the same classes, outside the tree, without handle and parent. They carry the
/// configuration of the tree's interfaces as it was when the enumerator was made.
class CNetworkInterfaceStackEnumerator {
  public:
    explicit CNetworkInterfaceStackEnumerator(const CNetworkInterface& top);
    CNetworkInterfaceStackEnumerator(const CNetworkInterfaceStackEnumerator&) = delete;
    CNetworkInterfaceStackEnumerator& operator=(const CNetworkInterfaceStackEnumerator&) = delete;
    ~CNetworkInterfaceStackEnumerator();

    /// Number of hosts.
    std::uint32_t GetEndpointCount() const { return count_; }

    /// The stack of one host (counted from 0, below GetEndpointCount, else COrvLogicError), from the
    /// interface that the enumerator was made with down to the link layer. Valid until the next call and
    /// while the enumerator lives.
    const std::vector<CNetworkInterface*>& GetInterfaceList(std::uint32_t endpoint);

  private:
    std::uint32_t count_;
    std::vector<const CNetworkInterface*> ranges_;
    std::vector<CNetworkInterface*> interfaces_;
};

}  // namespace orv::core
