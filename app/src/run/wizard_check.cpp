#include "wizard_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "find_objects.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

namespace {

namespace Sources = ids::IptvWizardMcastSources;
namespace Boxes = ids::IptvWizardStbBlock;

class WizardCheck {
  public:
    explicit WizardCheck(const core::CProject& project) : sources_(FindBelow(project, Sources::CLASS)) {
        const CScriptable* config = project.GetObject(ids::IptvWizardTestConfig::CLASS, common::kParentChild);
        ipv4_ = !config || config->GetU8(ids::IptvWizardTestConfig::IpVersion) == ids::WizardIpVersion::IPV4;
    }

    void CheckSources() {
        for (const CScriptable* sources : sources_) {
            if (sources->GetU32(Sources::NumOfChannels) == 0)
                problems_.push_back({sources, "NumOfChannels", "there are no channels", "1 or more"});
            if (sources->GetU32(Sources::ChannelStart) == 0)
                problems_.push_back({sources, "ChannelStart", "channel numbers begin with 1", "1 or more"});
            for (const std::uint32_t handle : sources->GetCollection<std::uint32_t>(Sources::TrafHostList)) {
                if (const CScriptable* device = framework::CHandleRegistry::Instance().Find(handle))
                    CheckTop(*device, *sources);
            }
        }
    }

    void CheckBoxes(const CScriptable& boxes) {
        CheckTop(*boxes.GetParent(), boxes);
        const std::uint8_t version = boxes.GetU8(Boxes::IgmpMldVersion);
        const bool of_ipv4 = version <= ids::WizardIgmpMldVersion::IGMP_V3;
        if (version <= ids::WizardIgmpMldVersion::MLD_V2 && of_ipv4 != ipv4_) {
            problems_.push_back(
                {&boxes, "IgmpMldVersion",
                 fmt::format("{} does not fit a test of IPv{}", boxes.Get("IgmpMldVersion"), ipv4_ ? 4 : 6),
                 ipv4_ ? "a version of IGMP" : "a version of MLD"});
        }
        const std::uint64_t first = boxes.GetU32(Boxes::ChannelRangeStart);
        const std::uint64_t last = boxes.GetU32(Boxes::ChannelRangeEnd);
        const bool has_all = std::any_of(sources_.begin(), sources_.end(), [&](const CScriptable* sources) {
            const std::uint64_t start = sources->GetU32(Sources::ChannelStart);
            return start <= first && last < start + sources->GetU32(Sources::NumOfChannels);
        });
        if (has_all) return;
        problems_.push_back(
            {&boxes, "ChannelRangeEnd",
             fmt::format("no IptvWizardMcastSources has all channels from {} to {}", first, last),
             "channels of one of them"});
    }

    ObjectProblems Take() { return std::move(problems_); }

  private:
    void CheckTop(const CScriptable& device, const CScriptable& user) {
        const common::ClassId wanted = ipv4_ ? ids::Ipv4If::CLASS : ids::Ipv6If::CLASS;
        if (device.GetObject(wanted, ids::relations::TopLevelIf)) return;
        problems_.push_back(
            {&device, "TopLevelIf",
             fmt::format("there is none of the test's IP version, which {} needs", user.Describe()),
             ipv4_ ? "an Ipv4If of the device" : "an Ipv6If of the device"});
    }

    ScriptableVec sources_;
    bool ipv4_ = true;
    ObjectProblems problems_;
};

}  // namespace

ObjectProblems FindWizardProblems(const core::CProject& project) {
    WizardCheck check(project);
    check.CheckSources();
    for (const CScriptable* boxes : FindBelow(project, Boxes::CLASS)) check.CheckBoxes(*boxes);
    return check.Take();
}

}  // namespace orv::app
