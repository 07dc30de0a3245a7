#include "wizard/WizardObjects.h"

#include "IptvLog.h"
#include "IptvResources.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/framework/relation_helper.h"
#include "orv/ids/core_ids.h"

namespace orv::iptv {

core::CProject& GetWizardProject(const char* operation) {
    if (auto* project = core::CProject::GetCurrentActiveInstance()) return *project;
    ThrowLookupFailure({"Project", "System", operation}, "Project.");
}

void AddWizardRelation(CScriptable& source, const std::string& relation, std::uint32_t target,
                       const framework::LazyText& failure, const std::source_location& where) {
    std::string why;
    if (framework::CRelationHelper::Instance().AddRelation(&source, relation, {target}, why)) return;
    LogResource(devLogger(), LogLevelType::Error, resource::kBadArgumentError, {failure}, where);
    LogText(devLogger(), LogLevelType::Error, why, where);
    throw common::COrvException("Failed in relation addition.", true);
}

core::CNetworkInterface* FindTopInterface(const core::CEmulatedDevice& device, bool ipv4) {
    framework::ScriptableVec tops;
    device.GetObjects(tops, core::CNetworkInterface::CLASS_ID(), ids::relations::TopLevelIf);
    core::CNetworkInterface* found = nullptr;
    for (CScriptable* object : tops) {
        auto* interface = dynamic_cast<core::CNetworkInterface*>(object);
        if (!interface || interface->IsDeleted()) continue;
        if (interface->IsTypeOf(ipv4 ? ids::Ipv4If::CLASS : ids::Ipv6If::CLASS)) return interface;
        if (!found) found = interface;
    }
    return found;
}

void WarnOfIpVersion(const framework::LazyText& text, bool ipv4_test, const std::source_location& where) {
    const auto add_test = [&] {
        return text.Get() + ", which does not fit a test of " + (ipv4_test ? "IPv4." : "IPv6.");
    };
    LogText(userLogger(), LogLevelType::Warn, add_test, where);
}

void CopyProperties(const CScriptable& from, CScriptable& to, std::span<const CopiedProperty> properties) {
    std::string value;
    for (const auto& [source, target] : properties) {
        from.Get(source, value);  // via text, which preserves the value exactly
        to.Set(target, value);
    }
}

std::string HdlListToString(const std::vector<std::uint32_t>& handles) {
    std::string text;
    for (const std::uint32_t handle : handles) text += (text.empty() ? "" : " ") + std::to_string(handle);
    return text;
}

}  // namespace orv::iptv
