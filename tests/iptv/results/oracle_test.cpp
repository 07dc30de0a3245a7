// Every figure of every result, against a second computation from the same records.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "orv/framework/handle_registry.h"
#include "random_project.h"
#include "results/IptvChannelResults.h"
#include "results/IptvPortResults.h"
#include "results/IptvResultsManager.h"
#include "results/IptvStbBlockResults.h"
#include "results/IptvViewingProfileResults.h"

namespace {

using namespace orv;           // NOLINT: a test
using namespace results_test;  // NOLINT
using framework::CPropertyMeta;
using framework::CScriptable;
using framework::ScriptableVec;
using iptvcd_1_bll::stblock_event_s;

iptv::CIptvResultsManager& Manager() {
    return *iptv::CIptvResultsManager::GetResultsManager();
}

/// As the oracle writes it.
Value ReadValue(const CScriptable& object, const CPropertyMeta& property) {
    return std::visit(
        [](const auto& value) -> Value {
            using Type = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Type, double>) {
                return value;
            } else if constexpr (std::is_integral_v<Type>) {
                return static_cast<std::uint64_t>(value);
            } else if constexpr (std::is_same_v<Type, common::CIpAddress>) {
                return value.ToString();
            } else if constexpr (std::is_same_v<Type, framework::Boxed<common::CIpv6Address>>) {
                return value.Get().ToString();
            } else if constexpr (std::is_same_v<Type, framework::Boxed<std::string>>) {
                return value.Get();
            } else {
                return "of a type that no result has";
            }
        },
        object.GetDataStore()[property.slot]);
}

std::string Describe(const Value& value) {
    return std::visit([](const auto& content) { return fmt::format("{}", content); }, value);
}

bool IsSame(const Value& expected, const Value& found) {
    const auto* a = std::get_if<double>(&expected);
    const auto* b = std::get_if<double>(&found);
    if (!a || !b) return expected == found;
    return *a == *b || std::abs(*a - *b) <= 1e-9 * std::max(std::abs(*a), std::abs(*b));
}

/// Looks at every property of every result.
class Comparison {
  public:
    explicit Comparison(const RandomProject& project) : project_(project) {}

    void StartTest() {
        iptv::TestRun run;
        for (const OracleBlock& block : project_.facts) run.stb_blocks.push_back(block.handle);
        Manager().Prepare(run);
        Manager().SetPortCount(0);  // rows stay
        for (iptv::CIptvStbBlockConfig* config : project_.blocks) Reset<iptv::CIptvStbBlockResults>(*config);
        for (core::CPort* port : project_.ports) Reset<iptv::CIptvPortResults>(*port);
        for (CScriptable* profile : project_.profiles) Reset<iptv::CIptvViewingProfileResults>(*profile);
        for (CScriptable* range : project_.ranges) Reset<iptv::CIptvChannelResults>(*range);
    }

