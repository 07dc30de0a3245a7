// RTCP and retransmissions: written and read against bytes from the standards, and hostile ones.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "live/sample_rtcp.h"
#include "orv/live/rams_response.h"

namespace orv::live {
namespace {

using namespace testing_aids;  // NOLINT: a test
using Out = std::span<std::byte>;
using Bytes = std::vector<std::byte>;

constexpr std::uint32_t kMedia = 0xe1010001;
const Bytes kTokenBytes = bytes_of("a1a2a3");
const PortMappingToken kToken{0x1122334455667788, kTokenBytes, 0xe9000000};
const RtcpSender kFull{.ssrc = 0x0a0b0c0d, .cname = "stb1@a"};
const RtcpSender kReduced{.ssrc = 0x0a0b0c0d, .cname = "stb1@a", .reduced_size = true};
const RtcpSender kWithToken{.ssrc = 0x0a0b0c0d, .cname = "stb1@ab", .token = kToken};
const RtcpSender kReducedWithToken{
    .ssrc = 0x0a0b0c0d, .cname = "stb1@a", .reduced_size = true, .token = kToken};
const NackEntry kLost[] = {{0xfffe, 0x8001}, {0x0010, 0}};

// An empty receiver report, then a source description of one source: SSRC, CNAME of 6 bytes, end and padding.
#define PREAMBLE "80c90001 0a0b0c0d  81ca0004 0a0b0c0d 0106 737462314061 00000000"
// CNAME of 7 bytes, so that the end fills the last word.
#define PREAMBLE_7 "80c90001 0a0b0c0d  81ca0004 0a0b0c0d 0107 73746231406162 000000"
// Token Verification Request: SSRC, nonce, length and token and padding, absolute expiration.
#define TOKEN "83d20007 0a0b0c0d 11223344 55667788 0003 a1a2a3 000000 00000000 e9000000"

struct WrittenCase {
    const char* name;
    std::function<std::size_t(Out)> write;
    const char* hex;
};
const WrittenCase kWritten[] = {
    // clang-format off
    {"NACK", [](Out out) { return WriteNack(out, kFull, kMedia, kLost); },
     PREAMBLE "81cd0004 0a0b0c0d e1010001 fffe8001 00100000"},  // SSRCs of sender and media; PID and mask
    {"NACK with a token", [](Out out) { return WriteNack(out, kWithToken, kMedia, std::span(kLost).first(1)); },
     PREAMBLE_7 TOKEN "81cd0003 0a0b0c0d e1010001 fffe8001"},
    {"RAMS-R", [](Out out) { return WriteRamsRequest(out, kFull, {kMedia, 200, 1500, 10'000'000'000}); },
     PREAMBLE "86cd000c 0a0b0c0d 0a0b0c0d 01000000"                     // both SSRCs are the sender's
     "01000004 e1010001 02000004 000000c8 03000004 000005dc"            // stream, buffer
     "04000008 00000002 540be400"},                                     // bit rate
    {"RAMS-R of reduced size", [](Out out) { return WriteRamsRequest(out, kReduced, {.media_ssrc = kMedia, .max_bitrate = 1}); },
     "86cd0008 0a0b0c0d 0a0b0c0d 01000000 01000004 e1010001 04000008 00000000 00000001"},
    {"RAMS-T at once", [](Out out) { return WriteRamsTermination(out, kReducedWithToken, kMedia); },
     TOKEN "86cd0003 0a0b0c0d e1010001 03000000"},
    {"RAMS-T after the join", [](Out out) { return WriteRamsTermination(out, kFull, kMedia, 0x0001fffe); },
     PREAMBLE "86cd0005 0a0b0c0d e1010001 03000000 3d000004 0001fffe"},
    {"BYE", [](Out out) { return WriteGoodbye(out, kFull); }, PREAMBLE "81cb0001 0a0b0c0d"},
    {"Port Mapping Request", [](Out out) { return WritePortMappingRequest(out, kWithToken, 0x8877665544332211); },
     PREAMBLE_7 "81d20003 0a0b0c0d 88776655 44332211"},  // the old token is left out
    // clang-format on
};

TEST(RtcpTest, MessagesAreThoseOfTheStandards) {
    for (const WrittenCase& c : kWritten) {
        Bytes out(200, std::byte{0xee});
        const std::size_t length = c.write(out);
        EXPECT_EQ(hex_text(std::span(out).first(length)), hex_text(bytes_of(c.hex))) << c.name;
        EXPECT_TRUE(IsRtcp(std::span(out).first(length))) << c.name;
        EXPECT_EQ(std::ranges::count(std::span(out).subspan(length), std::byte{0xee}), out.size() - length)
            << c.name << " writes beyond its end";
        for (std::size_t room = 0; room < length; ++room) {
            Bytes small(room);
            EXPECT_THROW(c.write(small), std::length_error) << c.name << " in " << room << " bytes";
        }
    }
}

TEST(RtcpTest, WhatCannotBeSentIsRefused) {
    Bytes out(400'000);
    const std::string long_name(256, 'c');
    const Bytes long_token(0x10000);
    const std::vector<NackEntry> too_many(0xfffe);
    EXPECT_THROW(WriteGoodbye(out, {.ssrc = 1, .cname = ""}), std::invalid_argument);
    EXPECT_THROW(WriteGoodbye(out, {.ssrc = 1, .cname = long_name}), std::invalid_argument);
    EXPECT_THROW(WriteGoodbye(out, {.ssrc = 1, .cname = "a", .token = PortMappingToken{1, long_token, 1}}),
                 std::invalid_argument);
    EXPECT_THROW(WriteNack(out, kFull, kMedia, {}), std::invalid_argument);
    EXPECT_THROW(WriteNack(out, kFull, kMedia, too_many), std::invalid_argument);
    EXPECT_NO_THROW(WriteNack(out, kFull, kMedia, std::span(too_many).first(0xfffd)));
}

TEST(RtcpTest, SamplesSayWhatTheyHoldAndTheirEndsAreNoticed) {
    for (const auto& sample : sample_datagrams()) {
        const Bytes whole = bytes_of(sample.hex);
        EXPECT_EQ(text_of_datagram(whole), sample.text) << sample.name;
        EXPECT_EQ(IsRtcp(whole), !sample.name.starts_with("retransmission")) << sample.name;
        if (!IsRtcp(whole)) continue;
        // Between packets it may end: then what came before counts.
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            const std::string text = text_of_datagram(cut);
            EXPECT_TRUE(text.empty() || (sample.text.starts_with(text + "; ") && length % 4 == 0))
                << sample.name << " cut to " << length << ": " << text;
        }
    }
}

TEST(RtcpTest, WhatASetTopBoxHasToIgnoreAndToAccept) {
    const struct {
        const char *why, *sample;
        std::vector<std::pair<std::size_t, unsigned>> changes;  ///< position, byte
        const char* text = "";
    } cases[] = {{"version 1", "rams_refused", {{0, 0x46}}},
                 {"version 1 of a later packet", "goodbye", {{24, 0x42}}},
                 {"longer than the datagram", "rams_refused", {{3, 6}}},
                 {"shorter than the datagram", "rams_refused", {{3, 4}}},
                 {"padding before the last packet", "goodbye", {{0, 0xa0}, {7, 4}}},
                 {"padding of 0 bytes", "rams_extended", {{39, 0}}},
                 {"padding of 3 bytes", "rams_extended", {{39, 3}}},
                 {"padding longer than the packet", "rams_extended", {{39, 40}}},
                 {"padding into an element", "rams_extended", {{39, 8}}},
                 {"another feedback", "rams_refused", {{0, 0x81}}},
                 {"RAMS-T", "rams_refused", {{12, 3}}},
                 {"element beyond the message", "rams_refused", {{16, 0x80}, {19, 5}}},
                 {"element too short for its type", "rams_refused", {{19, 3}}},
                 {"element of no bytes", "rams_refused", {{19, 0}}},
                 {"sequence number of 4 bytes", "rams_accepted", {{71, 4}}},
                 {"more sources than fit", "goodbye", {{24, 0x9f}}},
                 {"token beyond the message", "mapping_response", {{20, 0xff}, {21, 0xff}}},
                 {"token into the last fields", "mapping_response", {{21, 22}}},
                 {"types beyond the message", "mapping_response", {{40, 8}}},
                 {"Port Mapping Request", "mapping_response", {{0, 0x81}}},
                 // What is broken is left out, the others stay.
                 {"unknown element", "mixed", {{48, 36}}, "nonce 0; rams e1010001 #0: 100; bye e1010001"},
                 {"broken element among others", "mixed", {{51, 8}}, "nonce 0; bye e1010001"},
                 {"the same element twice", "rams_accepted", {{84, 33}}, "join 1000, rate"},
                 {"reserved bits", "rams_refused", {{17, 0xff}}, "rams e1010001 #0: 501, join 0"},
                 {"reserved bits of a failure", "token_failure", {{13, 0x37}, {15, 0xff}}, "205 6, nonce"},
                 {"no element", "rams_refused", {{16, 0}, {19, 0}}, "rams e1010001 #0: 501"},
                 {"empty token and types", "mapping_response", {{20, 0}, {40, 0}}, "3600 s, types "},
                 {"no source", "goodbye", {{24, 0x80}}, ""}};
    for (const auto& [why, sample, changes, text] : cases) {
        Bytes bytes = bytes_of(std::ranges::find(sample_datagrams(), sample, &SampleFrame::name)->hex);
        for (const auto& [at, byte] : changes) bytes.at(at) = static_cast<std::byte>(byte);
        const std::string read = text_of_datagram(bytes);
        EXPECT_EQ(read.empty(), *text == 0) << why << ": " << read;
        EXPECT_THAT(read, testing::HasSubstr(text)) << why;
    }
    // Whole packets that are too short for their message.
    for (const char* hex :
         {"86cd0002 e1010001 e1010001", "84d20004 00000001 00000002 cd080000 00000000 00000000",
          "82d20003 00000001 00000002 00000003", "86cd0000", "82d20000", "a1cb0000"})
        EXPECT_EQ(text_of_datagram(bytes_of(hex)), "") << hex;
    // More messages than there is room for: two packets of 31 sources.
    std::string many;
    for (int packet = 0; packet < 2; ++packet) {
        many += "9fcb001f";
        for (int source = 0; source < 31; ++source) many += "00000001";
    }
    EXPECT_EQ(ReadRtcp(bytes_of(many)).GetSize(), RtcpMessages::kMost);
}

TEST(RtcpTest, Retransmissions) {
    const std::pair<const char*, const char*> cases[] = {
        {"80610007 00000001 0000beef fffe", "of 65534: "},  // of a packet without a payload
        {"80e10007 00000001 0000beef fffe 0008 0008 0008", "type 97 at 1 of 65534: 000800080008"},
        {"a0610007 00000001 0000beef fffe 47 0002", "of 65534: 47"},
        {"90610007 00000001 0000beef bede0002 00080000 00000000 fffe", "of 65534: , extension, join"},
        {"90610007 00000001 0000beef bede0001 fff7ffff fffe", "of 65534: , extension"},
        {"90610007 00000001 0000beef 00080008 00000008 fffe", ""},
        {"90610007 00000001 0000beef bede0000 0008 47", "of 8: 47, extension"},  // no word in the extension
        {"91610007 00000001 0000beef 00000008 bede0001 00080000 fffe", "of 65534: , extension"},
        {"92610007 00000001 0000beef 00000008 00080008 bede0001 00080000 fffe", "of 65534: , extension"},
        {"80610007 00000001 0000beef ff", ""},
        {"a0610007 00000001 0000beef ff 0002", ""},
        {"80c90001 0000beef 0000beef fffe", ""},  // RTCP
    };
    for (const auto& [hex, expected] : cases) {
        const std::string text = text_of_datagram(bytes_of(hex));
        EXPECT_TRUE(*expected == 0 ? text.empty() : text.ends_with(expected)) << hex << ": " << text;
    }
}

TEST(RtcpTest, ResponsesSayWhetherToTryAgain) {
    const std::pair<std::uint16_t, RamsMeaning> cases[] = {
        {0, RamsMeaning::Unknown},     {200, RamsMeaning::Accepted},  {202, RamsMeaning::Unknown},
        {503, RamsMeaning::Transient}, {504, RamsMeaning::Permanent}, {513, RamsMeaning::Unknown}};
    for (const auto& [code, meaning] : cases) EXPECT_EQ(ExplainRamsResponse(code).meaning, meaning) << code;
}

}  // namespace
}  // namespace orv::live
