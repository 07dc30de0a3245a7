// From event records to results: a plain loop over the records, binning, binning from wire bytes, and event
// rows into a database file beside raw inserts of the same rows.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <boost/filesystem.hpp>

#include <memory>
#include <random>
#include <stdexcept>

#include "channel_changers.h"
#include "orv/core/test_result_manager.h"
#include "orv/ids/iptv_ids.h"
#include "orv/tm/message.h"
#include "plain_figures.h"
#include "raw_rows.h"
#include "results/IptvChannelResults.h"
#include "results/IptvStbBlockResults.h"
#include "results/ResultNodes.h"

namespace {

namespace ids = orv::ids;
using bench::ChannelChangers;
using orv::iptv::CIptvResultsManager;

constexpr std::uint32_t kSettopBoxes = 16384;
constexpr int kViewsPerNotification = 20;
constexpr int kNotifications = 3;  ///< about a million records in all

/// The same number of records, whatever the number of notifications.
std::vector<ChannelChangers::Notification> MakeNotifications(ChannelChangers& project,
                                                             int views = kViewsPerNotification) {
    std::vector<ChannelChangers::Notification> notifications;
    for (int i = 0; i < kNotifications * kViewsPerNotification / views; ++i)
        notifications.push_back(project.MakeNotification(i, views));
    return notifications;
}

std::int64_t CountRecords(const std::vector<ChannelChangers::Notification>& notifications) {
    std::int64_t records = 0;
    for (const auto& notification : notifications)
        records += static_cast<std::int64_t>(notification.front().events.size());
    return records;
}

void PlainLoop(benchmark::State& state) {
    ChannelChangers project(kSettopBoxes, 1);
    const auto notifications = MakeNotifications(project);
    for (auto _ : state) {
        bench::PlainFigures figures(kSettopBoxes);
        for (const auto& notification : notifications) {
            for (const auto& ev : notification.front().events) figures.Add(ev, 500);
        }
        benchmark::DoNotOptimize(figures);
    }
    state.SetItemsProcessed(state.iterations() * CountRecords(notifications));
}
BENCHMARK(PlainLoop)->Unit(benchmark::kMillisecond);

/// The argument is the number of channel blocks and of ranges.
void BinRecords(benchmark::State& state) {
    ChannelChangers project(kSettopBoxes, static_cast<std::uint32_t>(state.range(0)));
    const auto notifications = MakeNotifications(project);
    for (auto _ : state) {
        for (const auto& notification : notifications) project.Manager().BinManager(notification);
    }
    state.SetItemsProcessed(state.iterations() * CountRecords(notifications));
}
BENCHMARK(BinRecords)->Arg(1)->Arg(1000)->Unit(benchmark::kMillisecond);

/// What binning does for each record, without distributions (argument 0), as it was before there were any,
/// and with them.
void Figures(benchmark::State& state) {
    namespace distributions = orv::iptv::distributions;
    const bool has_distributions = state.range(0) == 1;
    ChannelChangers project(kSettopBoxes, 1);
    const auto notifications = MakeNotifications(project);
    auto& block = *orv::iptv::FindOrMakeResult<orv::iptv::CIptvStbBlockResults>(project.GetBlock());
    auto& range = *orv::iptv::FindOrMakeResult<orv::iptv::CIptvChannelResults>(project.GetRange());
    orv::iptv::PreviousViews previous;
    const orv::iptv::ViewContext context{&previous, 0, 0};
    distributions::TestDistributions test;
    auto& block_set = test.FindOrMakeBlock(1, 2, 3).set;
    auto& range_set = test.FindOrMakeRange(4);
    auto& series = test.FindOrMakeSeries(3);
    const auto find_interval = [&](std::int64_t ticks) {
        distributions::Interval* interval = series.Find(ticks);
        if (interval || !series.IsPlausible(ticks)) return interval;
        test.GetLog().Drain(block_set);
        return series.FindOrMake(ticks);
    };
    for (auto _ : state) {
        for (const auto& notification : notifications) {
            for (const auto& ev : notification.front().events) {
                if (!has_distributions) {
                    range.CalcLatencies(ev, nullptr, 500);
                    block.BinEvent(ev, nullptr, context);
                    continue;
                }
                if (test.GetLog().IsFull()) test.GetLog().Drain(block_set);
                distributions::ViewSink sink(test.GetLog(), range_set, find_interval(ev.mcast_join_ts));
                range.CalcLatencies(ev, nullptr, 500, &sink);
                block.BinEvent(ev, nullptr, context, &sink);
            }
        }
        test.GetLog().Drain(block_set);
    }
    state.SetItemsProcessed(state.iterations() * CountRecords(notifications));
}
BENCHMARK(Figures)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

/// Memory of the distributions of many blocks, each with a few minutes of views.
void DistributionMemory(benchmark::State& state) {
    namespace distributions = orv::iptv::distributions;
    constexpr std::uint32_t kBlocks = 16384;
    std::mt19937 random(3);
    std::lognormal_distribution<> join(3.5, 0.5), leave(4, 0.7), gap(4.5, 0.5);
    for (auto _ : state) {
        distributions::TestDistributions test;
        std::size_t bytes = 0;
        for (std::uint32_t i = 0; i < kBlocks; ++i) {
            auto& block = test.FindOrMakeBlock(i, 1, 2);
            const auto add = [&](distributions::Latency latency, double ms) {
                block.set[latency].Add(distributions::LatencyBuckets::Find(ms), ms);
            };
            for (int view = 0; view < 300; ++view) {
                const double ms = gap(random);
                add(distributions::Latency::kJoin, join(random));
                add(distributions::Latency::kLeave, leave(random));
                add(view % 4 == 0 ? distributions::Latency::kOverlap : distributions::Latency::kGap, ms);
                add(distributions::Latency::kChange, ms + 100);
            }
            bytes += block.set.GetBytes() + sizeof block - sizeof block.set;
        }
        state.counters["bytes_per_block"] = static_cast<double>(bytes) / kBlocks;
    }
}
BENCHMARK(DistributionMemory)->Iterations(1)->Unit(benchmark::kMillisecond);

/// The argument is the number of views of each set-top box in a notification. With 3 of them it is as large
/// as those that ports send, of at most 50,000 records, and its memory is used again for the next one.
void WireToResults(benchmark::State& state) {
    ChannelChangers project(kSettopBoxes, 1);
    const auto notifications = MakeNotifications(project, static_cast<int>(state.range(0)));
    std::vector<std::vector<std::byte>> wire;
    for (const auto& notification : notifications) {
        orv::tm::Message message;
        iptvcd_1_bll::create_req_ResultsNotification(&message, notification, true);
        wire.push_back(message.encode());
    }
    for (auto _ : state) {
        for (const auto& bytes : wire) {
            state.PauseTiming();  // a transport hands over what it has received
            std::vector<std::byte> received(bytes);
            state.ResumeTiming();
            orv::tm::Message message = orv::tm::Message::decode(std::move(received));
            project.Manager().CollectEventsFromIL(0, &message, nullptr);
        }
    }
    state.SetItemsProcessed(state.iterations() * CountRecords(notifications));
}
BENCHMARK(WireToResults)->Arg(kViewsPerNotification)->Arg(3)->Unit(benchmark::kMillisecond);

/// A folder for database files, gone at the end.
class Folder {
  public:
    Folder() : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path()) {
        boost::filesystem::create_directories(path_);
    }
    ~Folder() { boost::filesystem::remove_all(path_); }
    std::string Path(const char* name) const { return (path_ / name).string(); }
    std::string Path() const { return path_.string(); }

