#include "orv/core/host_application.h"

#include <fmt/format.h>

#include <utility>

#include "orv/common/exceptions.h"
#include "orv/core/orv_system.h"
#include "orv/core/project.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/plugin_loader.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/singletons.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"

namespace orv::core {

namespace {

constexpr std::uint32_t kHostDataModels[] = {0x00000000, 0x01000000, 0x19000000, 0x1d000000, 0x04000000};

/// Static registrations of the host library itself, and of programs that link a plug-in's objects, ran before
/// main.
void FailOnRegistrationErrors() {
    const std::vector<std::string> errors = framework::CStaticRegistration::TakeErrors();
    if (!errors.empty()) throw common::COrvRunTimeError(fmt::format("{}", fmt::join(errors, "; ")));
}

}  // namespace

CHostApplication::CHostApplication(const Options& options) {
    if (framework::FindSingleton(ids::System::CLASS))
        throw common::COrvLogicError("a host is running already");
    for (const std::uint32_t model : kHostDataModels)
        framework::CMetaClassManager::Instance().ActivateDataModel(model);
    FailOnRegistrationErrors();
    auto& tasks = framework::CTaskManager::Instance();
    tasks.Start(options.clock);
    tasks.CtmEnter();
    try {
        system_ = &framework::CScriptableCreator().Make<COrvSystem>(nullptr);
        project_ = &framework::CScriptableCreator().Make<CProject>(system_);
    } catch (...) {
        if (system_) system_->Delete();
        tasks.CtmExit();
        tasks.Stop();
        throw;
    }
}

CHostApplication::~CHostApplication() {
    auto& tasks = framework::CTaskManager::Instance();
    if (auto* sequencer =
            dynamic_cast<framework::CSequencer*>(framework::FindSingleton(ids::Sequencer::CLASS))) {
        sequencer->Stop();
        sequencer->WaitForEnd();
    }
    framework::CCommand::CancelAll();
    framework::CRpcManager::Instance().Reset();
    framework::CCommandStatusManager::Instance().Clear();
    // Tasks may still refer to objects, so they end before the tree goes. They need the lock to do so.
    tasks.CtmExit();
    tasks.Stop();
    system_->Delete();
}

CProject& CHostApplication::NewProject() {
    if (project_) {
        framework::CCommand::CancelAll(project_);
        std::exchange(project_, nullptr)->Delete();  // there is none if memory runs out before the next line
    }
    project_ = &framework::CScriptableCreator().Make<CProject>(system_);
    return *project_;
}

void CHostApplication::LoadPlugin(const std::filesystem::path& path) {
    framework::CPluginLoader::Instance().Load(path);
}

}  // namespace orv::core
