#include "run_sweep.h"

#include <fmt/format.h>

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "output/outcome_json.h"
#include "run/description_names.h"
#include "schedule.h"

namespace orv::app {

namespace {

using Json = nlohmann::ordered_json;

std::string WriteJson(const Json& json) {
    // A value in the file need not be valid UTF-8.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::vector<std::string> GetTexts(const Sweep& sweep, const std::vector<std::size_t>& values) {
    std::vector<std::string> texts;
    for (std::size_t i = 0; i < values.size(); ++i) texts.push_back(sweep.properties[i].GetText(values[i]));
    return texts;
}

/// The sweep before its first run.
SweepOutcome MakeSweepOutcome(const Sweep& sweep) {
    SweepOutcome outcome;
    for (const SweptProperty& property : sweep.properties) outcome.properties.push_back(property.name.text);
    if (sweep.search) {
        const SweptProperty& property = sweep.properties.front();
        SweepOutcome::Search& search = *(outcome.search = SweepOutcome::Search{});
        search.from = property.GetText(0);
        search.to = property.GetText(property.values.size() - 1);
        search.repetitions = sweep.search->repetitions;
        return outcome;
    }
    SweepSchedule schedule(sweep);
    while (const auto step = schedule.GetNext()) {
        outcome.values.push_back(GetTexts(sweep, step->values));
        schedule.Add(true);
    }
    return outcome;
}

/// The combinations that are checked before a run.
std::vector<std::vector<std::size_t>> ListChecked(const Sweep& sweep) {
    if (sweep.search) return {{0}, {sweep.properties.front().values.size() - 1}};
    std::vector<std::vector<std::size_t>> checked;
    SweepSchedule schedule(sweep);
    while (const auto step = schedule.GetNext()) {
        checked.push_back(step->values);
        schedule.Add(true);
    }
    return checked;
}

/// What is wrong at one place is told once, for the first iteration that has it.
class PlacesOfMistakes {
  public:
    /// Call for the iterations in their order. True if the text is to be told.
    bool Add(const std::string& place, const std::string& text, std::size_t iteration) {
        Place& known = places_.try_emplace(place, Place{iteration, iteration, 1, {}, true}).first->second;
        if (iteration == known.first) return known.texts.insert(text).second;
        if (iteration != known.last) ++known.count;
        known.last = iteration;
        known.is_same &= known.texts.contains(text);
        return false;
    }

    /// " (with Homes/DeviceCount=400 and 2 other iterations)"; empty if all iterations have the same.
    std::string GetSuffix(const std::string& place, const std::vector<std::string>& iterations) const {
        const Place& known = places_.at(place);
        if (known.count == iterations.size() && known.is_same) return {};
        const std::size_t others = known.count - 1;
        return fmt::format(
            " (with {}{})", iterations[known.first],
            others == 0 ? "" : fmt::format(" and {} other iteration{}", others, others == 1 ? "" : "s"));
    }

  private:
    struct Place {
        std::size_t first = 0, last = 0;  ///< iterations
        std::size_t count = 0;            ///< of iterations
        std::set<std::string> texts;      ///< of the first one
        bool is_same = true;              ///< the others have no other texts
    };
    std::map<std::string, Place> places_;
};

std::string GetPlace(const Mistake& mistake) {
    return fmt::format("{}:{}:{}:{}:{}", mistake.at.setting, mistake.at.line, mistake.at.column,
                       mistake.object, mistake.property);
}

std::string DescribeIteration(const SweepOutcome& sweep, const SweepIteration& iteration) {
    Json values = Json::object();
    for (std::size_t i = 0; i < sweep.properties.size(); ++i)
        values[sweep.properties[i]] = iteration.values[i];
    Json json{{"iteration", iteration.number}};
    if (!sweep.search) json["iterations"] = sweep.values.size();
    if (sweep.search && sweep.search->repetitions > 1) json["repetition"] = iteration.repetition;
    json["values"] = values;
    return WriteJson(json);
}

Json DescribeSearch(const SweepOutcome& sweep) {
    Json tried = Json::array();
    for (const auto& [value, passed] : sweep.search->tried)
        tried.push_back({{"value", value}, {"passed", passed}});
    const std::string& highest = sweep.search->highest;
    Json json{{"property", sweep.properties.front()}};
    if (sweep.search->is_decided) json["highest"] = highest.empty() ? Json() : Json(highest);
    json["tried"] = tried;
    return json;
}

std::string MakeNote(const SweepOutcome& sweep, const SweepIteration& iteration) {
    std::string text = fmt::format("Iteration {}", iteration.number);
    if (!sweep.search) text += fmt::format(" of {}", sweep.values.size());
    text += ": " + DescribeValues(sweep.properties, iteration.values);
    if (sweep.search && sweep.search->repetitions > 1)
        text += fmt::format(", run {} of {}", iteration.repetition, sweep.search->repetitions);
    return text;
}

bool IsDone(RunEnd end) {
    return end == RunEnd::Passed || end == RunEnd::Failed;
}

class SweepRun {
  public:
    SweepRun(Session& session, const TestFile& file, const RunOptions& options, IRunObserver& observer,
             OutputFiles& outputs, KnownOutcome& known)
        : session_(session),
          file_(file),
          sweep_(*file.GetSweep()),
          options_(options),
          observer_(observer),
          outputs_(outputs),
          known_(known),
          schedule_(sweep_) {}

