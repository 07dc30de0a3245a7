// Several ports whose runs are processed on several threads.
#include "orv/il/run_pool.h"

#include <deque>
#include <latch>
#include <thread>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::RunPool;

/// All messages of some ports, in the order in which they were sent: the port, and a hash of the bytes.
using Sent = std::vector<std::pair<int, std::size_t>>;

Scenario ScenarioOf(int port) {
    Scenario scenario;
    scenario.port_name = "Port " + std::to_string(port);
    scenario.test.test_duration = 2000;
    scenario.interval_ms = 500;
    scenario.profile.zap_direction = ZapDirection::DIR_RANDOM;
    scenario.profile.leave_to_leave_delay = 150;
    scenario.profile.leave_to_join_delay = 5;
    scenario.blocks[0].settop_count = 800;
    scenario.network.behaviour.loss = 0.01;
    scenario.network.behaviour.jitter = {orv::il::Distribution::Kind::Normal, 5, 5};
    switch (port) {
        case 1:  // more records than fit into one notification
            scenario.interval_ms = 1500;
            scenario.profile.leave_to_leave_delay = 20;
            break;
        case 2:
            scenario.interval_ms = 200;
            break;
        case 3:
            scenario.faults = {{.kind = orv::il::Fault::Kind::SpoilNotification, .occurrence = 3}};
            break;
    }
    return scenario;
}

Sent RunPorts(RunPool* pool) {
    FakeTimeline timeline;
    Sent sent;
    std::deque<Scenario> scenarios;
    std::vector<std::unique_ptr<Peer>> peers;
    bool is_sent = true;
    for (int number = 0; number < 5; ++number) {
        Scenario& scenario = scenarios.emplace_back(ScenarioOf(number));
        scenario.network.is_sent = [&is_sent](auto&&...) { return is_sent; };
        const auto make = [&scenario, &sent, &timeline, pool, number](orv::il::ITimeline&, auto send,
                                                                      auto hang_up) {
            const auto note = [&sent, number, send](std::vector<std::byte> bytes) {
                const auto* begin = reinterpret_cast<const char*>(bytes.data());
                sent.emplace_back(number, std::hash<std::string_view>{}({begin, bytes.size()}));
                send(std::move(bytes));
            };
            return std::make_unique<orv::il::SimulatedPort>(
                orv::il::SimulatedPort::Setup{scenario.port_name, scenario.faults, {}, pool},
                scenario.network, timeline, note, hang_up);
        };
        peers.push_back(std::make_unique<Peer>(scenario, make));
    }
    for (auto& peer : peers) peer->Configure();
    for (auto& peer : peers) EXPECT_EQ("", peer->StartAgain());
    timeline.RunTo(milliseconds(700));
    peers[0]->Change(is_sent);
    timeline.RunTo(milliseconds(1000));
    peers[4]->Stop();
    timeline.RunTo(milliseconds(1200));
    peers[0].reset();
    timeline.RunTo(milliseconds(5000));
    for (std::size_t i = 1; i < peers.size(); ++i) EXPECT_EQ(1u, peers[i]->end_times.size());
    return sent;
}

TEST(RunPool, MessagesDoNotDependOnTheNumberOfThreads) {
    const Sent alone = RunPorts(nullptr);
    EXPECT_LT(60u, alone.size());
    for (std::size_t threads : {1, 3}) {
        RunPool pool(threads);
        EXPECT_EQ(alone, RunPorts(&pool)) << threads;
    }
}

/// Waits, for a while, until all of the latch's members are being processed.
struct Meeting : RunPool::Member {
    Meeting(std::latch& all, std::size_t views) : all_(all), views_(views) {}

    orv::il::Time due() const override { return due_; }
    std::size_t expected_views() const override { return views_; }
    void process() noexcept override {
        due_ = orv::il::kNever;
        thread_ = std::this_thread::get_id();
        all_.count_down();
        for (int i = 0; views_ > 0 && i < 30'000 && !all_.try_wait(); ++i)
            std::this_thread::sleep_for(milliseconds(1));
    }

    std::latch& all_;
    std::size_t views_;
    orv::il::Time due_ = 5;
    std::thread::id thread_;
};

TEST(RunPool, OnlyMuchWorkIsShared) {
    for (std::size_t views : {0, 1000}) {
        std::latch all(2);
        Meeting first(all, views), second(all, views), later(all, views);
        later.due_ = 7;
        RunPool pool(2);
        for (auto* member : {&first, &later, &second}) pool.add(*member);
        pool.process(4);
        EXPECT_EQ(std::thread::id{}, first.thread_);
        pool.process(6);
        EXPECT_EQ(views > 0, first.thread_ != second.thread_);
        EXPECT_EQ(std::thread::id{}, later.thread_);
    }
}

}  // namespace
