// All validators together: valid projects give no report.
#include <rapidcheck.h>

#include <algorithm>

#include "orv/core/network_block.h"
#include "orv/core/orv_system.h"
#include "orv/core/port_group.h"
#include "validation_fixture.h"

namespace testing_aids {
namespace {

namespace Block = ids::IptvChannelBlock;
namespace Range = ids::IptvViewedChannels;
namespace Profile = ids::IptvViewingProfileConfig;
namespace Stb = ids::IptvStbBlockConfig;
namespace relations = ids::relations;

std::uint32_t Draw(std::uint32_t lowest, std::uint32_t highest) {
    return *rc::gen::inRange(lowest, highest + 1);
}
bool Flip() {
    return *rc::gen::arbitrary<bool>();
}
template <class T>
T& Pick(const std::vector<T*>& objects) {
    return *objects[Draw(0, static_cast<std::uint32_t>(objects.size()) - 1)];
}

/// A random project without a fault in what is switched on.
struct RandomConfiguration {
    TestProject project;
    std::vector<iptv::CIptvChannelBlock*> channels;  ///< in ascending order of their channels
    std::vector<iptv::CIptvViewingProfileConfig*> profiles;
    std::vector<core::CPort*> ports;
    std::vector<iptv::CIptvStbBlockConfig*> blocks;
    std::vector<iptv::CIptvViewedChannels*> ranges;  ///< each is viewed by one block

    RandomConfiguration() {
        orv::core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, Flip());
        iptv::RunningTest::SetRules({.fcc_check = Flip(), .trigger_delay_check = Flip()});
        AddChannels();
        for (std::uint32_t i = Draw(1, 3); i > 0; --i) AddProfile();
        CScriptable& chassis = *framework::CScriptableCreator().Create("PhysicalChassis", &project.Root());
        CScriptable& group = *framework::CScriptableCreator().Create("PortGroup", &chassis);
        for (std::uint32_t i = Draw(1, 3); i > 0; --i) AddPort(group);
        AddWhatIsOff();
    }

    void AddChannels() {
        struct Numbers {
            std::uint32_t first, count;
        };
        std::vector<Numbers> numbers;
        std::uint32_t next = Draw(1, 50);
        for (std::uint32_t i = Draw(1, 4); i > 0; --i) {
            numbers.push_back({next, Draw(4, 30)});
            next += numbers.back().count + Draw(0, 5);
        }
        const bool ascending = Flip();
        if (!ascending) std::reverse(numbers.begin(), numbers.end());
        for (const auto& [first, count] : numbers) {
            auto& block = project.MakeChannelBlock("Channels " + std::to_string(first), first, count, Flip());
            const std::uint32_t port = Draw(1, 65535);
            block.Set(Block::UdpDestinationPort, static_cast<std::uint16_t>(port));
            block.Set(Block::UdpDestinationPortStep,
                      static_cast<std::uint16_t>(Draw(0, (65535 - port) / (count - 1))));
            channels.push_back(&block);
        }
        if (!ascending) std::reverse(channels.begin(), channels.end());
    }

    void AddProfile() {
        auto& profile = project.MakeProfile("Profile " + std::to_string(profiles.size()));
        const std::uint32_t interval = 50 * Draw(2, 100);
        const std::uint32_t delay = Draw(0, interval - 50);
        profile.Set(Profile::Interval, interval);
        profile.Set(Profile::SetTopLeaveJoinDelay, delay);
        profile.Set(Profile::JoinLatencyThreshold, Draw(0, interval - delay));
        profile.Set(Profile::LeaveLatencyThreshold, Draw(0, 2 * interval));
        const bool view = Flip();
        profile.Set(Profile::ZapBehavior, std::uint8_t{view});
        profile.Set(Profile::ViewDuration, view ? Draw((interval + 999) / 1000, 100) : Draw(0, 100));
        profile.Set(Profile::ChangesBeforeView, Draw(1, 5));
        const std::uint32_t least = iptv::CIptvViewingProfileConfig::m_bTriggerDelayCheck ? 1 : 0;
        profile.Set(Profile::UnicastLeaveTriggerDelay, Draw(least, 100));
        profiles.push_back(&profile);
    }