    RunOutcome Run() {
        for (const auto& [option, path] :
             {std::pair("--record", &options_.record), {"--replay", &options_.replay}}) {
            if (!path->empty())
                outcome_.mistakes.push_back(MakeCommandLineMistake(
                    option, "a recording is of one run, and the sweep of the test file has several"));
        }
        if (!outcome_.mistakes.empty()) {
            outcome_.end = RunEnd::BadInput;
            return std::move(outcome_);
        }
        outcome_ = ValidateSweep(session_, file_);
        outcome_.seed = options_.seed.value_or(file_.GetSimulation().seed);
        if (!outcome_.mistakes.empty()) return std::move(outcome_);
        while (const auto step = schedule_.GetNext()) {
            known_.SetPreparing(true);
            if (observer_.GetInterrupts() > 0) {
                outcome_.end = RunEnd::Interrupted;
                break;
            }
            const RunEnd end = RunOnce(*step);
            if (!IsDone(end)) {
                outcome_.end = end;
                break;
            }
            schedule_.Add(end == RunEnd::Passed);
            NoteTried();
        }
        known_.SetPreparing(false);
        if (outcome_.end == RunEnd::Passed) Judge();
        return std::move(outcome_);
    }

  private:
    RunEnd RunOnce(const SweepStep& step) {
        SweepOutcome& sweep = *outcome_.sweep;
        SweepIteration iteration{step.number, step.repetition, GetTexts(sweep_, step.values), {}};
        iteration.run.end = RunEnd::Interrupted;  // as long as nothing else is known
        known_.Change([&](RunOutcome& shared) {
            shared = outcome_;
            shared.sweep->iterations.push_back(iteration);
        });
        observer_.OnNote(MakeNote(sweep, iteration));
        observer_.OnIterationBegins(step.number);
        RunOptions options = options_;
        options.seed = outcome_.seed + step.repetition - 1;
        options.iteration = step.number;
        options.sweep = DescribeIteration(sweep, iteration);
        iteration.run = session_.Run(file_.MakeIteration(step.values), options, observer_, outputs_, known_);
        const RunOutcome& run = iteration.run;
        session_.Describe(run_description::kOutcomeDetails, MakeOutcomeDetails(run));
        outcome_.mistakes.insert(outcome_.mistakes.end(), run.mistakes.begin(), run.mistakes.end());
        outcome_.errors.insert(outcome_.errors.end(), run.errors.begin(), run.errors.end());
        if (!run.database.empty()) outcome_.database = run.database;
        const RunEnd end = run.end;
        sweep.iterations.push_back(std::move(iteration));
        return end;
    }

    void NoteTried() {
        auto& search = outcome_.sweep->search;
        if (!search) return;
        search->tried.clear();
        for (const auto& [value, passed] : schedule_.GetTried())
            search->tried.emplace_back(sweep_.properties.front().GetText(value), passed);
    }

    void Judge() {
        if (!schedule_.HasPassed()) outcome_.end = RunEnd::Failed;
        auto& search = outcome_.sweep->search;
        if (!search) return;
        search->is_decided = true;
        if (const auto highest = schedule_.GetHighest())
            search->highest = sweep_.properties.front().GetText(*highest);
    }

    Session& session_;
    const TestFile& file_;
    const Sweep& sweep_;
    const RunOptions& options_;
    IRunObserver& observer_;
    OutputFiles& outputs_;
    KnownOutcome& known_;
    SweepSchedule schedule_;
    RunOutcome outcome_;
};

}  // namespace

RunOutcome ValidateSweep(Session& session, const TestFile& file) {
    const Sweep& sweep = *file.GetSweep();
    RunOutcome outcome;
    outcome.title = file.GetTitle();
    outcome.mistakes = file.GetMistakes();
    outcome.sweep = MakeSweepOutcome(sweep);
    PlacesOfMistakes mistakes, warnings;
    std::vector<std::string> iterations;
    for (const auto& values : ListChecked(sweep)) {
        if (!file.IsGood()) break;
        const RunOutcome one = session.Validate(file.MakeIteration(values));
        for (const Mistake& mistake : one.mistakes) {
            if (mistakes.Add(GetPlace(mistake), mistake.ToString(), iterations.size()))
                outcome.mistakes.push_back(mistake);
        }
        for (const std::string& warning : one.warnings) {
            if (warnings.Add(warning, warning, iterations.size())) outcome.warnings.push_back(warning);
        }
        iterations.push_back(DescribeValues(outcome.sweep->properties, GetTexts(sweep, values)));
    }
    if (file.IsGood()) {
        for (Mistake& mistake : outcome.mistakes)
            mistake.problem += mistakes.GetSuffix(GetPlace(mistake), iterations);
        for (std::string& warning : outcome.warnings) warning += warnings.GetSuffix(warning, iterations);
    }
    SortMistakes(outcome.mistakes);
    if (!outcome.mistakes.empty()) outcome.end = RunEnd::BadInput;
    return outcome;
}

RunOutcome RunSweep(Session& session, const TestFile& file, const RunOptions& options, IRunObserver& observer,
                    OutputFiles& outputs, KnownOutcome& known) {
    return SweepRun(session, file, options, observer, outputs, known).Run();
}

std::string DescribeSweepResult(const RunOutcome& outcome) {
    Json json{{"end", GetRunEndName(outcome.end)}};
    if (outcome.sweep->search) json.update(DescribeSearch(*outcome.sweep));
    return WriteJson(json);
}

void CloseIteration(RunOutcome& outcome) {
    if (!outcome.sweep || outcome.sweep->iterations.empty()) return;
    RunOutcome& run = outcome.sweep->iterations.back().run;
    run.end = outcome.end;
    run.seed = outcome.seed;
    run.errors = outcome.errors;
    for (const SweepIteration& before : outcome.sweep->iterations) {
        if (outcome.database.empty()) outcome.database = before.run.database;
    }
    run.database = outcome.database;
    run.tests = std::exchange(outcome.tests, {});
    run.unfinished_test = std::exchange(outcome.unfinished_test, std::nullopt);
}

}  // namespace orv::app
