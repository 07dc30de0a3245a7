// The headers of a wizard's channel traffic.
#pragma once

#include <string>

namespace orv::core {
class CNetworkInterface;
}

namespace orv::iptv {

/// The frame layout of UDP packets that leave by an interface, as XML: an element for each layer of its
/// stack from the link layer up, and one for UDP. Values of the headers are the interfaces' and the
/// bindings'.
std::string MakeFrameLayout(const core::CNetworkInterface& top);

}  // namespace orv::iptv
