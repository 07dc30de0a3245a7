#include "wizard/IptvWizardMcastSources.h"

#include <iterator>
#include <utility>

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"
#include "wizard/IptvWizardManager.h"
#include "wizard/IptvWizardTestConfig.h"

namespace orv::iptv {

namespace SourcesId = ids::IptvWizardMcastSources;

const std::vector<std::uint32_t>& CIptvWizardMcastSources::GetTrafHostList() const {
    return GetCollection<std::uint32_t>(SourcesId::TrafHostList);
}

CIptvWizardMcastSources::TrafHosts::operator const std::vector<std::uint32_t>&() const {
    return std::as_const(source_).GetTrafHostList();
}

CIptvWizardMcastSources::TrafHosts& CIptvWizardMcastSources::TrafHosts::operator=(
    std::vector<std::uint32_t> handles) {
    source_.SetCollection(SourcesId::TrafHostList, std::move(handles));
    return *this;
}

void CIptvWizardMcastSources::TrafHosts::push_back(std::uint32_t handle) {
    source_.AddToCollection(SourcesId::TrafHostList, handle);
}

std::uint32_t CIptvWizardMcastSources::GetNumOfChannels() const {
    return GetU32(SourcesId::NumOfChannels);
}

void CIptvWizardMcastSources::SetChannelRate(double rate) {
    Set(SourcesId::ChannelRate, rate);
}

void CIptvWizardMcastSources::OnPropertyModified(framework::Property& property) {
    if (property.GetId() == SourcesId::TrafHost) {
        // 0, the initial value, means no host.
        if (const std::uint32_t host = GetU32(SourcesId::TrafHost)) GetTrafHostList().push_back(host);
    } else if (property.GetId() == SourcesId::ChannelRatePreset) {
        constexpr double kMbps[] = {1.5, 2, 2.5, 3, 4, 8};
        const std::uint8_t preset = GetU8(SourcesId::ChannelRatePreset);
        const std::uint32_t channels = GetNumOfChannels();
        if (preset < std::size(kMbps) && channels != 0) SetChannelRate(kMbps[preset] / channels);
    }
    CScriptable::OnPropertyModified(property);
}

void CIptvWizardMcastSources::ExpandMcastSource(std::uint32_t& groupHandle,
                                                std::vector<std::uint32_t>& streamBlockHandles) {
    const CIptvWizardTestConfig& config = CIptvWizardManager::GetWizTestConfig();
    const mcastcore::CMulticastGroup& group = SetupChannelBlocknMcastGroup(config, groupHandle);
    if (config.IsTestEnvironment()) SetupStreamBlock(group, config.IsIpv4(), streamBlockHandles);
}

IPTV_REGISTER_CLASS(CIptvWizardMcastSources);

}  // namespace orv::iptv
