// What ports report, kept and played back.
#include <fmt/format.h>

#include <regex>

#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::RunOptions;
using testing::IsEmpty;

class RecordingTest : public SessionTest {};

TEST_F(RecordingTest, ARecordingOfSeveralTestsReplaysEachInItsTest) {
    TestText text{.test = {"JoinFailThreshold: 100"}, .network = {"join_failure: 20 %"}};
    const std::string start =
        "  - IptvStartTestCommand:\n    TestEnv: REAL_WORLD\n    JoinFailThreshold: 100\n    TestDuration: ";
    const std::string wait = "  - IptvWaitForTestCompletionCommand:\n";
    text.sequence = start + "5\n" + wait + start + "7\n" + wait;
    RunOptions record, replay;
    record.record = replay.replay = folder / "two.jsonl";
    const RunOutcome first = Run(text.ToString(), record), second = Run(text.ToString(), replay);
    ASSERT_EQ(first.tests.size(), 2U);
    ASSERT_EQ(second.tests.size(), 2U);
    for (int i : {0, 1}) {
        EXPECT_EQ(first.tests[i].GetChannelChanges(), 4 * (5 + 2 * i));
        EXPECT_EQ(second.tests[i].GetChannelChanges(), first.tests[i].GetChannelChanges());
        EXPECT_EQ(second.tests[i].GetFailedJoins(), first.tests[i].GetFailedJoins());
    }
}

/// A recording with the events of one notification.
std::string Notification(const std::string& events, int time_ms = 5) {
    return fmt::format(
        R"({{"port": "Viewers", "time_ms": {}, "blocks": [{{"stb_block": "Boxes", "events": [{}]}}]}})",
        time_ms, events);
}

TEST_F(RecordingTest, EventsOfSomebodyElseAreBinned) {
    RunOptions options;
    options.replay = folder / "events.jsonl";
    WriteFile(
        options.replay,
        Notification(R"({"settop_index": 1, "viewed_channel": 2, "viewed_ip": "225.0.0.2",)"
                     R"("mcast_join_ts": 100000, "first_mcast_pkt_ts": 350000,)"
                     R"("mcast_leave_ts": 9000000, "last_mcast_pkt_ts": 9100000, "first_pkt_ts_valid": true,)"
                     R"("last_pkt_ts_valid": true, "total_mcast_packets": 100, "lost_mcast_packets": 3})") +
            "\n\n{\"notifications\": 1}\n");
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    ASSERT_EQ(outcome.tests.size(), 1U) << Mistakes(outcome);
    const auto& block = outcome.tests[0].stb_blocks.at(0);
    EXPECT_EQ(block.GetNumber("NumOfChannelChanges"), 1);
    EXPECT_EQ(block.GetNumber("AvgJoinLatency"), 2.5);
    EXPECT_EQ(block.GetNumber("AvgLeaveLatency"), 1);
    EXPECT_EQ(block.GetNumber("DroppedFrameCount"), 3);
}

