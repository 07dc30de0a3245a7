// What a test start has to know of the interface stacks of STB blocks.
#pragma once

#include <cstdint>

namespace orv::core {
class CNetworkInterface;
}

namespace orv::iptv {

class CIptvStbBlockConfig;

/// The link layers below the hosts of all blocks of a test.
struct LinkLayers {
    bool m_bAtmPort = false;
    bool m_bEthPort = false;
    std::uint8_t m_atmEncapsulation = 1;  ///< of the last AAL5 interface found

    /// Adds those below an interface.
    void Add(const core::CNetworkInterface& top);

    bool operator==(const LinkLayers&) const = default;
};

/// The properties of a block's stack by which frames are distinguished.
struct StackFlags {
    bool m_bVlanOuter = false;
    bool m_bVlanInner = false;
    bool m_bPppEnable = false;
    std::uint32_t m_vlanCount = 0;  ///< tags in the stack, filtered or not
};

/// The block's stack. PPPoE leaves the analyzer room for one tag only: that of `vlan_sub_filter`
/// (ids::VlanSubFilter). A block without host configuration or interface throws COrvRunTimeError.
StackFlags CheckVlanAndPppEnable(const CIptvStbBlockConfig& stbBlock, std::uint8_t vlan_sub_filter);

}  // namespace orv::iptv
