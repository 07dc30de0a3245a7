// Wizard object for channels that a port sends.
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

/// Expands to a multicast group with its network block, a channel block, and in the test environment one
/// stream block per traffic host.
class CIptvWizardMcastSources
    : public ModelClass<ids::IptvWizardMcastSources::CLASS.GetValue(), framework::CScriptable> {
  public:
    /// The traffic hosts of a source, for reading and changing. Every change sets the property.
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

    /// Adds a new traffic host to the list; turns a preset into a channel rate.
    void OnPropertyModified(framework::Property& property) override;

    /// Creates the objects. `groupHandle` and `streamBlockHandles` get each handle as soon as its object
    /// exists, so they are valid even if the call throws: COrvRunTimeError if something is missing or cannot
    /// be created, COrvException if a relation is refused.
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
