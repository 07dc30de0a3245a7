#include "control/StartGuards.h"

#include <exception>
#include <string>

#include "IptvLog.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable.h"
#include "orv/ids/l2l3_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

EndHeldBack::EndHeldBack(CIptvResultsManager& manager) : manager_(manager) {
    manager_.HoldEnd();
}

EndHeldBack::~EndHeldBack() {
    try {
        manager_.ReleaseEnd();
    } catch (const std::exception& error) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return std::string("The end of a test that was not started failed: ") + error.what();
        });
    }
}

OptionsOfApply::OptionsOfApply(framework::CScriptable& options)
    : handle_(options.GetHandle()),
      clears_analyzers_(options.GetBool(ids::ResultOptions::ClearAnalyzersOnApply)) {
    constexpr std::uint8_t all_sections = 15;
    if (options.GetU8(ids::ResultOptions::SavedSections) == all_sections) return;
    options.Set(ids::ResultOptions::ClearAnalyzersOnApply, false);
    options.Set(ids::ResultOptions::SavedSections, all_sections);
}

OptionsOfApply::~OptionsOfApply() {
    // Anything may have been destroyed during the apply.
    framework::CScriptable* options = framework::CHandleRegistry::Instance().Find(handle_);
    if (options && options->GetBool(ids::ResultOptions::ClearAnalyzersOnApply) != clears_analyzers_)
        options->Set(ids::ResultOptions::ClearAnalyzersOnApply, clears_analyzers_);
}

}  // namespace orv::iptv
