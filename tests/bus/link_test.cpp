// Sessions over a real server, with the example of a server's configuration.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "bus/example_access.h"
#include "orv/bus/names.h"
#include "orv/bus/session_link.h"

namespace {

using namespace orv::bus;  // NOLINT: they are what is tested
using namespace std::chrono_literals;
using namespace testing_aids;  // NOLINT

/// Says which parcel it is, in any size; of bytes that cannot be packed.
Parcel make_parcel(std::uint32_t number, std::size_t bytes) {
    Parcel parcel{static_cast<std::uint8_t>(number), static_cast<std::uint16_t>(number), {}};
    parcel.data.resize(bytes);
    std::minstd_rand random(number + 1);
    for (std::byte& byte : parcel.data) byte = static_cast<std::byte>(random() >> 8);
    return parcel;
}

/// One end of a session of agent "lounge".
class End : public Watched {
  public:
    End(const ServerAccess& access, SessionLink::Side side, const Outbox::Limits& limits = {})
        : connection_(access, "test", {.back = [this] { on_back(); }}),
          link_(connection_, {side, "lounge", "session1", limits},
                {[this](Lane lane, Parcel parcel, SessionLink::Take take) {
                     on_parcel(lane, std::move(parcel), std::move(take));
                 },
                 {}}) {
        change([&] { is_there_ = true; });
    }
    ~End() {
        change([&] { is_there_ = false; });
    }

    void send(Lane lane, std::size_t count, std::size_t bytes) {
        for (std::size_t i = 0; i < count; ++i)
            ASSERT_TRUE(link_.send(lane, make_parcel(++sent_[lane], bytes + i)));
    }
    SessionLink& link() { return link_; }

    /// Parcels are kept in `held`, not taken.
    bool is_holding = false;
    std::vector<SessionLink::Take> held;
    std::map<Lane, std::uint32_t> received;
    std::function<void()> on_receive = [] {};

  private:
    void on_back() {
        change([&] {
            if (is_there_) link_.on_reconnected();
        });
    }
    void on_parcel(Lane lane, Parcel parcel, SessionLink::Take take) {
        on_receive();
        change([&] {
            const Parcel wanted = make_parcel(++received[lane], parcel.data.size());
            EXPECT_EQ(parcel.kind, wanted.kind) << "lane " << int(lane);
            EXPECT_TRUE(parcel.port == wanted.port && parcel.data == wanted.data);
            is_holding ? held.push_back(take) : take();
        });
    }

    std::map<Lane, std::uint32_t> sent_;
    bool is_there_ = false;
    Connection connection_;
    SessionLink link_;
};

/// What the server says about the stream, as JSON without blanks.
std::string describe_stream(const NatsServer& server) {
    Connection observer(access_of(server, "observer"), "test", {});
    const Answer answer = observer.request("$JS.API.STREAM.INFO.iptvtest", {}, 5s, kInboxPrefixOfControllers);
    return {reinterpret_cast<const char*>(answer.data.data()), answer.data.size()};
}

TEST(SessionLink, ParcelsArriveOnceAndInOrderWhateverHappensToTheServer) {
    NatsServer server(example_configuration());
    End controller(access_of(server, "controller"), SessionLink::Side::Controller);
    End agent(access_of(server, "lounge"), SessionLink::Side::Agent);
    const auto send_everywhere = [&] {
        agent.send(Lane::Reports, 30, 100'000);
        agent.send(Lane::Reports, 1, 10'000'000);
        agent.send(Lane::Answers, 30, 1'000);
        controller.send(Lane::Down, 30, 0);
    };
    const auto lose_stream = [&] {
        Connection observer(access_of(server, "observer"), "test", {});
        observer.request("$JS.API.STREAM.DELETE.iptvtest", {}, 5s, kInboxPrefixOfControllers);
    };
    const std::vector<std::function<void()>> disturbances = {
        [&] { server.restart(); },
        [&] {
            server.kill();
            send_everywhere();
            server.restart();
        },
        [&] {
            server.stop();
            // Nobody who sends waits for the server.
            const auto begin = std::chrono::steady_clock::now();
            send_everywhere();
            EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
            server.cont();
        },
        lose_stream,
        [] {},
    };
    std::uint32_t some = 1;
    for (const auto& disturb : disturbances) {
        send_everywhere();
        ASSERT_TRUE(controller.wait_until([&] { return controller.received[Lane::Reports] >= some; }));
        some += 31;
        disturb();
    }
    for (const Lane lane : {Lane::Answers, Lane::Reports})
        EXPECT_TRUE(agent.link().wait_until_taken(lane, 60s)) << agent.link().get_spooled_bytes(lane);
    EXPECT_TRUE(controller.link().wait_until_taken(Lane::Down, 60s));
    EXPECT_EQ(controller.received,
              (std::map<Lane, std::uint32_t>{{Lane::Answers, 210}, {Lane::Reports, 217}}));
    EXPECT_EQ(agent.received, (std::map<Lane, std::uint32_t>{{Lane::Down, 210}}));
    EXPECT_LT(controller.link().get_silence(), 5s);
    // Also what was repeated is acknowledged, soon.
    std::string stream = describe_stream(server);
    for (int i = 0; i < 100 && stream.find("\"messages\":0") == std::string::npos; ++i) {
        std::this_thread::sleep_for(100ms);
        stream = describe_stream(server);
    }
    EXPECT_THAT(stream, testing::HasSubstr("\"messages\":0"));
}

TEST(SessionLink, AControllerThatDoesNotTakeIsSentAWindowOnlyAndNothingTwice) {
    NatsServer server(example_configuration());
    End controller(access_of(server, "controller"), SessionLink::Side::Controller);
    End agent(access_of(server, "lounge"), SessionLink::Side::Agent,
              {.in_flight = 1 << 20, .spool = 4 << 20});
    controller.is_holding = true;
    std::atomic<bool> is_blocked = true;
    controller.on_receive = [&] { is_blocked.wait(true); };
    agent.send(Lane::Reports, 30, 100'000);
    EXPECT_FALSE(agent.link().send(Lane::Reports, make_parcel(0, 2 << 20)));
    // Longer than it takes until something counts as lost.
    std::this_thread::sleep_for(2s);
    is_blocked = false;
    is_blocked.notify_all();
    ASSERT_TRUE(controller.wait_until([&] { return controller.received[Lane::Reports] == 10; }));
    std::this_thread::sleep_for(2s);
    EXPECT_EQ(controller.received[Lane::Reports], 10U);
    EXPECT_THAT(describe_stream(server), testing::HasSubstr("\"last_seq\":10,"));
    controller.change([&] {
        controller.is_holding = false;
        for (const auto& take : controller.held) take();
    });
    EXPECT_TRUE(agent.link().wait_until_taken(Lane::Reports, 60s));
    EXPECT_EQ(controller.received[Lane::Reports], 30U);
    EXPECT_THAT(describe_stream(server), testing::HasSubstr("\"last_seq\":30,"));
}

}  // namespace
