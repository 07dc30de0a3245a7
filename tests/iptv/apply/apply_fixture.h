// A project on scripted ports.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "IptvMsgSetCln.h"
#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/framework/rpc_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "scripted_port.h"
#include "test_project.h"

namespace testing_aids {

/// Two ports, "P1" and "P2", with scripted far ends.
class ApplyTest : public testing::Test {
  protected:
    ApplyTest() : p1(project.MakePort("P1")), p2(project.MakePort("P2")), far1(p1), far2(p2) {
        far1.journal = far2.journal = &journal;
    }
    ~ApplyTest() override { orv::framework::CRpcManager::Instance().Reset(); }

    /// Applies the project. Returns what it failed with, empty when it succeeded.
    std::string Apply() {
        try {
            orv::framework::ValidationContext context;
            orv::framework::ApplyToIL(project.Root(), context);
            return {};
        } catch (const orv::common::COrvRunTimeError& error) {
            return error.what();
        }
    }
    /// What the plug-in's handler throws when it is called without validation before it; empty for nothing.
    std::string ApplyWithoutValidation() {
        orv::framework::ApplyContext context;
        context.SetCurrentObject(&project.Root());
        try {
            orv::iptv::CIptvMsgSetCln::OnApplyProject(context);
            return {};
        } catch (const orv::common::COrvException& error) {
            return error.what();
        }
    }
    std::vector<std::string> TakeJournal() { return std::exchange(journal, {}); }

    std::vector<std::string> journal;
    TestProject project;
    orv::core::CPort& p1;
    orv::core::CPort& p2;
    ScriptedPort far1;
    ScriptedPort far2;
};

/// Blocks A and C on port P1 (interfaces 1 and 2) and block B on port P2 (interface 1) watch the same
/// channels with the same profile. No block uses the profile Slow.
class TwoPortsTest : public ApplyTest {
  protected:
    orv::iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 8);
    orv::iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 4, "Range");
    orv::iptv::CIptvViewingProfileConfig& fast = project.MakeProfile("Fast");
    orv::iptv::CIptvViewingProfileConfig& slow = project.MakeProfile("Slow");
    orv::core::CEmulatedDevice& device_a = project.MakeDevice(&p1);
    orv::core::CEmulatedDevice& device_b = project.MakeDevice(&p2);
    orv::core::CEmulatedDevice& device_c = project.MakeDevice(&p1);
    orv::iptv::CIptvStbBlockConfig& a = project.MakeStbBlock(device_a, fast, {&range}, "A");
    orv::iptv::CIptvStbBlockConfig& b = project.MakeStbBlock(device_b, fast, {&range}, "B");
    orv::iptv::CIptvStbBlockConfig& c = project.MakeStbBlock(device_c, fast, {&range}, "C");
};

}  // namespace testing_aids
