// The number of streams that the analyzer of a port can distinguish.
#include <limits>

#include "orv/core/rcm_db.h"
#include "start_test_fixture.h"

namespace testing_aids {
namespace {

using core::RcmDBMgr;
using core::RcmValue;
using iptv::CIptvStartTestCommand;
using S = StartScene;

/// A capability of all ports; gone at the end.
struct Capability {
    explicit Capability(RcmValue value, const std::string& service = "GA",
                        const std::string& name = "analyzer/anaStreams") {
        RcmDBMgr::Instance().SetDBValue({service, ""}, name, std::move(value));
    }
    ~Capability() { RcmDBMgr::Instance().Clear(); }
};

TEST(StreamLimit, IsACapabilityOfThePort) {
    S s;
    const auto limit = [&s] { return CIptvStartTestCommand::GetCardLimitOnStreams(s.port.GetHandle()); };
    EXPECT_EQ(limit(), -1) << "not known";
    const struct {
        RcmValue value;
        std::int32_t limit;
    } rows[] = {{std::int64_t{512}, 512},
                {std::int64_t{0}, 0},
                {std::int64_t{-7}, -1},
                {std::int64_t{1} << 40, std::numeric_limits<std::int32_t>::max()},
                {512.0, -1},
                {true, -1},
                {std::string("512"), -1}};
    for (const auto& row : rows) {
        const Capability capability(row.value);
        EXPECT_EQ(limit(), row.limit) << row.value.index();
        EXPECT_EQ(CIptvStartTestCommand::GetCardLimitOnStreams(0), -1) << "no port";
        RcmDBMgr::Instance().SetDBValue({"GA", "Port 1"}, "analyzer/anaStreams", std::int64_t{8});
        EXPECT_EQ(limit(), 8) << "the port's own comes first";
    }
    const Capability other_service(std::int64_t{5}, "PHY");
    const Capability other_name(std::int64_t{5}, "GA", "analyzer/filters");
    EXPECT_EQ(limit(), -1);
}

TEST(StreamLimit, CountsTheStreamsOfABlocksHosts) {
    const struct {
        int type;
        std::uint32_t hosts, last, step;  ///< channels 1 to `last`, and 11 to 14
        std::int64_t streams;
    } rows[] = {{TestType::ZAPPING, 3, 8, 1, 12},
                {TestType::FAST_CHANNEL_CHANGE, 3, 8, 1, 12},
                {TestType::FCC_WITH_RRR, 3, 8, 1, 12},
                {TestType::VERIFICATION, 3, 8, 1, 3 * (8 + 4)},
                {TestType::VERIFICATION, 3, 8, 3, 3 * (3 + 4)},
                {TestType::VERIFICATION, 3, 7, 3, 3 * (3 + 4)},
                {TestType::VERIFICATION, 3, 8, 0, 3 * (8 + 4)},
                {TestType::VERIFICATION, 65535, 4294967295, 1, 65535 * (4294967295 + 4)}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << ", step " << row.step);
        S s;
        s.Choose(row.type, kTesting);
        s.View(1, row.last);
        s.range.Set(ids::IptvViewedChannels::ChannelRangeStep, row.step);
        TestProject::Relate(s.block, s.project.MakeRange(s.channels, 11, 14), relations::StbChannel);
        s.device.Set(ids::EmulatedDevice::DeviceCount, row.hosts);
        auto& off = s.AddBoxes(&s.port, "Off");
        S::SwitchOff(S::DeviceOf(off));
        const auto logged = [&](std::int64_t limit) {
            const Capability capability(limit);
            LogCapture log;
            s.command.CheckForCardLimitOnStreams({s.block.GetHandle(), off.GetHandle()}, s.port.GetHandle());
            return log.Take();
        };
        constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
        if (row.streams <= kLargest) {
            EXPECT_THAT(logged(row.streams), testing::IsEmpty());
        }
        EXPECT_THAT(logged(std::min(row.streams - 1, kLargest)),
                    testing::ElementsAre("content.mulvane.iptv Error: Card Limit on Number of streams "
                                         "Exceeded. Reduce number of set top boxes or number of channels in "
                                         "test."));
    }
}

TEST(StreamLimit, MissingObjectsAreNamed) {
    S s;
    s.Choose(TestType::VERIFICATION, kTesting);
    auto& homeless = s.AddBoxes(&s.port, "Homeless");
    TestProject::Relate(S::MakeOdd(0x7f120000, "EmulatedDevice", s.project.Root()), homeless,
                        common::kParentChild);
    TestProject::Relate(s.block, S::MakeOdd(0x7f122000, "IptvViewedChannels", s.project.Root()),
                        relations::StbChannel);
    const std::string prefix = " BAD OBJECT ERROR: Error accessing Config Objects. ";
    const struct {
        std::uint32_t handle;
        std::string lookup, error;
    } rows[] = {
        {s.port.GetHandle(), "IptvStbBlockConfig from Block Handle List", "IptStbBlockConfig "},
        {homeless.GetHandle(), "EmulatedDevice from IptvStbBlockConfig",
         "EmulatedDevice associated with Homeless"},
        {s.block.GetHandle(), "IptvViewedChannels from IptvStbBlockConfig",
         "IptvViewedChannels associated with Boxes"},
    };
    for (const auto& row : rows) {
        const auto check = [&] { s.command.CheckForCardLimitOnStreams({row.handle}, s.port.GetHandle()); };
        EXPECT_EQ(ThrownBy(check), "") << "nothing to compare with";
        const Capability capability(std::int64_t{1000});
        LogCapture log;
        EXPECT_EQ(ThrownBy(check), prefix + row.error);
        EXPECT_THAT(log.Take(), testing::Contains(
                                    "content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to "
                                    "get object " +
                                    row.lookup + " in CIptvStartTestCommand::CheckForCardLimitOnStreams"));
    }
}

}  // namespace
}  // namespace testing_aids
