// Runs of tests in one host, as text.
#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <functional>

#include "program.h"
#include "run/session.h"

namespace testing_aids {

using orv::app::RunEnd, orv::app::RunOutcome;

inline std::string Mistakes(const RunOutcome& outcome) {
    std::string text;
    for (const auto& mistake : outcome.mistakes) text += mistake.ToString() + "\n";
    return text;
}

/// Shows nothing.
struct SilentObserver : orv::app::IRunObserver {
    void OnTestBegins(const std::string&, std::chrono::nanoseconds) override {}
    bool WantsProgress() override { return on_progress != nullptr; }
    void OnProgress(const orv::app::RunProgress& progress) override { on_progress(progress); }
    void OnNote(const std::string&) override {}
    void OnLog(const orv::framework::LogRecord&) override {}
    int GetInterrupts() const override { return 0; }

    std::function<void(const orv::app::RunProgress&)> on_progress;
};

struct SessionTest : testing::Test {
    SessionTest() { orv::framework::BLLLoggerFactory::GetInstance().SetConsole(false); }

    RunOutcome Run(const std::string& text, const orv::app::RunOptions& more = {}) {
        orv::app::RunOptions options = more;
        if (options.database.empty()) options.database = folder / "results.db";
        return session.Run(orv::app::TestFile::Parse(text, "test.yaml"), options, observer);
    }

    TemporaryFolder folder;
    SilentObserver observer;
    orv::app::Session session{orv::framework::ClockKind::Virtual, PLUGIN_PATH};
};

}  // namespace testing_aids
