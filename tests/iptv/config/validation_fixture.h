// Runs one validator on a project and compares all that it does: reports, lookups that failed, exceptions.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "orv/common/exceptions.h"
#include "orv/core/network_block.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"
#include "test_project.h"

namespace testing_aids {

using namespace orv;  // NOLINT: tests
using framework::CScriptable, framework::CScriptableCreator;
namespace relations = ids::relations;

inline const std::string kChangeUnderTest =
    "Must not apply any new IPTV configuration changes while an IPTV test is running";

/// Name of the object that a report is about, and its text.
using Report = std::pair<std::string, std::string>;
using Reports = std::vector<Report>;

inline Reports ReportsOf(const framework::ValidationContext& context) {
    Reports reports;
    for (const framework::ValidationReport& error : context.GetErrors()) {
        const CScriptable* object = framework::CHandleRegistry::Instance().Find(error.object_handle);
        reports.emplace_back(object ? object->GetName() : "no object", error.message);
        EXPECT_THAT(error.source, testing::MatchesRegex(".*Validate[A-Za-z]+\\.cpp[0-9]+"))
            << "the place of the rule";
    }
    EXPECT_TRUE(context.GetWarnings().empty());
    return reports;
}

/// All that is configured has been sent, and a test runs.
inline void StartTest(TestProject& project) {
    project.Settle();
    std::vector<std::uint32_t> ports;
    iptv::CIptvStbBlockConfig::FindObjectHandles(ports);
    for (const std::uint32_t port : ports) {
        std::vector<iptv::CIptvStbBlockConfig*> blocks;
        iptv::CIptvStbBlockConfig::FindObjects(port, blocks);
        for (auto* block : blocks) block->CheckIfAnyRelatedObjectsAreDirty(true);
    }
    iptv::CIptvResultsManager::GetResultsManager()->SetTestRunning(true);
}

/// A small valid project: one set-top-box block "Boxes" that views channels 1 to 10.
struct Scene {
    TestProject project;
    core::CPort& port = project.MakePort("Port 1");
    core::CEmulatedDevice& device = project.MakeDevice(&port, 1, {}, "Hosts");
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 10);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 10, "Range");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Zap");
    iptv::CIptvStbBlockConfig& block = project.MakeStbBlock(device, profile, {&range}, "Boxes");

    Scene() { TestProject::McastOf(device).Set(ids::Scriptable::Name, "Protocol"); }

    /// Another device with a block that views the same channels.
    CScriptable& AddBoxes(core::CPort* on, const std::string& name, std::uint32_t count = 1,
                          bool ipv6 = false) {
        auto& hosts = project.MakeDevice(on, count, {.ipv6 = ipv6}, name + " hosts");
        return project.MakeStbBlock(hosts, profile, {&range}, name);
    }
    /// An object that is of a class by the data model only.
    CScriptable& MakeOdd(std::uint32_t id, const std::string& base, CScriptable& parent) {
        const auto odd = DeclareOddClass<CScriptable>(common::ClassId(id), "Odd" + base, base);
        return *CScriptableCreator().Create(odd, &parent);
    }
};

using Edit = EditOf<Scene>;
using Edits = std::vector<Edit>;

inline void Start(Scene& s) {
    StartTest(s.project);
}
inline Edit Off(const std::string& object) {
    return object + ".LocalActive=false";
}
inline Edit Delete(const std::string& object) {
    return [=](Scene& s) { EXPECT_TRUE(s.project.Find(object).MarkDelete(true, true)); };
}
inline Edit Cut(const std::string& object, common::RelationType type) {
    return [=](Scene& s) { s.project.Find(object).SetObjects({}, type); };
}
inline Edit AddChannels(const std::string& name, std::uint32_t start, std::uint32_t count) {
    return [=](Scene& s) { s.project.MakeChannelBlock(name, start, count); };
}

struct ValidationCase {
    std::string what;
    Edits edits;
    Reports reports;
    std::string lookup = {};  ///< "<object> from <where> in <operation>" of the lookup that fails
    std::optional<std::string> error = {};  ///< what is thrown for it, without the prefix of object errors
};
/// A case in which a lookup fails.
inline ValidationCase Throws(Edits edits, const std::string& lookup, const std::string& error,
                             Reports reports = {}) {
    return {lookup, std::move(edits), std::move(reports), lookup, error};
}

using Cases = std::vector<ValidationCase>;
using ValidatorFunction = void (*)(framework::ValidationContext&);

/// Changes a valid project and runs the validator, anew for each case.
inline void CheckCases(ValidatorFunction validator, const Cases& cases) {
    const std::string failed = " Error: BAD OBJECT ERROR: Internal Error. Failed to get object ";
    for (const ValidationCase& c : cases) {
        SCOPED_TRACE(c.what);
        Scene scene;
        for (const Edit& edit : c.edits) edit(scene);
        CScriptable& root = scene.project.Root();
        framework::ValidationContext context;
        context.SetCurrentObject(&root);
        std::string error;
        LogCapture log;
        try {
            validator(context);
        } catch (const common::COrvRunTimeError& thrown) {
            error = thrown.what();
        }
        EXPECT_EQ(ReportsOf(context), c.reports);
        EXPECT_EQ(error, c.error ? " BAD OBJECT ERROR: Error accessing Config Objects. " + *c.error : "");
        std::vector<std::string> lookups;
        for (const std::string& line : log.Take())
            if (line.find(" Debug: ") == std::string::npos) lookups.push_back(line);
        std::vector<std::string> expected;
        if (!c.lookup.empty())
            expected = {"content.mulvane.iptv" + failed + c.lookup,
                        "user.iptv Fatal: BAD OBJECT ERROR: Internal Error accessing Config Objects."};
        EXPECT_EQ(lookups, expected);
        EXPECT_EQ(context.GetCurrentObject(), &root) << "put back";
    }
}

}  // namespace testing_aids
