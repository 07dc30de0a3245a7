// Channels that come from a port, as the wizard knows them.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "ModelClass.h"
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
class CIptvWizardMcastSources
    : public ModelClass<ids::IptvWizardMcastSources::CLASS.GetValue(), framework::CScriptable> {
  public:
    /// The traffic hosts of a source, to be read and changed. Every change is one of the property.
    class TrafHosts {
      public:
        explicit TrafHosts(CIptvWizardMcastSources& source) : source_(source) {}
        operator const std::vector<std::uint32_t>&() const;
        auto begin() const { return std::as_const(source_).GetTrafHostList().begin(); }
        auto end() const { return std::as_const(source_).GetTrafHostList().end(); }
        TrafHosts& operator=(std::vector<std::uint32_t> handles);
        void push_back(std::uint32_t handle);

      private:
        CIptvWizardMcastSources& source_;
    };

    /// Handles of the emulated devices that send the channels.
    const std::vector<std::uint32_t>& GetTrafHostList() const;
    TrafHosts GetTrafHostList() { return TrafHosts(*this); }
    std::uint32_t GetNumOfChannels() const;
    /// Load of each stream block, Mbit/s.
    void SetChannelRate(double rate);

    /// A traffic host is added to the list; a preset becomes a channel rate.
    void OnPropertyModified(framework::Property& property) override;

    /// Makes the objects. `groupHandle` is set and `streamBlockHandles` appended to as soon as each of them
    /// exists, also when the call throws: COrvRunTimeError for what is missing or cannot be made,
    /// COrvException for a relation that is refused.
    void ExpandMcastSource(std::uint32_t& groupHandle, std::vector<std::uint32_t>& streamBlockHandles);

  private:
    // SetupChannelBlock.cpp
    mcastcore::CMulticastGroup& SetupChannelBlocknMcastGroup(const CIptvWizardTestConfig& config,
                                                             std::uint32_t& groupHandle);
    void SetupChannelBlock(const mcastcore::CMulticastGroup& group, bool ipv4);
    void SetupSourceFilter(CIptvChannelBlock& channelBlock, bool ipv4);
    void CopyNetworkBlock(CIptvChannelBlock& channelBlock, bool ipv4);
    // SetupStreamBlock.cpp
    void SetupStreamBlock(const mcastcore::CMulticastGroup& group, bool ipv4,
                          std::vector<std::uint32_t>& streamBlockHandles);
    void MakeStreamBlock(core::CPort& port, const core::CEmulatedDevice& device,
                         const mcastcore::CMulticastGroup& group, bool ipv4,
                         std::vector<std::uint32_t>& streamBlockHandles);
};

}  // namespace orv::iptv
