// Reports of STB blocks that lack something: what can be counted is counted, and the log names the rest.
#include <functional>

#include "orv/ids/core_ids.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using testing::Contains;
using testing::HasSubstr;
namespace relations = ids::relations;

class IncompleteBlocksTest : public ResultsTest {
  protected:
    /// Channel changes that have been counted for a block.
    static int Count(const iptv::CIptvStbBlockConfig& block) {
        const auto* results = block.GetObject(ids::IptvStbBlockResults::CLASS, common::kParentChild);
        return results ? std::stoi(results->Get("NumOfChannelChanges")) : 0;
    }
    std::string BadObject(const std::string& object, const std::string& from,
                          const std::string& operation = "CIptvResultsManager::BinManager") {
        return "Failed to get object " + object + " from " + from + " in " + operation;
    }
};

TEST_F(IncompleteBlocksTest, DoNotDisturbTheOthers) {
    const struct {
        const char* name;
        std::function<void()> spoil;
        std::string logged;
        int counted;
        std::uint16_t channel = 2;
    } cases[] = {
        {"a channel that no range has", [] {}, "Channel Number obtained from IL cannot be found in BLL", 0,
         99},
        {"no protocol", [&] { a.SetObjects({}, relations::MulticastParam); },
         BadObject("MulticastHostConfig", "IptvStbBlockConfig"), 1},
        {"no profile", [&] { a.SetObjects({}, relations::IptvProfile); },
         BadObject("IptvViewingProfileConfig", "IptvStbBlockConfig"), 0},
        {"no port", [&] { device1.SetObjects({}, relations::AffiliationPort); },
         BadObject("Port", "EmulatedDevice"), 0},
        {"switched off", [&] { a.Set(ids::Scriptable::LocalActive, false); }, "", 0},
        {"deleted", [&] { a.MarkDelete(true, true); }, "", 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        Start();
        test.spoil();
        const int before_a = Count(a);
        const int before_b = Count(b);
        testing_aids::LogCapture log;
        Manager().BinManager({EventsOf(a, {MakeView(1, test.channel, 0)}),
                              {4711, {MakeView(1, 2, 0)}, {}},
                              EventsOf(b, {MakeView(1, 12, 0)})});
        const auto lines = log.Take();
        EXPECT_THAT(lines, Contains(HasSubstr(test.logged)));
        EXPECT_THAT(lines,
                    Contains(HasSubstr(BadObject("IptvStbBlockConfig", "StbHnd got from IL in result events",
                                                 "CIptvResultsManager::CollectEventsFromIL"))));
        EXPECT_EQ(Count(a) - before_a, test.counted);
        EXPECT_EQ(Count(b) - before_b, 1);
        // Back to what it was, as far as there is a next case.
        if (a.IsDeleted()) break;
        a.SetObjects({&testing_aids::TestProject::McastOf(device1)}, relations::MulticastParam);
        a.SetObjects({&profile}, relations::IptvProfile);
        device1.SetObjects({&p1}, relations::AffiliationPort);
        a.Set(ids::Scriptable::LocalActive, true);
    }
}

TEST_F(IncompleteBlocksTest, RowsNeedAnInterface) {
    Start();
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    testing_aids::TestProject::McastOf(device1).SetObjects({}, relations::UsesIf);
    testing_aids::LogCapture log;
    EXPECT_THROW(Manager().BinManager({EventsOf(a, {MakeView(1, 2, 0)})}), common::COrvRunTimeError);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("CIptvResultsManager::CopyResultFromILEventToBLLClass "
                                               "NetworkInterface typecast to Ipv4 or Ipv6 failed.")));
}

}  // namespace