TEST_F(RecordingTest, ARecordingWithMistakesIsRefusedWithAllOfThem) {
    RunOptions options;
    options.replay = folder / "bad.jsonl";
    WriteFile(options.replay,
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": []}\n"
              "not json\n"
              "{\"time_ms\": 5, \"blocks\": []}\n"
              "{\"port\": \"Viewer\", \"time_ms\": 5, \"blocks\": []}\n"
              "{\"port\": \"Viewers\", \"time_ms\": -5, \"blocks\": []}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5}\n"
              "{\"port\": \"Viewers\", \"time_ms\": 5, \"blocks\": [{\"stb_block\": \"Nobody\"}]}\n" +
                  Notification(R"({"viewed_chanel": 3})") + "\n" +
                  Notification(R"({"viewed_channel": 70000})") + "\n" +
                  Notification(R"({"viewed_ip": "here"})") + "\n" + Notification(R"({"settop_index": 5})") +
                  "\n" + Notification(R"({"settop_index": 4})") + "\n" +
                  Notification(R"({"settop_index": 4})") + "\n" + Notification(R"({"viewed_channel": 1})") +
                  "\n{\"notifications\": 11}\n\n" + Notification({}) + "\n");
    const RunOutcome outcome = Run(TestText{}.ToString(), options);
    EXPECT_EQ(outcome.end, RunEnd::BadInput);
    const std::string mistakes = std::regex_replace(Mistakes(outcome), std::regex("[^\n]*bad.jsonl"), "");
    EXPECT_EQ(
        mistakes,
        ":2:1: notification: the line is no JSON object\n"
        ":3:1: notification, port: the name of the port is missing\n"
        ":4:1: notification, port: \"Viewer\" is no port of the test; expected Viewers; did you mean "
        "Viewers?\n"
        ":5:1: notification, time_ms: the time is missing or wrong; expected milliseconds since the start\n"
        ":6:1: notification, blocks: the list is missing\n"
        ":7:1: notification, stb_block: \"Nobody\" is no STB block of the test\n"
        ":8:1: notification, events: an event has no member \"viewed_chanel\"; did you mean viewed_channel?\n"
        ":9:1: notification, events: viewed_channel: 70000 is wrong; expected a whole number from 0 to "
        "65535\n"
        ":10:1: notification, events: viewed_ip: \"here\" is wrong; expected an IPv4 or IPv6 address\n"
        ":11:1: notification, events: settop_index: the block has no STB 5; expected a number from 1 to 4\n"
        ":13:1: notification: the line repeats line 12\n"
        ":14:1: notification, events: settop_index: the block has no STB 0; expected a number from 1 to 4\n"
        ":15:1: notification, notifications: the recording has 13 notifications, not 11\n"
        ":17:1: notification: there is something behind the last line of the recording\n");
    std::filesystem::resize_file(options.replay, std::uintmax_t{400} << 20);
    EXPECT_THAT(Mistakes(Run(TestText{}.ToString(), options)),
                testing::HasSubstr(":18:1: notification: the line is longer than 256 MiB"));
}

TEST_F(RecordingTest, ARecordingThatWasCutOffIsPlayedBackOnlyWhenAskedFor) {
    const std::string text = TestText{}.ToString();
    RunOptions options;
    options.record = folder / "all.jsonl";
    Run(text, options);
    const std::string all = ReadFile(options.record);
    options = {};
    options.replay = folder / "cut.jsonl";
    const std::size_t end = all.rfind('\n', all.size() - 2) + 1, last_line = all.rfind('\n', end - 2) + 1;
    struct Case {
        std::size_t size;
        bool may_be_cut;
        RunEnd end;
        std::size_t warnings;
    };
    for (const Case& c : std::initializer_list<Case>{{all.size(), false, RunEnd::Passed, 0},
                                                     {all.size() - 1, false, RunEnd::Passed, 0},
                                                     {all.size(), true, RunEnd::Passed, 0},
                                                     {end, false, RunEnd::BadInput, 0},
                                                     {end, true, RunEnd::Passed, 1},
                                                     {last_line + 20, false, RunEnd::BadInput, 0},
                                                     {last_line + 20, true, RunEnd::Passed, 1}}) {
        WriteFile(options.replay, all.substr(0, c.size));
        options.replay_incomplete = c.may_be_cut;
        const RunOutcome outcome = Run(text, options);
        EXPECT_EQ(outcome.end, c.end) << c.size << Mistakes(outcome);
        EXPECT_EQ(outcome.warnings.size(), c.warnings) << c.size;
    }
}

TEST_F(RecordingTest, ARecordingReplacesLivePorts) {
    TestText text;
    RunOptions record, replay;
    record.record = replay.replay = folder / "recorded.jsonl";
    const RunOutcome first = Run(text.ToString(), record);
    std::string live = text.ToString();
    live.replace(live.find("- Port: Viewers\n"), 16, "- Port: Viewers\n    Location: linux://nosuch0\n");
    const RunOutcome second = Run(live, replay);
    EXPECT_EQ(second.end, RunEnd::Passed) << Mistakes(second) << testing::PrintToString(second.errors);
    ASSERT_EQ(second.tests.size(), 1U);
    EXPECT_EQ(second.tests[0].GetChannelChanges(), first.tests.at(0).GetChannelChanges());
    EXPECT_THAT(second.live_ports, IsEmpty());
}

}  // namespace
