// A test on two scripted ports whose start is recorded: requests, analyzers and the database.
#pragma once

#include <set>

#include "results/results_fixture.h"

namespace start_run_test {

using namespace results_test;  // NOLINT: tests
using framework::CScriptableCreator, testing::Not, testing::StartsWith;
namespace Id = ids::IptvStartTestCommand;
using Lines = std::vector<std::string>;

/// Notes what is asked of it. Every operation takes its time, as on a real disk.
struct RecordedResults : core::TestResultManager {
    explicit RecordedResults(Lines& journal) : journal_(journal) {}
    void Describe(const std::string&, const std::string&) override {}
    void StartInteractive() override { Note("StartInteractive"); }
    void SetTestResultSetting(const core::TestResultSetting& setting) override {
        Note("Setting " + setting.category + " " + setting.base_name + "|" + setting.output_file_path);
    }
    void SaveConfiguration(bool save) override { Note(save ? "SaveConfiguration" : "no configuration"); }
    std::string GetDatabasePath() const override { return "/results/test.db"; }
    std::uint32_t GetDataSetId() const override { return 1; }
    void SetTestCommand(framework::CCommand& command) override {
        Note("SetTestCommand " + command.GetName());
    }
    void SaveResults(const framework::ScriptableVec&) override { Note("SaveResults"); }
    void SaveRows(core::PackedRows) override { Note("SaveRows"); }
    void SaveObjects(const std::set<common::ClassId>&) override { Note("SaveObjects"); }
    void SetRootNode(CScriptable&) override {}
    bool MustFinalise() const override { return true; }
    void Finalise() override { Note("Finalise"); }
    int GetIterationNumber() const override { return 0; }
    void SetIterationNumber(int) override {}
    void RegisterIterationDatabase(CScriptable&, const std::string&) override {}
    std::string GetErrorText() const override { return {}; }

    std::function<void(const std::string&)> on_call = [](const std::string&) {};

  private:
    void Note(const std::string& call) {
        Yield(5);
        journal_.push_back("db " + call);
        on_call(call);
    }
    Lines& journal_;
};

/// Blocks A (3 hosts) and C (2) on port P1, block B (4) on P2; all watch the same four channels.
struct StartRunTest : PortsTest {
    StartRunTest() {
        far1.journal = far2.journal = &journal;
        for (core::CPort* port : {&p1, &p2}) {
            AnalyzerOf(*port).RegisterPropertyChangeDelegate(
                ids::Analyzer::State,
                framework::PropertyChangeDelegate::To<&StartRunTest::NoteAnalyzer>(this));
            port->GetObject("Generator", common::kParentChild)
                ->Set(ids::Generator::State, std::uint8_t{ids::GeneratorState::RUNNING});
        }
        SetAddress(device_a, "10.0.1.1");
        SetAddress(device_b, "10.0.2.1");
        SetAddress(device_c, "10.0.3.1");
        command.Set(ids::Scriptable::Name, "Start");
        Choose(command, ids::TestType::VERIFICATION, ids::TestEnv::REAL_WORLD);
        listener_ = framework::BLLLoggerFactory::GetInstance().AddListener([this](const auto& record) {
            on_log(record.text.substr(record.text.starts_with(' ') ? 1 : 0));  // traces begin with a blank
        });
    }
    ~StartRunTest() override {
        framework::BLLLoggerFactory::GetInstance().RemoveListener(listener_);
        framework::CRpcManager::Instance().Reset();
    }

    static CScriptable& AnalyzerOf(const CScriptable& port) {
        return *port.GetObject("Analyzer", common::kParentChild);
    }
    void NoteAnalyzer(CScriptable* analyzer, framework::PropId) {
        journal.push_back(analyzer->GetParent()->GetName() + " analyzer " + analyzer->Get("State"));
    }
    static void Choose(CScriptable& start, std::uint8_t type, std::uint8_t environment) {
        start.Set(Id::TestType, type);
        start.Set(Id::TestEnv, environment);
    }
    /// Why the start failed; empty when it did not.
    static std::string Start(iptv::CIptvStartTestCommand& start) {
        try {
            start.Execute(false);
            return {};
        } catch (const common::COrvRunTimeError& error) {
            return error.what();
        }
    }
    std::string Start() { return Start(command); }
    /// The start is cancelled where something is logged or asked of the database: `text`, or none.
    void CancelAt(const std::string& text) {
        on_log = database.on_call = [this, text](const std::string& found) {
            if (found == text) command.Cancel();
        };
    }
    /// The journal since the last call, requests of the apply in a row as one "apply".
    Lines Take() {
        Yield();
        Lines lines;
        for (const std::string& line : std::exchange(journal, {})) {
            bool of_apply = false;
            for (const char* name : {"Profile", "ChannelBlock", "SettopBlock", "AttachInterfaces", "ifSetup"})
                of_apply = of_apply || line.find(name) != std::string::npos;
            if (!of_apply || lines.empty() || lines.back() != "apply")
                lines.push_back(of_apply ? "apply" : line);
        }
        return lines;
    }
    void EndAll() {
        End(far1);
        End(far2);
        StopAnalyzers();
    }
    void StopAnalyzers() {
        for (core::CPort* port : {&p1, &p2})
            AnalyzerOf(*port).Set(ids::Analyzer::State, std::uint8_t{ids::AnalyzerState::STOPPED});
        Take();
    }
    iptvcd_1_bll::testConfig_s LastConfig(const ScriptedPort& port) const {
        iptvcd_1_bll::testConfig_s config;
        iptvcd_1_bll::parse_req_UpdateConfig(&port.Last("UpdateConfig"), &config);
        return config;
    }

    Lines journal;
    std::function<void(const std::string&)> on_log = [](const std::string&) {};
    testing_aids::LogCapture log;
    RecordedResults database{journal};
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 8);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 4, "Range");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Fast");
    core::CEmulatedDevice &device_a = project.MakeDevice(&p1, 3), &device_b = project.MakeDevice(&p2, 4);
    core::CEmulatedDevice& device_c = project.MakeDevice(&p1, 2);
    iptv::CIptvStbBlockConfig& a = project.MakeStbBlock(device_a, profile, {&range}, "A");
    iptv::CIptvStbBlockConfig& b = project.MakeStbBlock(device_b, profile, {&range}, "B");
    iptv::CIptvStbBlockConfig& c = project.MakeStbBlock(device_c, profile, {&range}, "C");
    iptv::CIptvStartTestCommand& command = Make<iptv::CIptvStartTestCommand>();

  private:
    int listener_ = 0;
};

}  // namespace start_run_test
