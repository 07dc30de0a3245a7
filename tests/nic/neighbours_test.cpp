#include "neighbours.h"

#include <gtest/gtest.h>

#include "emulated_network.h"
#include "live/sample_frames.h"
#include "orv/live/frame.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace orv::live;     // NOLINT

class LastFrame : public orv::nic::FrameSink {
  public:
    bool send(std::span<const std::byte> frame) override {
        hex = hex_text(frame);
        return ++frames > 0;
    }
    std::string hex;
    int frames = 0;
};

TEST(Neighbours, AnswersForItsHosts) {
    orv::nic::Neighbours neighbours;
    for (const bool is_v6 : {false, true}) {
        neighbours.add(host_of(0, {}, is_v6));
        neighbours.add(host_of(1, {100}, is_v6));
        neighbours.add(host_of(2, {100, 7}, is_v6));
    }
    const HostAddress own = host_of(0);
    const struct {
        std::string target;
        std::vector<std::uint16_t> vlans;
        int answers;  ///< the host, by the last byte of its address; 0 for none
    } cases[] = {
        {"10.0.0.1", {}, 1},        {"10.0.0.2", {100}, 2},        {"10.0.0.3", {100, 7}, 3},
        {"10.0.0.1", {100}, 0},     {"10.0.0.2", {}, 0},           {"10.0.0.2", {101}, 0},
        {"10.0.0.3", {7, 100}, 0},  {"10.0.0.4", {}, 0},           {"2001:db8::1", {}, 1},
        {"2001:db8::2", {100}, 2},  {"2001:db8::3", {100, 7}, 3},  {"2001:db8::3", {}, 0},
        {"fe80::ff:fe00:1", {}, 1}, {"fe80::ff:fe00:1", {100}, 0}, {"fe80::ff:fe00:3", {100, 7}, 3},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.target);
        HostAddress asker = host_of(200, test.vlans, ip(test.target).IsV6());
        std::array<std::byte, kMaxFrameLength> frame;
        const auto ask = [&](const HostAddress& from) {
            const std::size_t length = from.ip.IsV6()
                                           ? WriteNeighborSolicitation(frame, from, ip(test.target))
                                           : WriteArpRequest(frame, from, ip(test.target));
            const auto parsed = ParseFrame(std::span(frame).first(length));
            EXPECT_TRUE(parsed);
            LastFrame sink;
            if (parsed) neighbours.on_frame(*parsed, 0, sink);
            return sink.hex;
        };
        std::string expected;
        if (test.answers > 0) {
            HostAddress answering =
                host_of(static_cast<std::uint8_t>(test.answers - 1), test.vlans, asker.ip.IsV6());
            answering.ip = ip(test.target);
            const std::size_t length = asker.ip.IsV6()
                                           ? WriteNeighborAdvertisement(frame, answering, asker.mac, asker.ip)
                                           : WriteArpReply(frame, answering, asker.mac, asker.ip);
            expected = hex_text(std::span(frame).first(length));
        }
        EXPECT_EQ(expected, ask(asker));
        // A host's own announcement, received back, is not a request.
        if (test.answers > 0) {
            asker.mac = host_of(static_cast<std::uint8_t>(test.answers - 1)).mac;
            asker.ip = ip(test.target);
            EXPECT_EQ("", ask(asker));
        }
    }
    LastFrame sink;
    neighbours.clear();
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteArpRequest(frame, host_of(200), own.ip);
    neighbours.on_frame(*ParseFrame(std::span(frame).first(length)), 0, sink);
    EXPECT_EQ("", sink.hex);
}

TEST(Neighbours, AnswersNoFlood) {
    orv::nic::Neighbours neighbours;
    neighbours.add(host_of(0));
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length = WriteArpRequest(frame, host_of(200), host_of(0).ip);
    const auto question = *ParseFrame(std::span(frame).first(length));
    LastFrame sink;
    for (int i = 0; i < 10'000; ++i) neighbours.on_frame(question, i * 10'000, sink);  // 100 ms
    EXPECT_EQ(1000, sink.frames);
}

}  // namespace
