// Channels that come from a port, as the wizard knows them.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::mcastcore {
class CMulticastGroup;
}
namespace orv::core {
class CEmulatedDevice;
class CPort;
}  // namespace orv::core

namespace orv::iptv {

class CIptvChannelBlock;
class CIptvWizardTestConfig;
using common::ClassId;

/// Expands into a multicast group with its network block, a channel block, and in the test environment a
/// stream block for each traffic host.
class CIptvWizardMcastSources : public framework::CScriptable {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    /// Handles of the emulated devices that send the channels, each once.
    const std::vector<std::uint32_t>& GetTrafHostList() const;
    void SetTrafHostList(std::vector<std::uint32_t> handles);
    std::uint32_t GetNumOfChannels() const;
    /// Load of each stream block, Mbit/s.
    void SetChannelRate(double rate);

    /// A traffic host is added to the list; a preset becomes a channel rate.
    void OnPropertyModified(framework::Property& property) override;
    bool IsSingleton() const override { return false; }

    /// Makes the objects. `groupHandle` is set and `streamBlockHandles` appended to as soon as each of them
    /// exists, also when the call throws: COrvRunTimeError for what is missing or cannot be made,
    /// COrvException for a relation that is refused.
    void ExpandMcastSource(std::uint32_t& groupHandle, std::vector<std::uint32_t>& streamBlockHandles);

  private:
    // SetupChannelBlock.cpp
    mcastcore::CMulticastGroup& SetupChannelBlocknMcastGroup(const CIptvWizardTestConfig& config,
                                                             std::uint32_t& groupHandle);
    void SetupChannelBlock(const mcastcore::CMulticastGroup& group);
    void SetupSourceFilter(CIptvChannelBlock& channelBlock);
    void CopyNetworkBlock(CIptvChannelBlock& channelBlock);
    // SetupStreamBlock.cpp
    void SetupStreamBlock(const mcastcore::CMulticastGroup& group, bool ipv4,
                          std::vector<std::uint32_t>& streamBlockHandles);
    void MakeStreamBlock(core::CPort& port, const core::CEmulatedDevice& device,
                         const mcastcore::CMulticastGroup& group, bool ipv4,
                         std::vector<std::uint32_t>& streamBlockHandles);
};

}  // namespace orv::iptv
