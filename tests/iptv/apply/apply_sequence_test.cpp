// Which requests an apply sends, in which order.
#include "apply_fixture.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"

namespace {

using namespace orv;  // NOLINT: a test
using testing::ElementsAre;
using testing::IsEmpty;
using testing_aids::Answer;

/// Block A on port P1 and block B on port P2 watch the same channels with the same profile.
class ApplySequenceTest : public testing_aids::ApplyTest {
  protected:
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 8);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 4, "Range");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Fast");
    core::CEmulatedDevice& device1 = project.MakeDevice(&p1);
    core::CEmulatedDevice& device2 = project.MakeDevice(&p2);
    iptv::CIptvStbBlockConfig& a = project.MakeStbBlock(device1, profile, {&range}, "A");
    iptv::CIptvStbBlockConfig& b = project.MakeStbBlock(device2, profile, {&range}, "B");
};

TEST_F(ApplySequenceTest, TheFirstApplySendsEverythingToBothPortsTogether) {
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(TakeJournal(), ElementsAre("P1 UpdateProfile Fast", "P2 UpdateProfile Fast",              //
                                           "P1 UpdateChannelBlock Range", "P2 UpdateChannelBlock Range",  //
                                           "P1 AttachInterfaces 1", "P2 AttachInterfaces 1",              //
                                           "P1 UpdateSettopBlock A", "P2 UpdateSettopBlock B"));
    EXPECT_EQ(far1.GetMostOutstanding(), 1);
    EXPECT_TRUE(profile.FindPortinVec(p1.GetHandle()));
    EXPECT_TRUE(profile.FindPortinVec(p2.GetHandle()));
    EXPECT_EQ(Apply(), "");
    EXPECT_THAT(TakeJournal(), IsEmpty()) << "nothing changed";
}

}  // namespace
