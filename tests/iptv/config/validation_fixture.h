// Runs one validator on a project and compares all that it does: reports, lookups that failed, exceptions.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "orv/common/exceptions.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"
#include "test_project.h"

namespace testing_aids {

using namespace orv;  // NOLINT: tests
using framework::CScriptable;

inline const std::string kChangeUnderTest =
    "Must not apply any new IPTV configuration changes while an IPTV test is running";

/// Name of the object that a report is about, and its text.
struct Report {
    std::string object;
    std::string text;
    bool operator==(const Report&) const = default;
};
using Reports = std::vector<Report>;

inline std::ostream& operator<<(std::ostream& out, const Report& report) {
    return out << "\n  {" << report.object << ": " << report.text << "}";
}

inline Reports ReportsOf(const framework::ValidationContext& context) {
    Reports reports;
    for (const framework::ValidationReport& error : context.GetErrors()) {
        const CScriptable* object = framework::CHandleRegistry::Instance().Find(error.object_handle);
        reports.push_back({object ? object->GetName() : "no object", error.message});
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
    core::CEmulatedDevice& device = project.MakeDevice(&port);
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 10);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 10, "Range");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Zap");
    iptv::CIptvStbBlockConfig& block = project.MakeStbBlock(device, profile, {&range}, "Boxes");

    Scene() { device.Set(ids::Scriptable::Name, "Hosts"); }

    /// Another device with a block that views the same channels.
    iptv::CIptvStbBlockConfig& AddBoxes(core::CPort* on, const std::string& name, std::uint32_t count = 1,
                                        bool ipv6 = false) {
        core::CEmulatedDevice& hosts = project.MakeDevice(on, count, {.ipv6 = ipv6});
        hosts.Set(ids::Scriptable::Name, name + " hosts");
        return project.MakeStbBlock(hosts, profile, {&range}, name);
    }
    void StartTest() { testing_aids::StartTest(project); }
    /// An object that is of a class by the data model only.
    CScriptable& MakeOdd(std::uint32_t id, const std::string& base, CScriptable& parent) {
        const auto odd = DeclareOddClass<CScriptable>(common::ClassId(id), "Odd" + base, base);
        return *framework::CScriptableCreator().Create(odd, &parent);
    }
};

inline void SwitchOff(CScriptable& object) {
    object.Set(ids::Scriptable::LocalActive, false);
}
inline void Remove(CScriptable& object) {
    EXPECT_TRUE(object.MarkDelete(true, true));
}
/// A change that no rule minds.
inline void Edit(CScriptable& object) {
    object.Set(ids::Scriptable::Name, object.GetName() + "'");
}

struct ValidationCase {
    std::string what;
    std::function<void(Scene&)> change;
    Reports reports;
    std::string lookup = {};  ///< "<object> from <where> in <operation>" of the lookup that fails
    std::optional<std::string> error = {};  ///< what is thrown for it, without the prefix of object errors
};

using ValidatorFunction = void (*)(framework::ValidationContext&);

/// Changes a valid project and runs the validator, anew for each case.
inline void CheckCases(ValidatorFunction validator, const std::vector<ValidationCase>& cases) {
    const std::string failed =
        "content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get object ";
    const std::string prefix = " BAD OBJECT ERROR: Error accessing Config Objects. ";
    for (const ValidationCase& c : cases) {
        SCOPED_TRACE(c.what);
        Scene scene;
        c.change(scene);
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
        EXPECT_EQ(error, c.error ? prefix + *c.error : "");
        std::string lookup;
        for (const std::string& line : log.Take()) {
            if (line.starts_with(failed)) lookup += line.substr(failed.size());
        }
        EXPECT_EQ(lookup, c.lookup);
        EXPECT_EQ(context.GetCurrentObject(), &root) << "put back";
    }
}

}  // namespace testing_aids
