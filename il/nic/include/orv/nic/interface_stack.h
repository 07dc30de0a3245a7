// The hosts on an interface stack.
#pragma once

#include <stdexcept>
#include <vector>

#include "msgset/interface_requests.h"
#include "orv/live/address.h"

namespace orv::nic {

/// What is wrong with a stack: "has no IP layer".
class StackError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The hosts of a stack, in order: host i has the i-th entry of each layer's list, or the layer's only value
/// if it has no list. A VLAN tag without a type has that of 802.1Q. Throws StackError for layers that live
/// ports do not support, more than two VLANs, unsupported types of VLAN tags, and lists of different lengths.
std::vector<live::HostAddress> GetHosts(const IFSETUP_1_bll::NetworkInterfaceStack_s& stack);

}  // namespace orv::nic
