// When hosts ask for addresses, and what is told of them.
#include <gmock/gmock.h>

#include <algorithm>

#include "fake_timeline.h"
#include "orv/il/address_sessions.h"
#include "orv/il/port_fault.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace std::chrono_literals;
using orv::il::AddressSessions;
using orv::live::AddressClient;
using Handles = std::vector<std::uint32_t>;
using State = AddressClient::State;

/// Does what a test says.
struct ScriptedClient : AddressClient {
    using Log = std::vector<std::pair<orv::il::Nanoseconds, std::string>>;

    ScriptedClient(FakeTimeline& timeline, Log& log, std::function<void()> changed)
        : timeline_(timeline), log_(log), changed_(std::move(changed)) {}

    void Bind() override {
        log_.emplace_back(timeline_.GetNow(), "bind");
        Become(State::Binding);
    }
    void Release() override {
        if (state_ == State::Idle) return;
        log_.emplace_back(timeline_.GetNow(), "release");
        given_.reset();
        Become(releases_slowly && state_ == State::Bound ? State::Releasing : State::Idle);
    }
    void OnDatagram(const orv::live::IpAddress&, const orv::live::MacAddress&,
                    std::span<const std::byte>) override {}
    void OnAddressUsed(const orv::live::IpAddress&, const orv::live::MacAddress&) override {}
    State GetState() const override { return state_; }
    bool HasLease() const override { return given_.has_value(); }
    const std::optional<orv::live::GivenAddress>& GetGiven() const override { return given_; }
    const std::string& GetFailure() const override { return failure_; }
    const orv::live::AddressCounts& GetCounts() const override { return counts_; }

    void Become(State state, const std::string& why = {}) {
        state_ = state;
        failure_ = why;
        if (state == State::Bound) given_ = {orv::live::IpAddress::V4(0x0a000007), 24};
        changed_();
    }
    bool releases_slowly = false;

  private:
    FakeTimeline& timeline_;
    Log& log_;
    const std::function<void()> changed_;
    State state_ = State::Idle;
    std::optional<orv::live::GivenAddress> given_;
    std::string failure_;
    orv::live::AddressCounts counts_{.sent = 2};
};

struct ScriptedNetwork : orv::il::AddressNetwork {
    explicit ScriptedNetwork(FakeTimeline& timeline) : timeline_(timeline) {}

    Clients make_clients(const hostaddr_1_bll::addressBlock_s& block, const orv::il::PortConfiguration&,
                         std::uint64_t, Changed changed) override {
        Clients made;
        clients.clear();
        for (std::uint32_t i = 0; i < block.hosts.size(); ++i) {
            auto client = std::make_unique<ScriptedClient>(timeline_, log, [changed, i] { changed(i); });
            clients.push_back(client.get());
            made.push_back(std::move(client));
        }
        return made;
    }
    void host_changed(const hostaddr_1_bll::addressBlock_s&, std::uint32_t, const Client&) override {
        ++changes;
    }
    void forget(const hostaddr_1_bll::addressBlock_s&) override { ++forgotten; }

    ScriptedClient::Log log;
    std::vector<ScriptedClient*> clients;
    int changes = 0, forgotten = 0;

  private:
    FakeTimeline& timeline_;
};

struct SessionsTest : testing::Test {
    void Configure(std::size_t hosts, std::uint32_t rate, std::uint32_t outstanding) {
        hostaddr_1_bll::addressBlock_s block;
        block.handle = 7;
        block.hosts.resize(hosts);
        block.sessions_per_second = rate;
        block.outstanding_sessions = outstanding;
        sessions.configure({block}, {});
    }
    /// Numbers of idle, binding, bound, releasing and failed hosts.
    std::vector<std::uint32_t> States() const {
        const auto counts = sessions.count(7);
        return {counts.idle, counts.binding, counts.bound, counts.releasing, counts.failed};
    }
    std::size_t CountDone(const std::string& what) const {
        return static_cast<std::size_t>(
            std::ranges::count_if(network.log, [&](const auto& entry) { return entry.second == what; }));
    }

    FakeTimeline timeline;
    ScriptedNetwork network{timeline};
    AddressSessions sessions{timeline, network, 1};
    using V = std::vector<std::uint32_t>;
};

