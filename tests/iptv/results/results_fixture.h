// Two scripted ports, and tests on them whose results go into a database file.
#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <iomanip>
#include <map>
#include <sstream>

#include "control/IptvStartTestCommand.h"
#include "control/IptvStopTestCommand.h"
#include "control/PortRequests.h"
#include "database_reader.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "results/IptvResultsManager.h"
#include "scripted_port.h"
#include "test_project.h"

namespace results_test {

using namespace orv;  // NOLINT: tests
using framework::CScriptable, iptvcd_1_bll::stblock_event_s, iptvcd_1_bll::stbox_event_s, testing::Contains;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty, testing_aids::Answer;
using testing_aids::ScriptedPort, testing_aids::TestProject;

using Texts = std::vector<std::string>;

constexpr std::int64_t kMs = 100000;  ///< port ticks

/// A view of `channel` from `start_ms` on for a second; the first packet comes 20 ms after the join, the last
/// one 10 ms after the leave.
inline stbox_event_s MakeView(std::uint32_t settop, std::uint16_t channel, std::int64_t start_ms = 0) {
    stbox_event_s ev;
    ev.settop_index = settop;
    ev.viewed_channel = channel;
    ev.mcast_join_ts = start_ms * kMs;
    ev.first_mcast_pkt_ts = ev.mcast_join_ts + 20 * kMs;
    ev.mcast_leave_ts = ev.mcast_join_ts + 1000 * kMs;
    ev.last_mcast_pkt_ts = ev.mcast_leave_ts + 10 * kMs;
    ev.first_pkt_ts_valid = ev.last_pkt_ts_valid = true;
    ev.total_mcast_packets = 1000;
    return ev;
}
/// One whose channel never came.
inline stbox_event_s MakeFailedView(std::uint32_t settop, std::uint16_t channel) {
    stbox_event_s ev = MakeView(settop, channel);
    ev.first_mcast_pkt_ts = ev.last_mcast_pkt_ts = 0;
    return ev;
}

inline stblock_event_s EventsOf(const CScriptable& block, std::vector<stbox_event_s> events) {
    return {block.GetHandle(), std::move(events), {}};
}

/// Sets properties: "Name Evening Duration 7.5", values with blanks in quotes.
inline void SetAll(CScriptable& object, const std::string& values) {
    std::istringstream in(values);
    for (std::string name, value; in >> name >> std::quoted(value);) object.Set(name.c_str(), value);
}

inline void Yield(int ms = 100) {
    framework::CTaskManager::Instance().CtmYield(ms);
}
inline void After(int ms, std::function<void()> action) {
    framework::CTaskManager::Instance().PostAfter(std::chrono::milliseconds(ms), std::move(action));
}

/// The port says that its test has ended.
inline void SendEnd(ScriptedPort& port) {
    tm::Message end;
    end.set_request_name("iptvcd_1.EOTNotification");
    port.Notify(end);
}
inline void End(ScriptedPort& port) {
    SendEnd(port);
    Yield();
}
inline void Report(ScriptedPort& port, const std::vector<stblock_event_s>& blocks) {
    tm::Message message;
    iptvcd_1_bll::create_req_ResultsNotification(&message, blocks, true);
    port.Notify(message);
}
/// The port responds to all requests, and does something besides when it is sent some of them.
inline void On(ScriptedPort& port, std::map<std::string, std::function<void()>> actions) {
    port.answer = [actions = std::move(actions)](const tm::Message& request) {
        for (const auto& [operation, action] : actions)
            if (request.get_request_name() == "iptvcd_1." + operation) action();
        return Answer::Respond;
    };
}
/// An answer that refuses one operation.
inline auto Refuse(const std::string& operation) {
    return [operation](const tm::Message& request) {
        return request.get_request_name() == "iptvcd_1." + operation ? Answer::Fault : Answer::Respond;
    };
}

inline void SetAddress(const core::CEmulatedDevice& device, const std::string& address) {
    TestProject::LayerOf(device, address.find(':') < address.size() ? "Ipv6If" : "Ipv4If")
        .Set("Address", address);
}

/// The lines of a log that begin so, without the beginning.
inline Texts LinesOf(const Texts& log, const std::string& beginning) {
    Texts lines;
    for (const std::string& line : log)
        if (line.starts_with(beginning)) lines.push_back(line.substr(beginning.size()));
    return lines;
}

struct PortsTest : testing::Test {
    explicit PortsTest(framework::ClockKind clock = framework::ClockKind::Virtual) : project(clock) {}
    ~PortsTest() override { framework::CRpcManager::Instance().Reset(); }

