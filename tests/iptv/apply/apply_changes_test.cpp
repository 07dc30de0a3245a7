// An apply looks only at what has changed. It must find as much as one that looks at everything.
#include <functional>
#include <random>

#include "apply_fixture.h"

namespace {

using namespace orv;  // NOLINT: a test
using framework::CScriptable;
using testing::IsEmpty;
using testing_aids::TestProject;
namespace relations = ids::relations;

class ApplyChangesTest : public testing_aids::TwoPortsTest {
  protected:
    std::size_t Draw(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
    }
    template <class T>
    T& Pick(const std::vector<T*>& from) {
        return *from[Draw(from.size())];
    }
    /// Everything counts as changed, although nothing has.
    void TouchProject() { project.Root().Set("Name", "Project " + std::to_string(++touched_)); }

    void Toggle(CScriptable& object) {
        object.Set(ids::Scriptable::LocalActive, !object.GetBool(ids::Scriptable::LocalActive));
    }
    void Move(core::CEmulatedDevice& device) {
        core::CPort* from = device.GetPort();
        device.RemoveObject(*from, relations::AffiliationPort);
        TestProject::Relate(device, from == &p1 ? p2 : p1, relations::AffiliationPort);
    }
    void ToggleRange(iptv::CIptvStbBlockConfig& block) {
        if (!block.RemoveObject(other_range, relations::StbChannel))
            TestProject::Relate(block, other_range, relations::StbChannel);
    }
    void AddBlock() {
        core::CEmulatedDevice& device = project.MakeDevice(Draw(2) ? &p1 : &p2);
        devices_.push_back(&device);
        blocks_.push_back(&project.MakeStbBlock(device, fast, {&range}));
    }
    void Delete(bool at_once) {
        if (devices_.size() < 3) return;
        core::CEmulatedDevice* device = devices_.back();
        devices_.pop_back();
        blocks_.pop_back();
        at_once ? device->Delete() : static_cast<void>(device->MarkDelete(true, true));
    }
    void Edit();

    iptv::CIptvViewedChannels& other_range = project.MakeRange(channels, 5, 8, "Other range");
    std::mt19937 random_{20260815};
    int touched_ = 0;
    std::vector<core::CEmulatedDevice*> devices_{&device_a, &device_b, &device_c};
    std::vector<iptv::CIptvStbBlockConfig*> blocks_{&a, &b, &c};
};

void ApplyChangesTest::Edit() {
    const std::function<void()> kinds[] = {
        [&] {
            Pick(blocks_).Set(ids::IptvStbBlockConfig::MinBufferLevel, static_cast<std::uint16_t>(Draw(100)));
        },
        [&] {
            Pick(devices_).Set(ids::EmulatedDevice::DeviceCount, static_cast<std::uint32_t>(1 + Draw(3)));
        },
        [&] { Toggle(Pick(blocks_)); },
        [&] { Toggle(Pick(devices_)); },
        [&] { Toggle(TestProject::McastOf(Pick(devices_))); },
        [&] { Move(Pick(devices_)); },
        [&] { ToggleRange(Pick(blocks_)); },
        [&] { Pick(blocks_).SetObjects({Draw(2) ? &fast : &slow}, relations::IptvProfile); },
        [&] { range.Set(ids::IptvViewedChannels::ChannelRangeStep, static_cast<std::uint32_t>(Draw(3))); },
        [&] { fast.Set(ids::IptvViewingProfileConfig::ZapDirection, static_cast<std::uint8_t>(Draw(2))); },
        [&] { iptv::RunningTest::SetRules({.fcc_check = Draw(2) != 0}); },
        [&] {
            Pick(blocks_).Set(ids::IptvStbBlockConfig::UdpSourcePort, static_cast<std::uint16_t>(Draw(3)));
        },
        [&] {
            far1.answer = Draw(2) ? [](const tm::Message&) { return testing_aids::Answer::Fault; }
                                  : std::function<testing_aids::Answer(const tm::Message&)>();
        },
        [&] { AddBlock(); },
        [&] { Delete(false); },
        [&] { Delete(true); },
    };
    kinds[Draw(std::size(kinds))]();
}

TEST_F(ApplyChangesTest, FindsWhatALookAtEverythingFinds) {
    int applied = 0;
    for (int step = 0; step < 1000; ++step) {
        SCOPED_TRACE("step " + std::to_string(step));
        Edit();
        const std::string failure = Apply();
        const bool sent_all = failure.empty();
        TakeJournal();
        TouchProject();
        const std::string failure_of_everything = Apply();
        // A port that refuses a request is not asked again for what it did not refuse.
        if (failure.find("refused") == std::string::npos) {
            ASSERT_EQ(failure, failure_of_everything);
        }
        if (sent_all) {
            ASSERT_THAT(TakeJournal(), IsEmpty());
            ++applied;
        }
    }
    EXPECT_GT(applied, 300);  // otherwise nothing has been tried
}

TEST_F(ApplyChangesTest, LeavesPortsAloneThatAnEditDoesNotConcern) {
    ASSERT_EQ(Apply(), "");
    ASSERT_EQ(Apply(), "");
    a.Set(ids::IptvStbBlockConfig::MinBufferLevel, std::uint16_t{77});
    testing_aids::LogCapture log;
    ASSERT_EQ(Apply(), "");
    std::vector<std::string> looked_at;
    for (const std::string& line : log.Take()) {
        if (line.find("CIptvMsgSetCln::PrepareState") != std::string::npos) looked_at.push_back(line);
    }
    EXPECT_THAT(looked_at, testing::ElementsAre(testing::HasSubstr(" for P1")));
}

}  // namespace