  private:
    boost::filesystem::path path_;
};

constexpr std::uint32_t kRowSettopBoxes =
    4000;  ///< views of a notification: as many rows as are saved at once
constexpr int kRowNotifications = 25;

class RowProject {
  public:
    explicit RowProject(const Folder& folder)
        : project_(kRowSettopBoxes, 1), database_(orv::core::MakeSqliteTestResultManager(folder.Path())) {
        project_.SaveTimeStamps();
        database_->StartInteractive();
        database_->SetTestResultSetting({"IPTV_Test_Results", "rows", ""});
        database_->SaveConfiguration(true);
        project_.Manager().SetDatabasePath(database_->GetDatabasePath());
        project_.Manager().NoteDataSet();
        project_.Manager().SetPortCount(20);  // groups of 4000 rows
    }
    ChannelChangers& Project() { return project_; }
    orv::core::TestResultManager& Database() { return *database_; }

  private:
    ChannelChangers project_;
    std::unique_ptr<orv::core::TestResultManager> database_;
};

std::vector<ChannelChangers::Notification> MakeRowNotifications(RowProject& project) {
    std::vector<ChannelChangers::Notification> notifications;
    for (int i = 0; i < kRowNotifications; ++i)
        notifications.push_back(project.Project().MakeNotification(i, 1));
    return notifications;
}

/// Returns once everything is in the file.
void StoreRows(RowProject& project, const std::vector<ChannelChangers::Notification>& notifications) {
    for (const auto& notification : notifications) project.Project().Manager().BinManager(notification);
    project.Database().Finalise();
}

bench::RawRows ReadRows(const Folder& folder) {
    bench::RawRows rows(folder.Path("rows.db"), kRowSettopBoxes * kRowNotifications);
    if (rows.GetCount() != kRowSettopBoxes * kRowNotifications)
        throw std::runtime_error("event rows are missing in the file");
    return rows;
}

/// The rows that the next benchmark stores, by the simplest means.
void RawInserts(benchmark::State& state) {
    const Folder source;
    auto project = std::make_unique<RowProject>(source);
    StoreRows(*project, MakeRowNotifications(*project));
    project.reset();
    const bench::RawRows rows = ReadRows(source);
    for (auto _ : state) {
        state.PauseTiming();
        const auto folder = std::make_unique<Folder>();
        state.ResumeTiming();
        rows.Insert(folder->Path("raw.db"));
    }
    state.SetItemsProcessed(state.iterations() * rows.GetCount());
}

void EventRows(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        const Folder folder;
        auto project = std::make_unique<RowProject>(folder);
        const auto notifications = MakeRowNotifications(*project);
        state.ResumeTiming();
        StoreRows(*project, notifications);
        state.PauseTiming();
        project.reset();
        ReadRows(folder);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kRowSettopBoxes * kRowNotifications);
}
BENCHMARK(RawInserts)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(EventRows)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

double PeakMemory() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss);
}

/// Peak memory after many notifications with rows, over that after a few, which are more than what may wait
/// for the disk. Runs in a process of its own, because others leave a higher peak behind.
void MemoryGrowth(benchmark::State& state) {
    double growth = 0;
    for (auto _ : state) {
        const Folder folder;
        RowProject project(folder);
        const auto run = [&project](int notifications) {
            for (int i = 0; i < notifications; ++i)
                project.Project().Manager().BinManager(project.Project().MakeNotification(i, 2));
        };
        run(12);
        const double before = PeakMemory();
        run(60);
        growth = PeakMemory() / before;
    }
    state.counters["growth"] = growth;
}
BENCHMARK(MemoryGrowth)->Iterations(1);

}  // namespace
