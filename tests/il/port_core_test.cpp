// The core of a port, in a world of the test's own.
#include "orv/il/port_core.h"

#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::Time;
using orv::tm::Message;

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
    peer.RunTo(milliseconds(10'030));
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.FaultOf(peer.StartRequest()));
    peer.Stop();
    peer.Configure();  // new registrations are no reason to wake up at other times
    int changes = 0;
    peer.port->ChannelsChange([&changes] { ++changes; });
    EXPECT_EQ(1, changes);
    peer.RunTo(milliseconds(10'079));
    EXPECT_TRUE(peer.end_times.empty());
    peer.RunTo(milliseconds(20'000));
    EXPECT_EQ((std::vector<Time>{10'000, 10'040, 10'080}), GetPort().world.finished);
    const std::vector times{milliseconds(10'000), milliseconds(10'040), milliseconds(10'080)};
    EXPECT_EQ(times, peer.report_times);
    EXPECT_EQ(std::vector{milliseconds(10'080)}, peer.end_times);
}

TEST_F(PortCore, ATestThatIsEndingCanBeAbandoned) {
    Message reset;
    create_req_Reset(&reset);
    peer.Start();
    peer.RunTo(milliseconds(500));
    peer.Stop();
    EXPECT_EQ("", peer.FaultOf(std::move(reset)));
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
    Message requests[5];
    const std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks(1);
    iptvcd_1_bll::create_req_ConfigInterfaces(&requests[0], stacks, true);
    iptvcd_1_bll::create_req_ConfigInterfacesWithIlHandle(&requests[1], {5}, stacks, {}, true);
    iptvcd_1_bll::create_req_UpdateInterfaces(&requests[2], {5}, stacks, {}, true);
    iptvcd_1_bll::create_req_DeleteInterfaces(&requests[3], {5}, true);
    create_req_Reset(&requests[4]);
    std::uint64_t last = GetPort().core.configuration().interfaces.revision;
    for (Message& request : requests) {
        const std::string name = request.get_request_name();
        EXPECT_EQ("", peer.FaultOf(std::move(request)));
        EXPECT_LT(last, GetPort().core.configuration().interfaces.revision) << name;
        last = GetPort().core.configuration().interfaces.revision;
    }
}

}  // namespace
