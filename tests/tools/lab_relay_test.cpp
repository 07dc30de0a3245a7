#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "lab_relay/delay_queue.h"
#include "lab_relay/frame.h"
#include "lab_relay/udp_checksum.h"

namespace orv::lab {
namespace {

using Bytes = std::vector<std::byte>;
using std::chrono::milliseconds;
using testing::ElementsAre;

Bytes FromHex(std::string text) {
    std::erase(text, ' ');
    Bytes bytes;
    for (std::size_t at = 0; at < text.size(); at += 2) {
        bytes.push_back(static_cast<std::byte>(std::stoul(text.substr(at, 2), nullptr, 16)));
    }
    return bytes;
}

Bytes BytesOf(const Frame& frame) {
    return {frame.bytes().begin(), frame.bytes().end()};
}

const std::string kAddresses = "01005e010101 021094000001";

TEST(Frame, TagsGoAroundTheOthersAndComeOffAgain) {
    const Bytes plain = FromHex(kAddresses + "0800 4500");
    Frame frame(plain);
    frame.PushTag({0x8100, 7});
    frame.PushTag({0x88A8, 0xE0C8});  // priority 7, id 200
    EXPECT_EQ(BytesOf(frame), FromHex(kAddresses + "88a8e0c8 81000007 0800 4500"));
    EXPECT_THROW(frame.PushTag({}), std::length_error);

    EXPECT_FALSE(frame.PopTag(7)) << "only the outer tag counts";
    EXPECT_TRUE(frame.PopTag(200));
    EXPECT_TRUE(frame.PopTag(7));
    EXPECT_FALSE(frame.PopTag(0x500)) << "what follows is no tag";
    EXPECT_EQ(BytesOf(frame), plain);
}

TEST(Frame, WantsAHeaderAndNoMoreThanItHolds) {
    EXPECT_THROW(Frame(Bytes(13)), std::length_error);
    EXPECT_THROW(Frame(Bytes(Frame::kMostBytes + 1)), std::length_error);
    EXPECT_FALSE(Frame(FromHex(kAddresses + "8100 0007")).PopTag(7)) << "cut short behind the tag";
    EXPECT_EQ(Frame(Bytes(Frame::kMostBytes)).bytes().size(), Frame::kMostBytes);
}

// Right checksums, computed by another program.
TEST(UdpChecksum, IsFinishedBehindTagsAndWithoutPadding) {
    const std::string ipv4 = "0800 4500 001f 0000 0000 0111 0000 0aff0002 ef010101 138c 138c 000b ";
    const std::string ipv6 =
        "86dd 60000000 000b 1101 20010db8000000000000000000000002 ff1e0000000000000000000000000101"
        "138c 138c 000b ";
    for (const auto& [before, after] : {
             std::pair{ipv4 + "1234 616263", ipv4 + "195a 616263"},
             std::pair{"8100 0007" + ipv4 + "1234 616263 ffffff", "8100 0007" + ipv4 + "195a 616263 ffffff"},
             std::pair{"8100 00c8 8100 0007" + ipv6 + "1234 616263",
                       "8100 00c8 8100 0007" + ipv6 + "e682 616263"},
         }) {
        Bytes frame = FromHex(kAddresses + before);
        FinishUdpChecksum(frame);
        EXPECT_EQ(frame, FromHex(kAddresses + after)) << before;
    }
}

TEST(UdpChecksum, LeavesAloneWhatItCannotFinish) {
    const std::string rest = "0aff0002 ef010101 138c 138c 000b 1234 616263";
    for (const std::string& other : {
             "0800 4500 001f 0000 0000 0106 0000" + rest,                // TCP
             "0800 4500 001f 0000 2000 0111 0000" + rest,                // first fragment
             "0800 4f00 001f 0000 0000 0111 0000" + rest,                // header longer than the frame
             "0800 4500 001f 0000 0000 0111 0000" + rest.substr(0, 35),  // cut short
             "0806 4500 001f 0000 0000 0111 0000" + rest,                // ARP
             std::string("8100"),
         }) {
        const Bytes before = FromHex(kAddresses + other);
        Bytes after = before;
        FinishUdpChecksum(after);
        EXPECT_EQ(after, before) << other;
    }
}

class Numbered {
  public:
    static Frame Make(unsigned number) {
        Bytes bytes(64);
        std::memcpy(bytes.data() + 14, &number, sizeof number);
        return Frame(bytes);
    }
    static unsigned Read(const Frame& frame) {
        unsigned number = 0;
        std::memcpy(&number, frame.bytes().data() + 14, sizeof number);
        return number;
    }
};

TEST(DelayQueue, FramesGoInOrderWhenTheirTimeHasCome) {
    DelayQueue queue(milliseconds(20), 0);
    EXPECT_EQ(queue.NextTime(), std::nullopt);
    for (unsigned i = 0; i < 3; ++i) queue.Push(Numbered::Make(i), milliseconds(100 + i));
    EXPECT_EQ(queue.NextTime(), milliseconds(120));
    EXPECT_EQ(queue.CountDue(milliseconds(120) - Nanoseconds(1), 64), 0u);
    EXPECT_EQ(queue.CountDue(milliseconds(121), 64), 2u);
    EXPECT_EQ(queue.CountDue(milliseconds(121), 1), 1u);
    EXPECT_EQ(Numbered::Read(queue.at(1)), 1u);
    queue.Pop(2);
    EXPECT_EQ(queue.NextTime(), milliseconds(122));
    EXPECT_EQ(Numbered::Read(queue.at(0)), 2u);
}

TEST(DelayQueue, SomeOvertakeWhileAnotherWaits) {
    DelayQueue queue(milliseconds(20), 100);
    for (unsigned i = 0; i < 4; ++i) queue.Push(Numbered::Make(i), milliseconds(100 + i));
    std::vector<unsigned> order;
    for (std::size_t i = 0; i < 4; ++i) order.push_back(Numbered::Read(queue.at(i)));
    EXPECT_THAT(order, ElementsAre(1, 2, 3, 0)) << "each overtook number 0";
    EXPECT_EQ(queue.CountDue(milliseconds(121), 64), 2u) << "the times stay";
}

}  // namespace
}  // namespace orv::lab
