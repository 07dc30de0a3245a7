// Connections: who is let in, who may do what, and what is said if not.
#include <gmock/gmock.h>

#include <cstdlib>

#include "bus/example_access.h"
#include "orv/bus/names.h"
#include "orv/bus/report_stream.h"
#include "thrown.h"

namespace {

using namespace orv::bus;  // NOLINT: they are what is tested
using namespace std::chrono_literals;
using namespace testing_aids;  // NOLINT
using testing::HasSubstr;

template <class Error = BusError>
std::string refusal_of(const ServerAccess& access) {
    return ThrownBy<Error>([&] { Connection(access, "test", {}); });
}

std::span<const std::byte> as_bytes(std::string_view text) {
    return std::as_bytes(std::span(text));
}

TEST(Connection, SaysWhyItCannotBeMadeAndNoSecret) {
    const NatsServer server("authorization: { user: u, password: right }");
    const NatsServer with_token("authorization: { token: right }");
    const std::string refused = " does not accept who we are: Authorization Violation";
    EXPECT_EQ(refusal_of<AccessRefused>({.url = server.url()}), server.url() + refused);
    EXPECT_EQ(refusal_of<AccessRefused>({.url = server.url(), .user = "u", .password = "wrong"}),
              server.url() + refused);
    EXPECT_EQ(refusal_of<AccessRefused>({.url = with_token.url(), .token = "wrong"}),
              with_token.url() + refused);
    EXPECT_EQ(refusal_of<AccessRefused>({.url = "nats://u:wrong@" + server.address()}),
              server.url() + refused);
    EXPECT_EQ(refusal_of({.url = "nats://u:se@cret@127.0.0.1:1"}), "nobody answers at nats://127.0.0.1:1");
    EXPECT_THAT(refusal_of({.url = server.url(), .credentials_file = "/nowhere"}), HasSubstr("'/nowhere'"));
    EXPECT_THAT(refusal_of({.url = "tls://" + server.address()}),
                HasSubstr("Secure Connection not available"));

    const ServerAccess good{.url = server.url(), .user = "u", .password = "right"};
    Connection connection(good, "test", {});
    EXPECT_EQ(ThrownBy<BusError>([&] {
                  ReportStream(
                      connection, "a.b", [](const Message&) {}, 2s);
              }),
              "the server has no JetStream: start it with --jetstream");
}

TEST(Connection, TrustsOnlyTheServersThatItShould) {
    const NatsServer other;
    const std::string folder = other.folder(), certificate = folder + "/cert.pem", key = folder + "/key.pem";
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=server -days 2 "
        "-addext subjectAltName=IP:127.0.0.1 -keyout " +
        key + " -out " + certificate + " 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const NatsServer server("tls: { cert_file: \"" + certificate + "\", key_file: \"" + key + "\" }");
    ServerAccess access{.url = "tls://" + server.address()};
    EXPECT_THAT(refusal_of(access), HasSubstr("self-signed certificate"));
    access.ca_file = certificate;
    EXPECT_EQ(refusal_of(access), "nothing thrown");
    access.url = "tls://localhost" + server.address().substr(server.address().find(':'));
    EXPECT_THAT(refusal_of(access), HasSubstr("ostname mismatch"));
}

TEST(Connection, LosesItsServerAndFindsItAgainUnlessItIsNotAcceptedAnyMore) {
    const auto users = [](const std::string& password) {
        return "authorization: { user: u, password: " + password + " }";
    };
    NatsServer server(users("first"));
    Watched watched;
    int lost = 0, back = 0, closed = 0;
    Connection connection({.url = server.url(), .user = "u", .password = "first"}, "test",
                          {.lost = [&](const std::string&) { watched.change([&] { ++lost; }); },
                           .back = [&] { watched.change([&] { ++back; }); },
                           .error = {},
                           .closed = [&] { watched.change([&] { ++closed; }); }});
    EXPECT_EQ(connection.request("nobody", {}, 10s).status, Answer::Status::NobodyListens);
    {
        const auto silent = connection.subscribe("silent", [](const Message&) {});
        EXPECT_EQ(connection.request("silent", {}, 10ms).status, Answer::Status::TimedOut);
    }
    const auto echo = connection.subscribe("echo", [&](const Message& message) {
        connection.publish(std::string(message.reply), message.data);
    });
    server.kill();
    ASSERT_TRUE(watched.wait_until([&] { return lost == 1; }));
    EXPECT_FALSE(connection.try_publish("echo", as_bytes("text")));
    EXPECT_EQ(ThrownBy<BusError>([&] { connection.request("echo", as_bytes("text"), 10s); }),
              "no connection to " + server.url());
    server.restart();
    ASSERT_TRUE(watched.wait_until([&] { return back == 1; }));
    EXPECT_EQ(connection.request("echo", as_bytes("text"), 10s).data.size(), 4U);
    EXPECT_EQ(connection.request_all("echo", as_bytes("text"), 50ms).size(), 1U);
    server.configure(users("second"));
    server.restart();
    ASSERT_TRUE(watched.wait_until([&] { return closed == 1; }));
}

TEST(Connection, MayGetAnswersThatNobodyWaitsForAnyMore) {
    const NatsServer server;
    Connection connection({.url = server.url()}, "test", {}), other({.url = server.url()}, "other", {});
    const auto talker = other.subscribe("talker", [&](const Message& message) {
        for (int i = 0; i < 4; ++i) other.publish(std::string(message.reply), message.data);
    });
    other.flush(10s);
    for (std::size_t i = 0; i < 500; ++i)
        ASSERT_EQ(connection.request("talker", as_bytes(std::string(i, 'x')), 10s).data.size(), i);
}

TEST(ExampleConfiguration, KeepsAgentsFromWhatIsNotTheirs) {
    const NatsServer server(example_configuration());
    Watched watched;
    std::vector<std::string> errors;
    Connection lounge(access_of(server, "lounge"), "test", {.error = [&](const std::string& text) {
                          watched.change([&] { errors.push_back(text); });
                      }});
    const std::vector<std::string> own = {lane_subject(Lane::Answers, "lounge", "s"),
                                          lane_subject(Lane::Reports, "lounge", "s"),
                                          control_subject("lounge"), inbox_prefix_of_agent("lounge") + ".x",
                                          std::string(kAnswersToDiscovery) + ".x"},
                                   own_heard = {discovery_subject(), control_subject("lounge"),
                                                lane_subject(Lane::Down, "lounge", "s"),
                                                inbox_prefix_of_agent("lounge") + ".x"};
    const std::vector<std::string> others = {lane_subject(Lane::Answers, "headend", "s"),
                                             lane_subject(Lane::Reports, "headend", "s"),
                                             lane_subject(Lane::Down, "lounge", "s"),
                                             control_subject("headend"),
                                             discovery_subject(),
                                             "$JS.API.STREAM.INFO.iptvtest",
                                             "$JS.ACK.iptvtest.x",
                                             inbox_prefix_of_agent("headend") + ".x",
                                             answers_of_agent("headend") + ".x",
                                             std::string(kInboxPrefixOfControllers) + ".x"},
                                   others_heard = {lane_subject(Lane::Down, "headend", "s"),
                                                   lane_subject(Lane::Reports, "headend", "s"),
                                                   lane_subject(Lane::Reports, "lounge", "s"),
                                                   control_subject("headend"),
                                                   "iptvtest.>",
                                                   "_INBOX.>",
                                                   inbox_prefix_of_agent("headend") + ".x"};
    for (const auto& subject : own) lounge.publish(subject, {});
    for (const auto& subject : own_heard) lounge.subscribe(subject, [](const Message&) {});
    lounge.flush(10s);
    const auto expect_refusal = [&](const std::string& what) {
        ASSERT_TRUE(watched.wait_until([&] { return !errors.empty(); })) << what;
        EXPECT_EQ(errors, std::vector{server.url() + ": Permissions Violation for " + what});
        watched.change([&] { errors.clear(); });
    };
    for (const auto& subject : others) {
        lounge.publish(subject, {});
        expect_refusal("Publish to \"" + subject + '"');
    }
    for (const auto& subject : others_heard) {
        lounge.subscribe(subject, [](const Message&) {});
        expect_refusal("Subscription to \"" + subject + '"');
    }

    const auto asked = lounge.subscribe(control_subject("lounge"), [&](const Message& message) {
        lounge.publish(std::string(message.reply), as_bytes("yes"));
    });
    lounge.flush(10s);
    Connection controller(access_of(server, "controller"), "test", {});
    EXPECT_EQ(controller.request(control_subject("lounge"), {}, 10s, answers_of_agent("lounge")).data.size(),
              3U);
    EXPECT_EQ(controller.request_all(control_subject("lounge"), {}, 100ms, kAnswersToDiscovery).size(), 1U);
    EXPECT_EQ(controller.request(control_subject("headend"), {}, 10s, answers_of_agent("headend")).status,
              Answer::Status::NobodyListens);
    // An agent that asks itself, to answer where it may not speak.
    Connection(access_of(server, "lounge"), "trick", {})
        .request(control_subject("lounge"), {}, 100ms, answers_of_agent("headend"));
    ASSERT_TRUE(watched.wait_until([&] { return !errors.empty(); }));
    EXPECT_THAT(errors.front(),
                HasSubstr("Permissions Violation for Publish to \"iptvtest.agent.headend.answers."));
}

}  // namespace