    /// Where the results differ; empty when they do not.
    std::string Compare(const Oracle& oracle, const Figures& figures) {
        difference_.clear();
        figures_ = figures;
        const auto& blocks = project_.blocks;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            const std::string name = "Block " + project_.facts[i].name;
            CompareResult<iptv::CIptvStbBlockResults>(name, *blocks[i]);
            CompareRows(name + " view ", blocks[i]->GetObjects("IptvEventResults", common::kParentChild));
            CompareRows(name + " retransmission ",
                        blocks[i]->GetObjects("IptvRrrEventResults", common::kParentChild));
        }
        for (CScriptable* port : project_.ports)
            CompareResult<iptv::CIptvPortResults>("Port " + port->GetName(), *port);
        for (CScriptable* profile : project_.profiles)
            CompareResult<iptv::CIptvViewingProfileResults>("Profile " + profile->GetName(), *profile);
        for (CScriptable* range : project_.ranges)
            CompareResult<iptv::CIptvChannelResults>("Range " + range->GetName(), *range);
        CompareDistributions(oracle);
        if (!figures_.empty()) Note(figures_.begin()->first, figures_.begin()->second, Value("nothing"));
        CompareValue("test/failed joins", oracle.GetFailedJoins(), Manager().GetFailedJoins());
        CompareValue("test/net channel changes", oracle.GetNetChannelChanges(),
                     Manager().GetNetChannelChanges());
        return difference_;
    }

  private:
    template <class Result>
    static void Reset(const CScriptable& parent) {
        auto* result = dynamic_cast<Result*>(parent.GetObject(Result::CLASS_ID(), common::kParentChild));
        if (result) result->ResetResults();
    }

    void CompareDistributions(const Oracle& oracle) {
        latencies_ = oracle.GetLatencies();
        const auto& test = Manager().GetDistributions();
        const auto compare = [this](const std::string& kind, const auto& sets) {
            for (const auto& [handle, entry] : sets) {
                const std::string name = framework::CHandleRegistry::Instance().Find(handle)->GetName();
                if constexpr (requires { entry.set; }) {
                    CompareSet(kind + name, entry.set);
                } else {
                    CompareSet(kind + name, entry);
                }
            }
        };
        compare("Range ", test.GetRanges());
        compare("Block ", test.GetBlocks());
        compare("Profile ", test.MergeProfiles());
        compare("Port ", test.MergePorts());
        CompareSet("Test", test.MergeTest());
        if (!latencies_.empty()) Note(latencies_.begin()->first, Value("a distribution"), Value("none"));
    }

    void CompareSet(const std::string& object, const iptv::distributions::DistributionSet& set) {
        for (std::size_t i = 0; i < iptv::distributions::kNumLatencies; ++i) {
            const auto& histogram = set[static_cast<iptv::distributions::Latency>(i)];
            const std::string name = object + "/" + iptv::distributions::kLatencyNames[i];
            const std::vector<double> values = latencies_[name];
            latencies_.erase(name);
            CompareValue(name + " count", std::uint64_t{values.size()}, histogram.GetCount());
            if (values.empty()) continue;
            CompareValue(name + " min", values.front(), histogram.GetMin());
            CompareValue(name + " max", values.back(), histogram.GetMax());
            const double sum = std::accumulate(values.begin(), values.end(), 0.0);
            CompareValue(name + " mean", sum / static_cast<double>(values.size()), histogram.GetMean());
            for (const std::uint32_t permille : {1u, 500u, 900u, 990u, 999u, 1000u}) {
                const double exact = values[(values.size() * permille + 999) / 1000 - 1];
                const double found = histogram.GetPercentile(permille);
                const bool is_in_range = exact > 0.001 && exact < 600'000;
                if (is_in_range && std::abs(found - exact) > 0.01 * exact)
                    Note(fmt::format("{} {} ‰", name, permille), exact, found);
            }
        }
    }

    template <class Result>
    void CompareResult(const std::string& name, const CScriptable& parent) {
        ScriptableVec results;
        parent.GetObjects(results, Result::CLASS_ID(), ids::relations::ResultChild);
        ScriptableVec children;
        parent.GetObjects(children, Result::CLASS_ID(), common::kParentChild);
        if (children != results) Note(name + "/result children", Value("all children"), Value("others"));
        for (const CScriptable* result : results) CompareObject(name, *result);
    }

    void CompareRows(const std::string& name, const ScriptableVec& rows) {
        for (std::size_t i = 0; i < rows.size(); ++i) CompareObject(name + std::to_string(i), *rows[i]);
    }

    void CompareObject(const std::string& name, const CScriptable& object) {
        for (const CPropertyMeta* property : object.GetMetaClass()->GetProperties()) {
            if (property->name == "LastUpdateTime") continue;
            const std::string key = name + "/" + property->name;
            const Value found = ReadValue(object, *property);
            if (property->id.GetClassId() == ids::Scriptable::CLASS) {
                CompareValue(key, GetBaseValue(object, property->id), found);
                continue;
            }
            const auto figure = figures_.find(key);
            CompareValue(key, figure == figures_.end() ? Value("nothing") : figure->second, found);
            if (figure != figures_.end()) figures_.erase(figure);
        }
    }

    static Value GetBaseValue(const CScriptable& object, common::PropId id) {
        if (id == ids::Scriptable::Handle) return std::uint64_t{object.GetHandle()};
        if (id != ids::Scriptable::Name) return std::uint64_t{true};  // active
        return fmt::format("{} {}", object.GetMetaClass()->GetName(), object.GetHandle());
    }

    void CompareValue(const std::string& what, const Value& expected, const Value& found) {
        if (!IsSame(expected, found)) Note(what, expected, found);
    }
    void Note(const std::string& what, const Value& expected, const Value& found) {
        difference_ += fmt::format("{}: expected {}, found {}\n", what, Describe(expected), Describe(found));
    }

    const RandomProject& project_;
    Figures figures_;                                       ///< not found yet
    std::map<std::string, std::vector<double>> latencies_;  ///< likewise
    std::string difference_;
};

