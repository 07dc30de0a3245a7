// The core of a port, in a world of the test's own.
#include "orv/il/port_core.h"

#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::Time;

/// Has something left to record twice after its end, 40 ms apart.
class SlowRun : public orv::il::Run {
  public:
    SlowRun(Time start, orv::il::ResultReport& report, std::vector<Time>& finished)
        : end_(start + 10 * orv::il::kSecond), report_(report), finished_(finished) {
        report_.begin({kBlock});
    }
    Time end() const override { return end_; }
    void run_to(Time) override {}
    void channels_change(Time, const std::function<void()>& change) override { change(); }
    Time finish(Time time) override {
        finished_.push_back(time / orv::il::kMillisecond);
        report_.add_event(0);
        return ++calls_ == 3 ? orv::il::kNever : time + 40 * orv::il::kMillisecond;
    }

  private:
    Time end_;
    orv::il::ResultReport& report_;
    std::vector<Time>& finished_;
    int calls_ = 0;
};

class SlowWorld : public orv::il::World {
  public:
    std::unique_ptr<orv::il::Run> start(const orv::il::PortConfiguration&, const orv::il::TestStart&,
                                        Time now, orv::il::ResultReport& report) override {
        return std::make_unique<SlowRun>(now, report, finished);
    }
    std::vector<Time> finished;  ///< ms
};

class SlowPort : public orv::il::ISoftwarePort {
  public:
    SlowPort(orv::il::ITimeline& timeline, Send send, HangUp hang_up)
        : core("Slow", {}, 1, world, timeline, std::move(send), std::move(hang_up)) {}
    void Receive(const std::vector<std::byte>& bytes) override { core.receive(bytes); }
    void ChannelsChange(const std::function<void()>& change) override { core.channels_change(change); }

    SlowWorld world;
    orv::il::PortCore core;
};

class PortCore : public ::testing::Test {
  protected:
    Peer peer{Scenario(), [](orv::il::ITimeline& timeline, auto send, auto hang_up) {
                  return std::make_unique<SlowPort>(timeline, std::move(send), std::move(hang_up));
              }};
    SlowPort& GetPort() { return static_cast<SlowPort&>(*peer.port); }
};

TEST_F(PortCore, AnnouncesTheEndAfterTheLastRecord) {
    peer.Start();
    peer.RunTo(10'030);
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.StartAgain());
    peer.Stop();
    peer.Configure();  // new registrations are no reason to wake up at other times
    int changes = 0;
    peer.port->ChannelsChange([&changes] { ++changes; });
    EXPECT_EQ(1, changes);
    peer.RunTo(10'079);
    EXPECT_TRUE(peer.end_times.empty());
    peer.RunTo(20'000);
    EXPECT_EQ((std::vector<Time>{10'000, 10'040, 10'080}), GetPort().world.finished);
    const std::vector times{10'000, 10'040, 10'080};
    EXPECT_EQ(times, peer.report_times);
    EXPECT_EQ(std::vector{10'080}, peer.end_times);
}

TEST_F(PortCore, ATestThatIsEndingCanBeAbandoned) {
    peer.Start();
    peer.RunTo(500);
    peer.Stop();
    EXPECT_EQ("", peer.FaultOf(create_req_Reset));
    EXPECT_EQ(0u, peer.timeline.GetPending());
    // The next one starts, and ends with the port.
    peer.Start();
    peer.Stop();
    EXPECT_EQ(1u, peer.timeline.GetPending());
    peer.port.reset();
    EXPECT_EQ(0u, peer.timeline.GetPending());
    EXPECT_TRUE(peer.end_times.empty());
}

TEST_F(PortCore, EveryChangeOfStacksIsANewRevision) {
    const std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks(1);
    const std::vector<std::uint32_t> handle{5}, none;
    std::uint64_t last = GetPort().core.configuration().interfaces.revision;
    const auto is_new = [&](auto create, const auto&... values) {
        EXPECT_EQ("", peer.FaultOf(create, values...));
        const std::uint64_t revision = GetPort().core.configuration().interfaces.revision;
        EXPECT_LT(last, revision);
        last = revision;
    };
    is_new(create_req_ConfigInterfaces, stacks, true);
    is_new(create_req_ConfigInterfacesWithIlHandle, handle, stacks, none, true);
    is_new(create_req_UpdateInterfaces, handle, stacks, none, true);
    is_new(create_req_DeleteInterfaces, handle, true);
    is_new(create_req_Reset);
}

}  // namespace
