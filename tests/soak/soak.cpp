// Whole runs under seeded schedules of mishaps: soak SCHEDULES [SEED]
//
// Each run ends within its bound. One that reports no error has the results of the run without mishaps, row
// for row; one that lost something says so, and has nothing twice: all tables and the outcome know the same
// number of views. Its database is sound. The next run in the process is a clean one.
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <numeric>
#include <sstream>
#include <string_view>
#include <system_error>

#include "schedule.h"
#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::RunOptions;
using orv::app::Session;
using Kind = Mishap::Kind;

constexpr unsigned kBoundInSeconds = 120;  ///< real time; the clock of the runs is virtual

struct Result {
    RunOutcome outcome;
    std::uint64_t views = 0;
    std::string dump;  ///< of the database of a run that has a verdict
    std::string problem = {};
    bool lost_recording = false;

    bool HasVerdict() const { return outcome.end == RunEnd::Passed || outcome.end == RunEnd::Failed; }
    std::string Describe() const {
        std::string text = orv::app::GetRunEndName(outcome.end);
        for (const std::string& error : outcome.errors) text += "\n  error: " + error;
        for (const auto& mistake : outcome.mistakes) text += "\n  mistake: " + mistake.ToString();
        return text;
    }
};

std::uint64_t CountViews(const RunOutcome& outcome) {
    return std::accumulate(
        outcome.tests.begin(), outcome.tests.end(), std::uint64_t{0},
        [](std::uint64_t sum, const auto& test) { return sum + test.GetChannelChanges(); });
}

/// Every table that has a sum of all views has the same one; empty if so.
std::string FindUnbalanced(const std::filesystem::path& database, std::uint64_t views, bool has_event_rows) {
    for (const char* table : {"IptvStbBlockResults", "IptvViewingProfileResults", "IptvChannelResults"}) {
        const std::string sum =
            Query(database, fmt::format("SELECT CAST(sum(NumOfChannelChanges) AS INTEGER) FROM {}", table));
        if (sum != "NULL" && sum != std::to_string(views))
            return fmt::format("{} views in {}, {} in the outcome", sum, table, views);
    }
    const std::string rows = Query(database, "SELECT count(*) FROM IptvEventResults");
    if (has_event_rows && rows != std::to_string(views))
        return fmt::format("{} views, {} rows of them", views, rows);
    return {};
}

/// Carries out mishaps as the run looks at it.
class Saboteur : public SilentObserver {
  public:
    Saboteur(const std::vector<Mishap>& mishaps, const RunOptions& options)
        : mishaps_(mishaps), options_(options) {}

    int GetInterrupts() const override {
        ++looks_;
        int interrupts = 0;
        for (const Mishap& mishap : mishaps_) {
            if (mishap.kind == Kind::Interrupt && looks_ >= mishap.look) ++interrupts;
            if (mishap.kind == Kind::RemoveDatabase && looks_ == mishap.look)
                std::filesystem::remove(options_.database);
            if (mishap.kind == Kind::RemoveRecording && looks_ == mishap.look)
                std::filesystem::remove(options_.record);
        }
        return interrupts;
    }

  private:
    const std::vector<Mishap>& mishaps_;
    const RunOptions& options_;
    mutable int looks_ = 0;
};

Result Run(Session& session, const SoakSchedule& schedule, bool has_mishaps) {
    static const std::vector<Mishap> kNone;
    TemporaryFolder folder;
    RunOptions options;
    options.database = folder / "results.db";
    options.record = folder / "recording.jsonl";
    Saboteur saboteur(has_mishaps ? schedule.mishaps : kNone, options);
    Result result;
    result.outcome =
        session.Run(orv::app::TestFile::Parse(schedule.GetText(has_mishaps), "test.yaml"), options, saboteur);
    session.Conclude(result.outcome.end, "{}");
    result.views = CountViews(result.outcome);
    result.lost_recording = !std::filesystem::exists(options.record);
    if (std::filesystem::exists(options.database)) {
        const std::string sound = Query(options.database, "PRAGMA integrity_check");
        if (sound != "ok") result.problem = "the database is not sound: " + sound;
        if (result.problem.empty())
            result.problem = FindUnbalanced(options.database, result.views, schedule.HasEventRows());
        // The faults are in the file's text, which the database has.
        if (result.HasVerdict()) {
            Execute(options.database, "DELETE FROM DataSetDescriptions WHERE Name = 'TestFileText'");
            result.dump = DumpDatabase(options.database);
        }
    }
    return result;
}

/// What the work in a process of its own returns. Each begins with the same clock and the same handles, and
/// none takes the others along.
std::string InChild(const std::function<std::string()>& work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    if (child == 0) {
        close(ends[0]);
        alarm(kBoundInSeconds);
        std::string text;
        try {
            text = work();
        } catch (const std::exception& error) {
            text = fmt::format("an exception: {}", error.what());
        }
        for (std::string_view left = text; !left.empty();) {
            const ssize_t written = write(ends[1], left.data(), left.size());
            if (written < 0) break;
            left.remove_prefix(static_cast<std::size_t>(written));
        }
        _exit(0);
    }
    close(ends[1]);
    std::string text;
    std::array<char, 65536> part;
    for (ssize_t got; (got = read(ends[0], part.data(), part.size())) > 0;)
        text.append(part.data(), static_cast<std::size_t>(got));
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM)
        return fmt::format("it has not ended within {} s", kBoundInSeconds);
    if (status != 0) return fmt::format("the process ended with status {:#x}", status);
    return text;
}

