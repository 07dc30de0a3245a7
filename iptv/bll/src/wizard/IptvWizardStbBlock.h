// Wizard object for the set-top boxes of a device.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "config/ChannelBlockIndex.h"
#include "orv/framework/scriptable.h"

namespace orv::core {
class CEmulatedDevice;
class CNetworkInterface;
}  // namespace orv::core
namespace orv::igmpmld {
class CMulticastHostConfig;
}

namespace orv::iptv {

class CIptvStbBlockConfig;
using common::ClassId;

/// Expands to an IGMP or MLD host configuration, a set-top-box block, its range of viewed channels and its
/// viewing profile.
class CIptvWizardStbBlock
    : public ModelClass<ids::IptvWizardStbBlock::CLASS.GetValue(), framework::CScriptable> {
  public:
    /// Creates the objects. Each handle is set as soon as its object exists, so it is valid even if the call
    /// throws: COrvRunTimeError if something is missing or cannot be created, or no channel block contains
    /// the range of channels. `channelBlocks`: the candidates; one index can serve all wizard objects of a
    /// project.
    void ExpandWizStbBlock(std::uint32_t& stbBlockHandle, std::uint32_t& hostConfigHandle,
                           const ChannelBlockIndex& channelBlocks = ChannelBlockIndex::OfProject());

  private:
    /// The parent; a parent of another class is an internal lookup failure.
    core::CEmulatedDevice& GetDevice(const char* operation) const;
    igmpmld::CMulticastHostConfig& SetupMcastHostConfig(std::uint32_t& hostConfigHandle);
    void WarnOfVersions(bool ipv4, const core::CNetworkInterface& interface) const;
    void SetupViewedChannels(const CIptvStbBlockConfig& block, const ChannelBlockIndex& channelBlocks);
    void SetupViewingProfile(const CIptvStbBlockConfig& block);
};

}  // namespace orv::iptv
