#include "control/DataSet.h"

#include <filesystem>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "orv/common/exceptions.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvTestResults.h"

namespace orv::iptv {

core::TestResultSetting MakeTestResultSetting(const std::string& file, bool per_iteration) {
    constexpr const char* kDefaultName = "iptvTest";
    constexpr const char* kEnding = ".db";
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

CIptvTestResults& FindOrMakeTestResults(core::CProject& project, const std::string& operation) {
    auto* results = dynamic_cast<CIptvTestResults*>(
        project.GetObject(CIptvTestResults::CLASS_ID(), common::kParentChild));
    if (results) return *results;
    results = dynamic_cast<CIptvTestResults*>(
        framework::CScriptableCreator().Create(CIptvTestResults::CLASS_ID(), &project));
    if (!results) {
        LogCreationFailure([&] { return "IptvTestResults in " + operation; });
        LogResource(userLogger(), LogLevelType::Error, resource::kMemoryAllocationError,
                    {"IptvTestResults "});
        throw common::COrvRunTimeError(iptvAutomationMemErrMsg, true);
    }
    std::string why;
    if (!project.AddObject(*results, ids::relations::ResultChild, &why)) {
        LogResource(devLogger(), LogLevelType::Error, resource::kBadArgumentError, {[&] {
                        return "In " + operation +
                               " Unable to add results-child relation between project and IptvTestResults";
                    }});
        throw common::COrvRunTimeError(iptvAutomationObjErrMsg + why, true);
    }
    return *results;
}

}  // namespace orv::iptv
