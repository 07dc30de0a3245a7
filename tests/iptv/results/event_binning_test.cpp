// Reports of ports between their arrival and the end of the test: what can be counted of incomplete blocks is
// counted, and rows are stored in time.
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
namespace relations = ids::relations;

class EventBinningTest : public ResultsTest {
  protected:
    /// Channel changes that have been counted for a block.
    static int Count(const CScriptable& block) {
        const auto* results = block.GetObject(ids::IptvStbBlockResults::CLASS, common::kParentChild);
        return results ? std::stoi(results->Get("NumOfChannelChanges")) : 0;
    }
};

TEST_F(EventBinningTest, IncompleteBlocksDoNotDisturbTheOthers) {
    const struct {
        const char* name;
        std::function<void()> spoil;
        std::string logged;
        int counted = 0;
        std::uint16_t channel = 2;
    } cases[] = {
        {"a channel that no range has", [] {}, "Channel Number obtained from IL cannot be found", 0, 99},
        {"no protocol", [&] { a.SetObjects({}, relations::MulticastParam); },
         "object MulticastHostConfig from IptvStbBlockConfig in CIptvResultsManager::BinManager", 1},
        {"no profile", [&] { a.SetObjects({}, relations::IptvProfile); },
         "object IptvViewingProfileConfig from IptvStbBlockConfig"},
        {"no port", [&] { device1.SetObjects({}, relations::AffiliationPort); },
         "object Port from EmulatedDevice"},
        {"switched off", [&] { a.Set(ids::Scriptable::LocalActive, false); }, ""},
        {"deleted", [&] { a.MarkDelete(true, true); }, ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        a.SetObjects({&TestProject::McastOf(device1)}, relations::MulticastParam);
        a.SetObjects({&profile}, relations::IptvProfile);
        device1.SetObjects({&p1}, relations::AffiliationPort);
        a.Set(ids::Scriptable::LocalActive, true);
        Start();
        test.spoil();
        const int before_a = Count(a);
        const int before_b = Count(b);
        testing_aids::LogCapture log;
        Manager().BinManager({EventsOf(a, {MakeView(1, test.channel)}),
                              {4711, {MakeView(1, 2)}, {}},
                              EventsOf(b, {MakeView(1, 12)})});
        EXPECT_THAT(log.Take(),
                    testing::IsSupersetOf(
                        {HasSubstr(test.logged),
                         HasSubstr("object IptvStbBlockConfig from StbHnd got from IL in result events in "
                                   "CIptvResultsManager::CollectEventsFromIL")}));
        EXPECT_EQ(Count(a) - before_a, test.counted);
        EXPECT_EQ(Count(b) - before_b, 1);
    }
}

TEST_F(EventBinningTest, RowsAreStoredWhenEnoughArePending) {
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    Start();
    const auto pending_after = [this](std::size_t views) {
        if (views > 0) Manager().BinManager({EventsOf(a, std::vector(views, MakeView(1, 2)))});
        return a.GetObjects("IptvEventResults", common::kParentChild).size();
    };
    EXPECT_EQ(pending_after(399), 399u);
    EXPECT_EQ(pending_after(1), 0u) << "200 for each of two ports";
    EXPECT_EQ(pending_after(1000), 200u) << "within one report, too";
    Manager().FinalProcessing();
    EXPECT_EQ(pending_after(0), 0u);
    EXPECT_EQ(Reader(DatabasePath()).Get("SELECT count(*) FROM IptvEventResults"), "1400");
    for (const auto& [ports, limit] : {std::pair{0u, 0u}, {3u, 600u}, {20u, 4000u}, {25u, 4000u}}) {
        Manager().SetPortCount(ports);
        EXPECT_EQ(Manager().GetRowLimit(), limit);
    }
}

TEST_F(EventBinningTest, AFailedTestMarksItsNode) {
    Start();
    Manager().BinManager({EventsOf(a, {MakeFailedView(1, 2), MakeView(2, 2)})});
    Manager().FinalProcessing();
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT Status FROM EotResultNode WHERE Name = 'IPTV Test Summary'"), "2");
    EXPECT_EQ(reader.Get("SELECT TestResult FROM IptvTestResults"), "0");
}

TEST_F(EventBinningTest, WithoutDatabaseTheTestEndsAllTheSame) {
    Start();
    manager_db.reset();
    Manager().FinalProcessing();
    EXPECT_FALSE(IsRunning());
}

}  // namespace
