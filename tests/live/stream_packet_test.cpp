// The payload of channel streams.
#include "orv/live/stream_packet.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "live/sample_frames.h"

namespace orv::live {
namespace {

using testing_aids::bytes_of;
using testing_aids::hex_text;
using Bytes = std::vector<std::byte>;

const StreamSignature kSignature{.stream_id = 0x01020304,
                                 .sequence_number = 0x1'0001'fffe,
                                 .send_time = Nanoseconds(1'700'000'000'123'456'789)};

Bytes packet() {
    Bytes bytes(kStreamPayloadLength);
    EXPECT_EQ(WriteStreamPacket(bytes, kSignature), bytes.size());
    return bytes;
}

TEST(StreamPacketTest, BytesAreThoseOfRtpAndATransportStream) {
    const Bytes bytes = packet();
    ASSERT_EQ(bytes.size(), 1328U);
    const std::span<const std::byte> all(bytes);
    EXPECT_EQ(hex_text(all.first(12)), "8021fffe16a6bb6701020304");
    for (std::size_t at = 12; at < bytes.size(); at += 188)
        EXPECT_EQ(hex_text(all.subspan(at, 5)), "471fff10ff");
    EXPECT_EQ(hex_text(all.last(29)), "ff4f52563101020304000000010001fffe17979cfe3d85cd15725248ae");
}

TEST(StreamPacketTest, SignatureIsReadBackAndDamageIsSeen) {
    const Bytes good = packet();
    const auto read = ReadStreamPacket(good);
    ASSERT_TRUE(read);
    EXPECT_TRUE(read->is_intact);
    EXPECT_EQ(read->signature.stream_id, kSignature.stream_id);
    EXPECT_EQ(read->signature.sequence_number, kSignature.sequence_number);
    EXPECT_EQ(read->signature.send_time, kSignature.send_time);
    for (std::size_t at = kRtpHeaderLength; at < good.size(); ++at) {
        Bytes damaged = good;
        damaged[at] ^= std::byte{0x10};
        const auto packet = ReadStreamPacket(damaged);
        EXPECT_FALSE(packet && packet->is_intact) << "byte " << at;
    }
}

TEST(StreamPacketTest, OtherLengthsAreNotOurs) {
    Bytes bytes = packet();
    bytes.push_back(std::byte{0});
    EXPECT_FALSE(ReadStreamPacket(bytes));
    for (std::size_t length = 0; length < kStreamPayloadLength; ++length) {
        Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(ReadStreamPacket(cut)) << length;
        EXPECT_THROW(WriteStreamPacket(cut, kSignature), std::length_error) << length;
    }
}

TEST(StreamPacketTest, RtpOfForeignStreams) {
    const auto text = [](const char* hex) -> std::string {
        const Bytes bytes = bytes_of(hex);
        const auto rtp = ReadRtpPacket(bytes);
        if (!rtp) return "none";
        return std::to_string(rtp->payload_type) + (rtp->marker ? " marked " : " ") +
               std::to_string(rtp->sequence_number) + " " + std::to_string(rtp->timestamp) + " " +
               std::to_string(rtp->ssrc) + " " + hex_text(rtp->payload);
    };
    const std::pair<const char*, const char*> cases[] = {
        {"80 21 ffff 00000001 00000002", "33 65535 1 2 "},
        {"80 a1 0001 00000001 00000002 4747", "33 marked 1 1 2 4747"},
        {"82 21 0001 00000001 00000002 00000003 00000004 47", "33 1 1 2 47"},     // contributing sources
        {"90 21 0001 00000001 00000002 bede0001 01020304 47", "33 1 1 2 47"},     // header extension
        {"a0 21 0001 00000001 00000002 47 0002", "33 1 1 2 47"},                  // padding
        {"b1 21 0001 00000001 00000002 00000003 bede0000 47 01", "33 1 1 2 47"},  // all of them
        {"47 1f ff10 00000000 00000000 0000", "none"},                            // a bare transport stream
        {"80 c8 0006 00000001 00000002", "none"},                                 // an RTCP sender report
        {"80 21 0001 00000001 000000", "none"},
        {"82 21 0001 00000001 00000002 00000003", "none"},
        {"90 21 0001 00000001 00000002 bede", "none"},
        {"90 21 0001 00000001 00000002 bede0002 00000000", "none"},
        {"a0 21 0001 00000001 00000002", "none"},
        {"a0 21 0001 00000001 00000002 00", "none"},
        {"a0 21 0001 00000001 00000002 0004", "none"},
    };
    for (const auto& [hex, expected] : cases) EXPECT_EQ(text(hex), expected) << hex;
}

}  // namespace
}  // namespace orv::live