    static iptv::CIptvResultsManager& Manager() { return *iptv::CIptvResultsManager::GetResultsManager(); }
    static bool IsRunning() { return iptv::CIptvResultsManager::IsTestRunning(); }
    static bool IsEnabled(const CScriptable& block, common::ClassId command) {
        return framework::CCommandStatusManager::Instance().GetCommandStatus(block.GetHandle(), command);
    }
    /// The results of the last test, or null.
    CScriptable* Results() {
        const auto all = project.Root().GetObjects("IptvTestResults", common::kParentChild);
        return all.empty() ? nullptr : all.back();
    }
    template <class T>
    T& Make() {
        return framework::CScriptableCreator().Make<T>(&project.Root());
    }

    TestProject project;
    core::CPort &p1 = project.MakePort("P1"), &p2 = project.MakePort("P2");
    ScriptedPort far1{p1}, far2{p2};
};

/// Block A (IPv4) on port P1, block B (IPv6) on port P2.
struct ResultsTest : PortsTest {
    using PortsTest::PortsTest;
    ~ResultsTest() override {
        framework::CRpcManager::Instance().Reset();
        manager_db.reset();
        std::filesystem::remove_all(folder_);
    }

    /// As the start of a test does it: the database is open, the notifications of both ports are registered.
    void Start(iptv::TestKind kind = {}, double join_fail_threshold = 0) {
        iptv::TestRun run;
        run.stb_blocks = {a.GetHandle(), b.GetHandle()};
        run.join_fail_threshold = join_fail_threshold;
        run.kind = kind;
        Manager().Prepare(run);
        a.SetBaseStbIndex(0);
        b.SetBaseStbIndex(100);
        manager_db->StartInteractive();
        UseDatabase({"IPTV_Test_Results", "test", ""});
        Manager().SetPortCount(2);
        for (core::CPort* port : {&p1, &p2})
            Manager().AddRegistration(iptv::RegisterForNotifications(
                *port, {}, 1000, Manager().GetResultsDelegate(), Manager().GetEndTestDelegate()));
        Manager().SetTestRunning(true);
    }
    void UseDatabase(const core::TestResultSetting& setting) {
        manager_db->SetTestResultSetting(setting);
        manager_db->SaveConfiguration(true);
        Manager().SetDatabasePath(manager_db->GetDatabasePath());
    }
    std::string DatabasePath() const { return (folder_ / "test.db").string(); }

    const std::filesystem::path folder_ = MakeFolder();
    std::unique_ptr<core::TestResultManager> manager_db = core::MakeSqliteTestResultManager(folder_.string());
    iptv::CIptvChannelBlock& news = project.MakeChannelBlock("News", 1, 8);
    iptv::CIptvChannelBlock& films = project.MakeChannelBlock("Films", 11, 8, true);
    iptv::CIptvViewedChannels& low = project.MakeRange(news, 1, 4, "Low");
    iptv::CIptvViewedChannels& high = project.MakeRange(news, 5, 8, "High");
    iptv::CIptvViewedChannels& six = project.MakeRange(films, 11, 14, "Six");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Fast");
    core::CEmulatedDevice& device1 = project.MakeDevice(&p1, 3);
    core::CEmulatedDevice& device2 = project.MakeDevice(&p2, 2, {.ipv6 = true});
    iptv::CIptvStbBlockConfig& a = project.MakeStbBlock(device1, profile, {&low, &high}, "A");
    iptv::CIptvStbBlockConfig& b = project.MakeStbBlock(device2, profile, {&six}, "B");

  private:
    static std::filesystem::path MakeFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "resultsXXXXXX").string();
        return mkdtemp(pattern.data());
    }
};

using Reader = testing_aids::DatabaseReader;

}  // namespace results_test
