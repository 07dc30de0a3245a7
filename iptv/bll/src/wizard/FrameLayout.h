// Headers of the channel traffic that the wizard creates.
#pragma once

#include <string>

namespace orv::core {
class CNetworkInterface;
}

namespace orv::iptv {

/// The frame layout of UDP packets sent on an interface, as XML: one element for each layer of its stack from
/// the link layer up, and one for UDP. Header values come from the interfaces and bindings, not from the XML.
std::string MakeFrameLayout(const core::CNetworkInterface& top);

}  // namespace orv::iptv
