// The filters by which the analyzer of a test port sorts the received frames.
#pragma once

#include <cstdint>

#include "control/InterfaceStacks.h"
#include "control/TestSettings.h"

namespace orv::core {
class CPort;
}
namespace orv::l2l3 {
class CAnalyzer;
class CAnalyzer16BitFilter;
class CAnalyzer32BitFilter;
}  // namespace orv::l2l3

namespace orv::iptv {

class CIptvStbBlockConfig;

/// Programs the analyzer of one port. An object that cannot be made throws COrvRunTimeError.
class AnalyzerSetup {
  public:
    /// `streams_known`: the stream map has the stream ids of all channels.
    AnalyzerSetup(const TestSettings& settings, const LinkLayers& link, const StackFlags& stack,
                  bool streams_known)
        : m_settings(settings), m_link(link), m_stack(stack), m_streamsKnown(streams_known) {}

    /// Stops, clears and programs the port's analyzer for the hosts of a block, and returns it. A port
    /// without analyzer throws COrvRunTimeError.
    l2l3::CAnalyzer& init_analyzer(core::CPort& port, const CIptvStbBlockConfig& stbBlock) const;
    static void clear_comparators(const l2l3::CAnalyzer& analyzer);
    void init_comparators(l2l3::CAnalyzer& analyzer, const CIptvStbBlockConfig& stbBlock) const;
    void createIpFilters(l2l3::CAnalyzer& analyzer, const CIptvStbBlockConfig& stbBlock,
                         l2l3::CAnalyzer16BitFilter*& upper, l2l3::CAnalyzer16BitFilter*& lower) const;
    void create32bitFilters(l2l3::CAnalyzer& analyzer, l2l3::CAnalyzer32BitFilter*& filter) const;

  private:
    /// The filter for the VLAN tag, when there is one.
    void AddVlanFilter(l2l3::CAnalyzer& analyzer) const;
    /// The filter for the S-bit, the PPPoE session or the second VLAN tag, when there is one.
    void AddFourthFilter(l2l3::CAnalyzer& analyzer) const;
    /// Bytes from the start of the frame to the first VLAN tag.
    std::uint32_t GetLinkLayerOffset() const;
    /// The stream id tells the channels apart.
    bool IsStreamIdMode() const;
    /// The S-bit of a burst is looked for.
    bool IsSbitMode() const;

    const TestSettings m_settings;
    const LinkLayers m_link;
    const StackFlags m_stack;
    const bool m_streamsKnown;
};

}  // namespace orv::iptv
