#include "orv/l2l3/result_options.h"

#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/analyzer.h"

namespace orv::l2l3 {

namespace {

void ClearAnalyzersAfterApply(framework::ApplyStatus status, const std::string&) {
    const core::CProject* project = core::CProject::GetCurrentActiveInstance();
    if (status != framework::ApplyStatus::Succeeded || !project) return;
    const framework::CScriptable* options =
        project->GetObject(CResultOptions::CLASS_ID(), common::kParentChild);
    if (!options || !options->GetBool(ids::ResultOptions::ClearAnalyzersOnApply)) return;
    framework::ScriptableVec analyzers;
    framework::CScriptableLocator::Instance().GetObjectsEx(analyzers, CAnalyzer::CLASS_ID(), project);
    for (framework::CScriptable* analyzer : analyzers) dynamic_cast<CAnalyzer&>(*analyzer).ClearAllStats();
}

struct RegisterApplyStatus {
    RegisterApplyStatus() {
        framework::CStaticRegistration::Run([] {
            framework::ApplyToILHandlerRegistry::Instance().RegisterApplyStatusHandler(
                framework::ApplyStatusDelegate::To<&ClearAnalyzersAfterApply>());
        });
    }
};

const RegisterApplyStatus apply_status_registration;

}  // namespace

framework::ClassId CResultOptions::CLASS_ID() {
    return ids::ResultOptions::CLASS;
}

ORV_REGISTER_CLASS(CResultOptions);

}  // namespace orv::l2l3
