#include "reception.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "live/sample_frames.h"
#include "orv/live/stream_packet.h"

namespace {

using namespace orv::nic;  // NOLINT: a test
using orv::il::kMillisecond;
using orv::il::kNever;
using testing_aids::ip;

class ReceptionTest : public ::testing::Test {
  protected:
    /// One millisecond after the last one.
    bool add(Reception& reception, std::span<const std::byte> payload, const std::string& source = "10.0.0.1",
             std::uint16_t port = 5004) {
        return reception.add(now_ += kMillisecond, {ip(source), ip("239.1.1.1"), port, 5004, payload});
    }
    bool add_signed(Reception& reception, std::uint64_t sequence, std::uint32_t stream = 1,
                    const std::string& source = "10.0.0.1", bool is_damaged = false) {
        std::vector<std::byte> payload(orv::live::kStreamPayloadLength);
        orv::live::WriteStreamPacket(payload, {stream, sequence, {}});
        if (is_damaged) payload[100] ^= std::byte{1};
        return add(reception, payload, source);
    }
    void add_rtp(Reception& reception, std::uint16_t sequence, std::uint8_t ssrc = 1,
                 std::uint16_t port = 5004) {
        std::vector<std::byte> payload(20);
        payload[0] = std::byte{0x80};
        payload[2] = static_cast<std::byte>(sequence >> 8);
        payload[3] = static_cast<std::byte>(sequence);
        payload[11] = std::byte{ssrc};
        EXPECT_TRUE(add(reception, payload, "10.0.0.1", port));
    }
    static std::string text_of(const Reception& reception) {
        const orv::il::Packets& packets = reception.packets();
        return fmt::format("{} received, {} lost, {} reordered, {} damaged", packets.received, packets.lost,
                           packets.reordered, packets.payload_errors);
    }
    orv::il::Time now_ = 0;
};

TEST_F(ReceptionTest, SignedPackets) {
    Reception reception(Numbering::Signature);
    add_signed(reception, 100);
    add_signed(reception, 103);
    EXPECT_EQ("2 received, 2 lost, 0 reordered, 0 damaged", text_of(reception));
    // Another stream, and the same one of another sender, have numbers of their own.
    add_signed(reception, 7, 2);
    add_signed(reception, 500, 1, "10.0.0.2");
    add_signed(reception, 501, 1, "10.0.0.2");
    EXPECT_EQ("5 received, 2 lost, 0 reordered, 0 damaged", text_of(reception));
    // What is damaged elsewhere has its place; damaged numbers make neither losses nor a new count.
    add_signed(reception, 104, 1, "10.0.0.1", true);
    add_signed(reception, 90'000, 1, "10.0.0.1", true);
    add_signed(reception, 90'001, 1, "10.0.0.1", true);
    add_signed(reception, 5, 99, "10.0.0.1", true);
    add_signed(reception, 105);
    EXPECT_EQ("10 received, 2 lost, 0 reordered, 4 damaged", text_of(reception));
    const orv::il::Time last = reception.last();
    EXPECT_FALSE(add(reception, std::vector<std::byte>(1316)));
    EXPECT_EQ("10 received, 2 lost, 0 reordered, 4 damaged", text_of(reception));
    EXPECT_EQ(last, reception.last());
    // After a time without listeners nothing is missing.
    reception.restart();
    add_signed(reception, 200);
    EXPECT_EQ("11 received, 2 lost, 0 reordered, 4 damaged", text_of(reception));
}

TEST_F(ReceptionTest, ForeignPackets) {
    Reception reception(Numbering::Rtp);
    for (const std::uint16_t sequence : {65534, 65535, 1, 0}) add_rtp(reception, sequence);
    EXPECT_EQ("4 received, 0 lost, 1 reordered, 0 damaged", text_of(reception));
    add_rtp(reception, 3000, 2);
    add_rtp(reception, 3005, 1, 6000);
    add_rtp(reception, 3, 1);
    EXPECT_EQ("7 received, 1 lost, 1 reordered, 0 damaged", text_of(reception));
    EXPECT_TRUE(add(reception, std::vector<std::byte>(1316, std::byte{0x47})));  // a bare transport stream
    EXPECT_TRUE(add_signed(reception, 4));
    EXPECT_EQ("9 received, 1 lost, 1 reordered, 0 damaged", text_of(reception));
}

TEST_F(ReceptionTest, OfManySourcesAtATimeSixteenHaveNumbers) {
    Reception reception(Numbering::Signature);
    for (std::uint32_t stream = 0; stream < 100; ++stream) {
        add_signed(reception, 10, stream);
        add_signed(reception, 12, stream);
    }
    EXPECT_EQ("200 received, 16 lost, 0 reordered, 0 damaged", text_of(reception));
    // One after the other all have: each takes the place of the one that has been silent longest.
    now_ += 990 * kMillisecond;
    add_signed(reception, 14, 15);
    EXPECT_EQ("201 received, 17 lost, 0 reordered, 0 damaged", text_of(reception));
    for (std::uint32_t stream = 100; stream < 200; ++stream) {
        now_ += orv::il::kSecond / 10;
        add_signed(reception, 10, stream);
        add_signed(reception, 12, stream);
        add_signed(reception, 14 + 2 * (stream - 99), 15);
    }
    EXPECT_EQ("501 received, 217 lost, 0 reordered, 0 damaged", text_of(reception));
}

TEST_F(ReceptionTest, KnowsWhetherPacketsStillCome) {
    Reception reception(Numbering::Signature);
    EXPECT_FALSE(reception.flows(0));
    EXPECT_EQ(kNever, reception.last());
    for (std::uint64_t i = 0; i < 100; ++i) add_signed(reception, i, 1, "10.0.0.1");
    EXPECT_EQ(100 * kMillisecond, reception.last());
    EXPECT_TRUE(reception.flows(105 * kMillisecond));
    EXPECT_FALSE(reception.flows(106 * kMillisecond));
    EXPECT_EQ(300 * kMillisecond, reception.quiet_time());
    // A slower stream takes longer to be over.
    for (std::uint64_t i = 100; i < 200; ++i) {
        now_ += 49 * kMillisecond;
        add_signed(reception, i);
    }
    EXPECT_TRUE(reception.flows(now_ + 190 * kMillisecond));
    EXPECT_FALSE(reception.flows(now_ + 210 * kMillisecond));
    // So does one that comes in bursts.
    for (std::uint64_t i = 200; i < 400; ++i) {
        if (i % 40 == 0) now_ += 599 * kMillisecond;
        add_signed(reception, i);
    }
    EXPECT_EQ(1800 * kMillisecond, reception.quiet_time());
    EXPECT_TRUE(reception.flows(now_ + 590 * kMillisecond));
    EXPECT_FALSE(reception.has_paused(now_ + 1700 * kMillisecond));
    EXPECT_TRUE(reception.has_paused(now_ + 1900 * kMillisecond));
    // Time without members does not count as a gap between packets.
    reception.restart();
    now_ += 10 * orv::il::kSecond;
    add_signed(reception, 400);
    EXPECT_EQ(1800 * kMillisecond, reception.quiet_time());
}

}  // namespace