    void AddPort(CScriptable& group) {
        ports.push_back(&project.MakePort("Port " + std::to_string(ports.size())));
        ports.back()->Set(ids::Port::Online, Flip());
        if (Flip()) TestProject::Relate(*ports.back(), group, relations::AffiliationPortGroup);
        const Stack stack{.ipv6 = Flip(), .vlans = Flip()};
        for (std::uint32_t devices = Draw(1, 2); devices > 0; --devices) {
            const std::uint32_t boxes = Draw(1, 500);
            auto& device = project.MakeDevice(ports.back(), boxes, stack);
            for (std::uint32_t i = Draw(1, 2); i > 0; --i) AddStbBlock(device, boxes);
        }
    }

    void AddStbBlock(core::CEmulatedDevice& device, std::uint32_t boxes) {
        const std::size_t must = Draw(0, static_cast<std::uint32_t>(channels.size()) - 1);
        std::vector<iptv::CIptvViewedChannels*> viewed;
        for (std::size_t i = 0; i < channels.size(); ++i) {
            if (i == must || Flip()) viewed.push_back(&MakeRange(*channels[i]));
        }
        auto& block = project.MakeStbBlock(device, Pick(profiles), viewed);
        const std::uint32_t port = iptv::CIptvStbBlockConfig::m_bFccCheck ? Draw(1, 65535) : Draw(0, 65535);
        block.Set(Stb::UdpSourcePort, static_cast<std::uint16_t>(port));
        block.Set(Stb::UdpSourcePortStep,
                  static_cast<std::uint16_t>(boxes > 1 ? Draw(0, (65535 - port) / (boxes - 1)) : 7));
        blocks.push_back(&block);
        ranges.insert(ranges.end(), viewed.begin(), viewed.end());
    }

    iptv::CIptvViewedChannels& MakeRange(const iptv::CIptvChannelBlock& block) {
        const std::uint32_t count = TestProject::GroupOf(block).GetNetworkBlock()->GetNetworkCount();
        const std::uint32_t step = Draw(1, count - 1);
        const std::uint32_t steps = Draw(1, (count - 1) / step);
        const std::uint32_t start = block.GetChannelStart() + Draw(0, count - 1 - steps * step);
        auto& range = project.MakeRange(block, start, start + steps * step);
        range.Set(Range::ChannelRangeStep, step);
        range.Set(Range::InitialChannelStart, start + Draw(0, steps * step));
        range.Set(Range::InitialChannelStep, step * Draw(0, steps));
        return range;
    }

    /// As wrong as possible, without effect.
    void AddWhatIsOff() {
        SwitchOff(project.MakeChannelBlock("Off", 0, 1));
        auto& profile = project.MakeProfile();
        profile.Set(Profile::Interval, 1u);
        SwitchOff(profile);
        auto& range = project.MakeRange(*channels[0], 5, 1);
        range.Set(Range::ChannelBlock, 0u);
        SwitchOff(range);
        SwitchOff(project.MakeStbBlock(project.MakeDevice(&project.MakePort(), 65535), profile, {&range}));
    }

    Reports Validate() {
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(project.Root(), context);
        return ReportsOf(context);
    }
};

TEST(ValidConfiguration, AValidProjectGivesNoReport) {
    EXPECT_TRUE(rc::check([] {
        RandomConfiguration configuration;
        EXPECT_EQ(configuration.Validate(), Reports{});
        StartTest(configuration.project);
        EXPECT_EQ(configuration.Validate(), Reports{}) << "under a test";
        RC_ASSERT(!testing::Test::HasFailure());
    }));
}

TEST(ValidConfiguration, ValidatorsTraceWhatTheyCheck) {
    Scene scene;
    LogCapture log;
    framework::ValidationContext context;
    framework::ValidatorRegistry::Instance().ValidateTree(scene.project.Root(), context);
    EXPECT_THAT(log.Take(),
                testing::IsSupersetOf(
                    {"content.mulvane.iptv Debug:  Validating IptvChannelBlock News group",
                     "content.mulvane.iptv Debug:  Validating Range for Boxes",
                     "content.mulvane.iptv Debug:  Validating IptvViewingProfileConfig Zap",
                     "content.mulvane.iptv Debug:  Validating IptvStbBlockConfig Boxes On Port 1"}));
}

}  // namespace
}  // namespace testing_aids
