// A test's data set, and what becomes of a start that is given up.
#include <filesystem>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "control/IptvStartTestCommand.h"
#include "orv/core/test_result_manager.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace {

constexpr const char* kDefaultName = "iptvTest";
constexpr const char* kEnding = ".db";

/// Where the results go: a path as it is, a bare name into the host's folder of results.
core::TestResultSetting MakeSetting(const std::string& file, bool per_iteration) {
    core::TestResultSetting setting;
    setting.category = "IPTV_Test_Results";
    const std::string stem = file.ends_with(kEnding) ? file.substr(0, file.rfind(kEnding)) : file;
    if (per_iteration || stem.empty()) {
        setting.base_name = kDefaultName;
    } else if (std::filesystem::path(file).has_root_path()) {
        setting.output_file_path = stem;
    } else {
        setting.base_name = stem;
    }
    return setting;
}

}  // namespace

void CIptvStartTestCommand::SaveCommandToDb() {
    CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    if (!manager) return;
    auto* database = core::TestResultManager::GetCurrentInstance();
    if (!database) {
        LogResource(devLogger(), LogLevelType::Warn, resource::kBadObjectError,
                    {"TestResultMananger", "Static Function", "CIptvResultsManager::SaveCommandToDb"});
        return manager->NoteDataSet();
    }
    if (!manager->GetRun().sequencer_mode) database->StartInteractive();
    database->SetTestResultSetting(
        MakeSetting(GetDatabaseFileName(), GetBool(ids::IptvStartTestCommand::SaveResultsPerIteration)));
    database->SaveConfiguration(true);
    manager->SetDatabasePath(database->GetDatabasePath());
    database->SetTestCommand(*this);
    manager->NoteDataSet();
}

void CIptvStartTestCommand::DeregisterDueToSequencerCancel() {
    LogText(devLogger(), LogLevelType::Info,
            " Deregistering the result and EOT notifications due to Sequencer stop.");
    CIptvResultsManager::GetResultsManager()->DeregisterAllNotifications();
}

}  // namespace orv::iptv