class Soak {
  public:
    /// What is wrong; empty if nothing is.
    std::string CarryOut(const SoakSchedule& schedule) {
        const Clean& clean = GetClean(schedule);
        if (!clean.problem.empty()) return "without mishaps: " + clean.problem;
        return InChild([&]() -> std::string {
            Session session(orv::framework::ClockKind::Virtual, PLUGIN_PATH);
            const Result spoiled = Run(session, schedule, true);
            if (std::string problem = FindProblem(schedule, spoiled, clean); !problem.empty())
                return problem + ": " + spoiled.Describe();
            const Result again = Run(session, schedule, false);
            if (again.outcome.end != clean.end || again.views != clean.views)
                return fmt::format("the next run has {} views, not {}: {}", again.views, clean.views,
                                   again.Describe());
            return {};
        });
    }

  private:
    /// The run without mishaps.
    struct Clean {
        RunEnd end = RunEnd::Passed;
        std::uint64_t views = 0;
        std::string dump;
        std::string problem;
    };

    const Clean& GetClean(const SoakSchedule& schedule) {
        const auto [at, is_new] = clean_.try_emplace(schedule.GetText(false));
        Clean& clean = at->second;
        if (!is_new) return clean;
        const std::string text = InChild([&]() -> std::string {
            Session session(orv::framework::ClockKind::Virtual, PLUGIN_PATH);
            const Result run = Run(session, schedule, false);
            if (!run.problem.empty() || !run.outcome.errors.empty() || !run.HasVerdict() || run.views == 0)
                return "not a good run: " + run.problem + run.Describe();
            return fmt::format("{} {} {}", static_cast<int>(run.outcome.end), run.views, run.dump);
        });
        std::istringstream parts(text);
        int end = 0;
        if (parts >> end >> clean.views) {
            clean.end = static_cast<RunEnd>(end);
            clean.dump = text.substr(static_cast<std::size_t>(parts.tellg()) + 1);
        } else {
            clean.problem = text;
        }
        return clean;
    }

    static std::string FindProblem(const SoakSchedule& schedule, const Result& run, const Clean& clean) {
        if (!run.problem.empty()) return run.problem;
        if (run.views > clean.views) return fmt::format("{} views of {}", run.views, clean.views);
        switch (run.outcome.end) {
            case RunEnd::Interrupted:
                return schedule.Has(Kind::Interrupt) ? "" : "nobody interrupted it";
            case RunEnd::Failure:
                return run.outcome.errors.empty() || std::ranges::count(run.outcome.errors, std::string()) > 0
                           ? "it failed without saying why"
                           : "";
            case RunEnd::BadInput:
                return "the file is a good one";
            case RunEnd::Passed:
            case RunEnd::Failed:
                break;
        }
        if (run.lost_recording) return "the recording is lost without an error";
        if (run.outcome.end != clean.end || run.views < clean.views)
            return fmt::format("without an error {} views of {}", run.views, clean.views);
        // The clock shows another time in a test that began late.
        const bool is_late = schedule.GetText(true).find("late_response") != std::string::npos;
        if (!is_late && run.dump != clean.dump)
            return "other results without an error: " + FirstDifference(run.dump, clean.dump);
        return "";
    }

    std::map<std::string, Clean> clean_;  ///< by the text of the test
};

/// The schedule without what does not matter.
SoakSchedule Shrink(Soak& soak, SoakSchedule schedule) {
    for (std::size_t i = 0; i < schedule.mishaps.size();) {
        SoakSchedule smaller = schedule;
        smaller.mishaps.erase(smaller.mishaps.begin() + static_cast<std::ptrdiff_t>(i));
        if (soak.CarryOut(smaller).empty())
            ++i;
        else
            schedule = std::move(smaller);
    }
    return schedule;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::cerr << "Usage: soak SCHEDULES [SEED]\n";
        return 2;
    }
    orv::framework::BLLLoggerFactory::GetInstance().SetConsole(false);
    const std::uint64_t schedules = std::strtoull(argv[1], nullptr, 10);
    const std::uint64_t first = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    Soak soak;
    std::uint64_t failed = 0;
    for (std::uint64_t seed = first; seed < first + schedules; ++seed) {
        const SoakSchedule schedule(seed);
        const std::string problem = soak.CarryOut(schedule);
        if (problem.empty()) continue;
        ++failed;
        const SoakSchedule least = Shrink(soak, schedule);
        std::cout << fmt::format(
                         "Seed {}: {}\n  again: scripts/soak.sh 1 {}\n  {}\n  of these it takes: {}\n", seed,
                         schedule.Describe(), seed, problem, least.Describe())
                  << std::flush;
    }
    std::cout << fmt::format("{} schedules from seed {}, {} failed\n", schedules, first, failed);
    return failed == 0 ? 0 : 1;
}
