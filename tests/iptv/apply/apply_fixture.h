// Projects on scripted ports.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "IptvMsgSetCln.h"
#include "orv/core/network_block.h"
#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/framework/rpc_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"
#include "scripted_port.h"
#include "test_project.h"
#include "thrown.h"

namespace testing_aids {

using namespace orv;  // NOLINT: tests
using framework::CScriptable, framework::CScriptableCreator, framework::ScriptableVec, iptv::CIptvMsgSetCln;
using testing::Contains, testing::ElementsAre, testing::ElementsAreArray, testing::HasSubstr;
using testing::IsEmpty, testing::StartsWith;
namespace relations = ids::relations;
using Requests = std::vector<std::string>;

inline const std::string kBadObject = " BAD OBJECT ERROR: Error accessing Config Objects. ";
constexpr auto kOff = ids::IlMembership::EXCLUDED, kOn = ids::IlMembership::INCLUDED;

/// Two ports, "P1" and "P2", with scripted far ends.
struct ApplyScene {
    ApplyScene() { far1.journal = far2.journal = &journal; }
    ~ApplyScene() { framework::CRpcManager::Instance().Reset(); }

    /// Applies the project. Returns what it failed with, empty when it succeeded.
    std::string Apply() {
        framework::ValidationContext context;
        return Try([&] { framework::ApplyToIL(project.Root(), context); });
    }
    /// What the plug-in's handler throws when it is called without validation before it; empty for nothing.
    std::string ApplyWithoutValidation() {
        framework::ApplyContext context;
        context.SetCurrentObject(&project.Root());
        return Try([&] { CIptvMsgSetCln::OnApplyProject(context); });
    }
    template <class Action>
    static std::string Try(const Action& action) {
        const std::string thrown = ThrownBy<common::COrvException>(action);
        return thrown == "nothing thrown" ? "" : thrown;
    }
    Requests TakeJournal() { return std::exchange(journal, {}); }
    /// Applies, and returns what the ports were sent.
    Requests Sent() {
        EXPECT_EQ(Apply(), "");
        return TakeJournal();
    }
    core::CNetworkBlock& AddressesOf(const iptv::CIptvChannelBlock& block) {
        return *TestProject::GroupOf(block).GetNetworkBlock();
    }
    static void SetTestRunning(bool running) {
        iptv::CIptvResultsManager::GetResultsManager()->SetTestRunning(running);
    }

    Requests journal;
    TestProject project;
    core::CPort &p1 = project.MakePort("P1"), &p2 = project.MakePort("P2");
    ScriptedPort far1{p1}, far2{p2};
};

/// Blocks A and C on port P1 (interfaces 1 and 2) and block B on port P2 (interface 1) watch the same
/// channels with the same profile. No block uses the profile Slow.
struct TwoPorts : ApplyScene {
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 8);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 4, "Range");
    iptv::CIptvViewingProfileConfig &fast = project.MakeProfile("Fast"), &slow = project.MakeProfile("Slow");
    core::CEmulatedDevice& device_a = project.MakeDevice(&p1, 1, {}, "Host A");
    core::CEmulatedDevice& device_b = project.MakeDevice(&p2, 1, {}, "Host B");
    core::CEmulatedDevice& device_c = project.MakeDevice(&p1, 1, {}, "Host C");
    iptv::CIptvStbBlockConfig& a = project.MakeStbBlock(device_a, fast, {&range}, "A");
    iptv::CIptvStbBlockConfig& b = project.MakeStbBlock(device_b, fast, {&range}, "B");
    iptv::CIptvStbBlockConfig& c = project.MakeStbBlock(device_c, fast, {&range}, "C");

    /// A block on P2 that uses the profile Slow.
    iptv::CIptvStbBlockConfig& AddD() {
        return project.MakeStbBlock(project.MakeDevice(&p2), slow, {&range}, "D");
    }
    void SetMembership(iptv::CIptvStbBlockConfig& block, std::uint8_t membership) {
        block.GetMcastIf()->Set(ids::EmulatedIf::IlMembership, membership);
    }
    /// Answers the n-th request from now on.
    static void Spoil(ScriptedPort& port, std::size_t nth, Answer how) {
        port.answer = [how, nth, count = std::size_t{0}](const tm::Message&) mutable {
            return count++ == nth ? how : Answer::Respond;
        };
    }
    /// Runs something when a port is about to answer a request.
    static void Meanwhile(ScriptedPort& port, const std::string& operation, std::function<void()> work) {
        port.answer = [operation, work = std::move(work)](const tm::Message& request) {
            if (request.get_request_name().ends_with("." + operation)) work();
            return Answer::Respond;
        };
    }
};

class TwoPortsTest : public testing::Test, protected TwoPorts {};

}  // namespace testing_aids
