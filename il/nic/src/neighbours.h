// Answers ARP and neighbour discovery.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "address_on_link.h"
#include "frame_sink.h"
#include "orv/il/time.h"
#include "orv/live/address.h"
#include "orv/live/frame_parser.h"

namespace orv::nic {

/// Answers ARP requests (RFC 826) and neighbour solicitations (RFC 4861) for hosts that the kernel does not
/// know. An IPv6 host has a link-local address as well, which its MLD messages come from.
class Neighbours {
  public:
    void clear() { hosts_.clear(); }
    void add(const live::HostAddress& host);
    /// Its own address; a link-local one stays.
    void remove(const live::HostAddress& host);
    /// The host with the address; null if none has it.
    const live::HostAddress* find(const live::VlanTags& vlan, const live::IpAddress& target) const;

    /// Answers requests for one of the hosts; ignores all others.
    /// Rate limit per 10 ms: a flood of requests does not cause a flood of answers.
    void on_frame(const live::ParsedFrame& frame, il::Time stamp, FrameSink& sink);

  private:
    std::unordered_map<AddressOnLink, live::HostAddress, AddressOnLinkHash> hosts_;
    il::Time period_ = 0;  ///< start of the period in which answers are counted
    int answers_ = 0;
};

}  // namespace orv::nic