TEST_F(SessionsTest, BeginNoFasterThanTheirRateAndWaitForAnswers) {
    Configure(10, 100, 4);
    sessions.bind({7});
    EXPECT_EQ(States(), (V{0, 10, 0, 0, 0}));  // who waits for his turn is on his way
    timeline.RunTo(19ms);
    EXPECT_EQ(CountDone("bind"), 2U);
    timeline.RunTo(1s);
    EXPECT_EQ(CountDone("bind"), 4U);  // nobody has been answered
    for (std::size_t i = 0; i < 10; ++i) {
        network.clients[i]->Become(i == 3 ? State::Failed : State::Bound, i == 3 ? "nobody answers" : "");
        timeline.RunTo(timeline.GetNow() + 20ms);
    }
    EXPECT_EQ(States(), (V{0, 0, 9, 0, 1}));
    EXPECT_EQ(sessions.count(7).first_failure, "host 4: nobody answers");
    EXPECT_EQ(sessions.count(7).sent, 20U);
    const auto hosts = sessions.describe(7, 2, 3);
    ASSERT_EQ(hosts.size(), 3U);
    EXPECT_EQ(hosts[0].bind_nsec,
              static_cast<std::uint64_t>(std::chrono::nanoseconds(1s + 40ms - 20ms).count()));
    EXPECT_EQ(hosts[0].prefix_length, 24);
    EXPECT_EQ(hosts[1].bind_nsec, 0U);
    EXPECT_EQ(hosts[1].failure, "nobody answers");
    EXPECT_GT(hosts[1].address.type, 1U);
    // Those that have failed ask again, the others have what they want.
    sessions.bind({7});
    EXPECT_EQ(CountDone("bind"), 11U);
    EXPECT_EQ(sessions.count(7).first_failure, "");
}

TEST_F(SessionsTest, GiveBackAtTheSameRateAndStopAskingAtOnce) {
    Configure(4, 100, 1);
    sessions.bind({7});
    network.clients[0]->Become(State::Bound);
    timeline.RunTo(10ms);
    sessions.release({7});
    timeline.RunTo(1s);
    EXPECT_EQ(States(), (V{4, 0, 0, 0, 0}));
    EXPECT_EQ(CountDone("bind"), 2U);  // those that were waiting for their turn do not ask any more
    EXPECT_EQ(CountDone("release"), 2U);
    // Who still gives back what it has asks anew once that is done.
    sessions.bind({7});
    network.clients[0]->Become(State::Bound);
    network.clients[0]->releases_slowly = true;
    sessions.release({7});
    timeline.RunTo(2s);
    sessions.bind({7});
    timeline.RunTo(3s);
    const std::size_t before = CountDone("bind");
    EXPECT_EQ(States(), (V{0, 4, 0, 0, 0}));
    network.clients[0]->Become(State::Idle);
    timeline.RunTo(4s);
    EXPECT_EQ(CountDone("bind"), before + 1);
}

TEST_F(SessionsTest, NobodyBeginsWhileTheOthersAreStopped) {
    Configure(9, 0, 2);
    sessions.bind({7});
    sessions.release({7});
    timeline.RunTo(1s);
    EXPECT_EQ(CountDone("bind"), 2U);
    EXPECT_EQ(States(), (V{9, 0, 0, 0, 0}));
}

TEST_F(SessionsTest, ALostAddressIsAFailureThatIsTold) {
    Configure(2, 0, 0);
    sessions.bind({7});
    for (ScriptedClient* client : network.clients) client->Become(State::Bound);
    network.clients[1]->Become(State::Binding, "its lease was not renewed");
    EXPECT_EQ(States(), (V{0, 1, 1, 0, 0}));
    EXPECT_EQ(sessions.count(7).first_failure, "host 2: its lease was not renewed");
    timeline.RunTo(5s);
    network.clients[1]->Become(State::Bound);
    EXPECT_EQ(sessions.describe(7, 1, 1)[0].bind_nsec, 5'000'000'000U);
    EXPECT_TRUE(sessions.give_back_some(1));
    EXPECT_EQ(States(), (V{1, 0, 1, 0, 0}));
    EXPECT_FALSE(sessions.give_back_some(2));
    EXPECT_EQ(States(), (V{2, 0, 0, 0, 0}));
}

TEST_F(SessionsTest, BlocksAreReplacedAndRemovedAndUnknownOnesRefused) {
    Configure(2, 0, 0);
    sessions.bind({7});
    Configure(3, 0, 0);
    EXPECT_EQ(CountDone("release"), 2U);
    EXPECT_EQ(States(), (V{3, 0, 0, 0, 0}));
    EXPECT_THROW(sessions.bind({7, 8}), orv::il::PortFault);
    EXPECT_EQ(CountDone("bind"), 2U);  // all or none
    sessions.remove({7});
    EXPECT_EQ(network.forgotten, 2);
    EXPECT_THROW(sessions.count(7), orv::il::PortFault);
    EXPECT_EQ(timeline.GetPending(), 0U);
}

}  // namespace
