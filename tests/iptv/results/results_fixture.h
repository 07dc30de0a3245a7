// A test on two scripted ports whose results go into a database file.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/rpc_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"
#include "scripted_port.h"
#include "test_project.h"

namespace results_test {

using namespace orv;  // NOLINT: tests
using iptvcd_1_bll::stblock_event_s;
using iptvcd_1_bll::stbox_event_s;

constexpr std::int64_t kMs = 100000;  ///< port ticks

/// A view of `channel` from `start_ms` on for a second; the first packet comes 20 ms after the join, the last
/// one 10 ms after the leave.
inline stbox_event_s MakeView(std::uint32_t settop, std::uint16_t channel, std::int64_t start_ms) {
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

/// Block A (IPv4) on port P1, block B (IPv6) on port P2.
class ResultsTest : public testing::Test {
  protected:
    explicit ResultsTest(framework::ClockKind clock = framework::ClockKind::Virtual)
        : folder_(MakeFolder()),
          project(clock),
          p1(project.MakePort("P1")),
          p2(project.MakePort("P2")),
          far1(p1),
          far2(p2) {
        manager_db = core::MakeSqliteTestResultManager(folder_.string());
    }
    ~ResultsTest() override {
        framework::CRpcManager::Instance().Reset();
        manager_db.reset();
        std::filesystem::remove_all(folder_);
    }

    static iptv::CIptvResultsManager& Manager() { return *iptv::CIptvResultsManager::GetResultsManager(); }

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
        manager_db->SetTestResultSetting({"IPTV_Test_Results", "test", ""});
        manager_db->SaveConfiguration(true);
        Manager().SetDatabasePath(manager_db->GetDatabasePath());
        Manager().SetPortCount(2);
        for (core::CPort* port : {&p1, &p2}) Register(*port);
        Manager().SetTestRunning(true);
    }

    void Register(const core::CPort& port) {
        auto& rpc = framework::CRpcManager::Instance();
        iptv::deregHandles handles;
        handles.port = port.GetHandle();
        int id = 0;
        tm::Message results;
        iptvcd_1_bll::create_req_RegisterResultsNotify(&results, {}, 1000, true);
        rpc.RegisterForNotification(port.GetMessenger(), results, "iptvcd_1.ResultsNotification",
                                    Manager().GetResultsDelegate(), nullptr, &id);
        handles.results_id = static_cast<std::uint32_t>(id);
        tm::Message end;
        iptvcd_1_bll::create_req_RegisterEOTNotify(&end, 1000, true);
        rpc.RegisterForNotification(
            port.GetMessenger(), end, "iptvcd_1.EOTNotification", Manager().GetEndTestDelegate(),
            reinterpret_cast<void*>(static_cast<std::uintptr_t>(port.GetHandle())), &id);
        handles.end_test_id = static_cast<std::uint32_t>(id);
        Manager().AddRegistration(handles);
    }

    static stblock_event_s EventsOf(const iptv::CIptvStbBlockConfig& block,
                                    std::vector<stbox_event_s> events) {
        return {block.GetHandle(), std::move(events), {}};
    }

    std::string DatabasePath() const { return (folder_ / "test.db").string(); }

    std::filesystem::path folder_;
    testing_aids::TestProject project;
    core::CPort& p1;
    core::CPort& p2;
    testing_aids::ScriptedPort far1;
    testing_aids::ScriptedPort far2;
    std::unique_ptr<core::TestResultManager> manager_db;
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

/// What a query selects: titles of the columns, and rows as texts (NULL as "null").
struct Table {
    std::vector<std::string> titles;
    std::vector<std::vector<std::string>> rows;
};

/// A reader's own connection. An error is a failure of the test.
class Reader {
  public:
    explicit Reader(const std::string& path) {
        EXPECT_EQ(sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK) << path;
    }
    ~Reader() { sqlite3_close(db_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    Table Query(const std::string& sql, int data_set = 1) const {
        Table table;
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(db_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(db_) << " in " << sql;
        if (!statement) return table;
        const int parameter = sqlite3_bind_parameter_index(statement, "@DataSetId");
        if (parameter > 0) sqlite3_bind_int(statement, parameter, data_set);
        const int columns = sqlite3_column_count(statement);
        for (int i = 0; i < columns; ++i) table.titles.emplace_back(sqlite3_column_name(statement, i));
        int step = SQLITE_ROW;
        while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
            auto& row = table.rows.emplace_back();
            for (int i = 0; i < columns; ++i) {
                const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
                row.emplace_back(text ? text : "null");
            }
        }
        EXPECT_EQ(step, SQLITE_DONE) << sqlite3_errmsg(db_);
        sqlite3_finalize(statement);
        return table;
    }
    std::string Get(const std::string& sql, int data_set = 1) const {
        const Table table = Query(sql, data_set);
        return table.rows.empty() ? "nothing" : table.rows.front().front();
    }

  private:
    sqlite3* db_ = nullptr;
};

}  // namespace results_test
