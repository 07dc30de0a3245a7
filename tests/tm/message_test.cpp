#include "orv/tm/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tm/message_text.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

using ::testing::HasSubstr;
using testing::rich_message;
using testing::text_of;
using ::testing::ThrowsMessage;

std::vector<std::byte> bytes_of(std::initializer_list<int> values) {
    std::vector<std::byte> bytes;
    for (int value : values) bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}

TEST(Message_test, WireFormIsAsDocumented) {
    Message message;
    message.set_request_name("s_1.Op");
    message.header().set_seq_no(300);
    message.header().set_discard_eligible(true);
    message.add_member(TMG_MEMBERS, "id", 5);
    auto run = std::make_unique<Tm_array>();
    std::byte* rows = run->append_rows(Tm_flat_shape::intern({{.name = "id", .kind = TMV_UINT16}}), 2);
    rows[0] = std::byte{1};
    rows[2] = std::byte{2};
    message.add_member_and_own(TMG_MEMBERS, "run", run.release());
    EXPECT_EQ(message.encode(),
              bytes_of({0x9a, 1,    0,    1,    0xcd, 0x01, 0x2c, 0xa6, 's', '_',  '1', '.', 'O', 'p', 0,
                        0xa0,                                                                // head
                        0x93,                                                                // three shapes
                        0x90,                                                                // group 0's
                        0x92, 0x92, 0xa2, 'i',  'd',  5,    0x92, 0xa3, 'r', 'u',  'n', 12,  // group 1's
                        0x91, 0x92, 0xa2, 'i',  'd',  3,                                     // the run's
                        0x91, 0,                                                             // group 0
                        0x93, 1,    5,    0x92, 11,   0x91, 0x93, 2,    2,   0xc4, 4,   1,   0,   2,   0}));
}

TEST(Message_test, ReadsMembersByGroupAndNameAndRunsWithoutCopies) {
    Message message = Message::decode(rich_message(true).encode());
    EXPECT_EQ(message.get_member_uint32(TMG_RESERVED, "reserved"), 1U);
    EXPECT_EQ(message.get_member_array(TMG_MEMBERS, "no handles")->element_kind(), TMV_UINT32);
    EXPECT_THROW(message.get_member_uint32(TMG_RESERVED, "handle"), Tm_exception);
    EXPECT_THROW(message.get_member_string(TMG_MEMBERS, "handle"), Tm_type_mismatch_exception);
    EXPECT_THROW(message.members(static_cast<TMG>(2)), Tm_exception);

    const auto segments = message.get_member_array(TMG_MEMBERS, "blocks")->segments();
    ASSERT_EQ(segments.size(), 3U);
    EXPECT_EQ(segments[0].run.shape, nullptr);
    EXPECT_EQ(segments[1].run.shape, Tm_flat_shape::intern(testing::event_members())) << "a known one";
    const std::byte* rows = segments[1].run.rows;
    const std::string text = text_of(message);
    Message moved = std::move(message);
    EXPECT_EQ(text_of(moved), text) << "read in place after a move";
    EXPECT_EQ(moved.get_member_array(TMG_MEMBERS, "blocks")->segments()[1].run.rows, rows);

    moved.add_member(TMG_MEMBERS, "added", 1);
    EXPECT_THROW(moved.add_member(TMG_MEMBERS, "handle", 1), Tm_exception);
    EXPECT_EQ(Message::decode(moved.encode()).get_member_uint32(TMG_MEMBERS, "added"), 1U);
}

TEST(Message_test, UnknownShapesAreReadAndNotRemembered) {
    Message message;
    auto run = std::make_unique<Tm_array>();
    run->append_rows(std::make_shared<const Tm_flat_shape>(
                         std::vector<Tm_flat_member>{{.name = "from elsewhere", .kind = TMV_INT32}}),
                     2);
    message.add_member_and_own(TMG_MEMBERS, "run", run.release());
    std::unique_ptr<Tm_value> element;
    {
        const Message decoded = Message::decode(message.encode());
        const Tm_array& array = *decoded.get_member_array(TMG_MEMBERS, "run");
        EXPECT_EQ(Tm_flat_shape::find_interned(*array.segments()[0].run.shape), nullptr);
        element = array.get_member_struct(1)->clone();
    }
    EXPECT_EQ(text_of(*element), "{from elsewhere: int32 0; }\n") << "a clone outlives the message";
}

TEST(Message_test, CatalogCarriesEachNameOnce) {
    for (const bool use_catalog : {false, true}) {
        Message message;
        message.set_use_send_member_string(use_catalog);
        for (const char* name : {"a", "b"}) {
            auto s = std::make_unique<Tm_struct>();
            s->add_member("shared name", true, message.get_send_member_string(TMG_MEMBERS));
            s->add_member(name, true, message.get_send_member_string(TMG_MEMBERS));
            message.add_member_and_own(TMG_MEMBERS, name, s.release());
        }
        message.create_send_member_string_meta();
        const std::vector<std::byte> bytes = message.encode();
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        EXPECT_EQ(text.find("shared name") == text.rfind("shared name"), use_catalog);
        const std::vector<std::string> names{"shared name", "a", "b"};
        EXPECT_EQ(message.catalog(TMG_MEMBERS).entries(), use_catalog ? names : std::vector<std::string>());
        message.clear(TMG_MEMBERS);
        EXPECT_TRUE(message.catalog(TMG_MEMBERS).entries().empty());
        EXPECT_EQ(message.members(TMG_MEMBERS).size(), 0U);
    }
    Message late;  // names that no encoder noted are added by the writer
    late.add_member(TMG_MEMBERS, "unnoted", 1);
    late.set_use_send_member_string(true);
    EXPECT_EQ(Message::decode(late.encode()).get_member_uint32(TMG_MEMBERS, "unnoted"), 1U);
}

/// `levels` arrays, each but the last holding the next.
std::unique_ptr<Tm_value> nested(int levels) {
    auto value = std::make_unique<Tm_array>();
    for (int level = 1; level < levels; ++level) {
        auto holder = std::make_unique<Tm_array>();
        holder->add_member_and_own(value.release());
        value = std::move(holder);
    }
    return value;
}

TEST(Message_test, WriterRefusesWhatTheReaderWould) {
    const auto encode_with = [](const std::string& name, std::unique_ptr<Tm_value> value) {
        Message message;
        message.add_member_and_own(TMG_MEMBERS, name, value.release());
        return message.encode();
    };
    EXPECT_NO_THROW(Message::decode(encode_with("deepest", nested(Message::kMaxDepth - 1))));
    EXPECT_THAT([&] { encode_with("too deep", nested(Message::kMaxDepth)); },
                ThrowsMessage<Tm_exception>(HasSubstr("32 levels")));
    EXPECT_NO_THROW(encode_with(std::string(Message::kMaxNameLength, 'n'), nested(1)));
    EXPECT_THAT([&] { encode_with(std::string(Message::kMaxNameLength + 1, 'n'), nested(1)); },
                ThrowsMessage<Tm_exception>(HasSubstr("member name of 129 bytes")));
    EXPECT_THAT([&] { encode_with("text", std::make_unique<Tm_string>(std::string("a\0b", 3))); },
                ThrowsMessage<Tm_exception>(HasSubstr("zero byte")));
    EXPECT_THROW(encode_with("text", std::make_unique<Tm_string>(std::string((64U << 20U) + 1, 'x'))),
                 Tm_exception);
}

}  // namespace
}  // namespace orv::tm