/// Keeps the first `count` events; returns how many there are.
std::size_t Cut(std::vector<Notification>& stream, std::size_t count) {
    std::size_t seen = 0;
    const auto cut = [&](auto& events) {
        const std::size_t left = count > seen ? count - seen : 0;
        seen += events.size();
        if (events.size() > left) events.resize(left);
    };
    for (Notification& notification : stream) {
        for (stblock_event_s& record : notification) {
            cut(record.events);
            cut(record.rrr_events);
        }
    }
    return seen;
}

struct Outcome {
    Figures figures;
    std::string difference;
    std::size_t events = 0;
};

/// The test of that seed, with its first `count` events; some are run again.
Outcome RunTest(std::uint64_t seed, std::size_t count) {
    Dice dice(seed);
    const RandomProject project(dice);
    std::vector<Notification> stream = MakeStream(dice, project);
    Outcome outcome;
    outcome.events = Cut(stream, count);
    Oracle oracle(project.facts);
    for (const Notification& notification : stream)
        for (const stblock_event_s& record : notification) oracle.Take(record);
    outcome.figures = oracle.GetFigures();
    Comparison comparison(project);
    const int runs = dice.Hit(4) ? 2 : 1;
    for (int run = 1; run <= runs; ++run) {
        comparison.StartTest();
        for (const Notification& notification : stream) Manager().BinManager(notification);
        const std::string difference = comparison.Compare(oracle, outcome.figures);
        if (!difference.empty()) outcome.difference += fmt::format("run {}:\n{}", run, difference);
    }
    return outcome;
}

/// Figures by kind of object and property: which have been other than 0.
void NoteUsed(const Figures& figures, std::map<std::string, bool>& used) {
    for (const auto& [key, value] : figures) {
        std::string kind = key;
        std::erase_if(kind, [](char c) { return c >= '0' && c <= '9'; });
        used[kind] |= value != Value(0.0) && value != Value(std::uint64_t{0});
    }
}

TEST(OracleTest, EveryFigureFollowsFromTheRecords) {
    auto& loggers = framework::BLLLoggerFactory::GetInstance();
    loggers.SetConsole(false);  // events without a range are reported
    std::map<std::string, bool> used;
    for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
        Outcome outcome = RunTest(seed, ~std::size_t{0});
        if (seed % 10 == 0) NoteUsed(outcome.figures, used);
        if (outcome.difference.empty()) continue;
        // The fewest events that differ, by halving.
        std::size_t same = 0;
        std::size_t differs = outcome.events;
        while (differs - same > 1) {
            const std::size_t middle = (same + differs) / 2;
            Outcome part = RunTest(seed, middle);
            (part.difference.empty() ? same : differs) = middle;
            if (!part.difference.empty()) outcome = std::move(part);
        }
        loggers.SetConsole(true);
        FAIL() << "seed " << seed << ", first " << differs << " events\n" << outcome.difference;
    }
    loggers.SetConsole(true);
    for (const auto& [figure, is_used] : used) EXPECT_TRUE(is_used) << figure << " was 0 each time";
}

}  // namespace
