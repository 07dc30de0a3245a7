// Bytes come from a port, so none of them can be trusted.
#include <gmock/gmock.h>

#include <tuple>

#include "orv/tm/message.h"
#include "thrown.h"
#include "tm/allocation_counter.h"
#include "tm/message_text.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

using ::testing::HasSubstr;
using testing::text_of;

/// Bytes written by hand: numbers are single bytes, texts represent their characters.
struct Bytes : std::string {
    Bytes() = default;
    Bytes(std::string text) : std::string(std::move(text)) {}  // NOLINT: implicit for tables
    Bytes(std::initializer_list<int> values) {
        for (const int value : values) push_back(static_cast<char>(value));
    }
    Message decode() const { return Message::decode(std::as_bytes(std::span(*this))); }
    std::string refusal() const {
        return testing_aids::ThrownBy<Tm_exception>([this] { decode(); });
    }
};
Bytes repeated(const Bytes& part, std::size_t times) {
    Bytes all;
    while (times-- > 0) all += part;
    return all;
}

/// A request without name and members, given its shapes and groups.
const Bytes kHead{0x9a, 1, 0, 0, 0, 0xa0, 0, 0xa0};
const Bytes kNoGroup{0x91, 0};  // shape 0, which is empty
Bytes message(const Bytes& shapes, const Bytes& group) {
    return kHead + shapes + kNoGroup + group;
}
/// Shape 0 is empty, shape 1 the one of group 1, with one member "a".
Bytes with_member(int kind, const Bytes& value) {
    return message(Bytes{0x92, 0x90, 0x91, 0x92, 0xa1, 'a', kind}, Bytes{0x92, 1} + value);
}
/// As before, with a shape 2; the value is an array of structs with one segment.
Bytes with_segment(const Bytes& shape, const Bytes& segment) {
    return message(Bytes{0x93, 0x90, 0x91, 0x92, 0xa1, 'a', TMV_ARRAY} + shape,
                   Bytes{0x92, 1, 0x92, TMV_STRUCT, 0x91} + segment);
}
/// Without members, with these first numbers.
Bytes empty_of(int version, int type, int flags, int sequence) {
    return Bytes{0x9a, version, type, flags, sequence, 0xa0, 0, 0xa0, 0x91, 0x90, 0x91, 0, 0x91, 0};
}
TEST(Message_attack_test, HandMadeMessagesAreWellMade) {
    EXPECT_EQ(text_of(with_member(TMV_UINT8, {5}).decode().members(TMG_MEMBERS)), "{a: uint8 5; }\n");
    const Bytes shape{0x91, 0x92, 0xa1, 'b', TMV_BOOL};
    EXPECT_EQ(text_of(with_segment(shape, {0x93, 2, 2, 0xc4, 2, 0, 9}).decode().members(TMG_MEMBERS)),
              "{a: array of struct [{b: bool false; }\n, {b: bool true; }\n, ]; }\n");
    EXPECT_EQ(text_of(with_segment(shape, {0x93, 2, 1, 0x91, 0x91, 0xc3}).decode().members(TMG_MEMBERS)),
              "{a: array of struct [{b: bool true; }\n, ]; }\n");
}

TEST(Message_attack_test, MalformedMessagesEndInAnErrorThatSaysWhatAndWhere) {
    const Bytes bool_shape{0x91, 0x92, 0xa1, 'b', TMV_BOOL};
    const Bytes huge_array{0xdd, 0xff, 0xff, 0xff, 0xff}, huge_bytes{0xc6, 0xff, 0xff, 0xff, 0xff};
    const Bytes text_of_129 = Bytes{0xd9, 129} + std::string(129, 'n');
    const std::tuple<const char*, Bytes, const char*> cases[] = {
        {"nothing", {}, "byte 0: the message ends too early"},
        {"a byte that MessagePack does not use", {0xc1}, "no MessagePack"},
        {"no array", {5}, "byte 0: the message is a number where an array belongs"},
        {"other version", empty_of(2, 0, 0, 0), "byte 1: format version 2"},
        {"other type", empty_of(1, 3, 0, 0), "byte 2: the message type"},
        {"unknown flag", empty_of(1, 0, 4, 0), "byte 3: the flag field is 4"},
        {"flag without catalog", empty_of(1, 0, 2, 0), "byte 3:"},
        {"short message", {0x92, 1, 0}, "only 2 items"},
        {"sequence number", empty_of(1, 0, 0, 0xff), "a negative number"},
        {"bytes after the end", message({0x91, 0x90}, kNoGroup) + Bytes{0}, "byte 14: 1 bytes follow"},
        {"huge message", huge_array, "ends too early"},
        {"huge list of shapes", kHead + huge_array, "ends too early"},
        {"huge shape", message(Bytes{0x92, 0x90} + huge_array, {}), "ends too early"},
        {"huge string", with_member(TMV_STRING, {0xdb, 0xff, 0xff, 0xff, 0xff}), "ends too early"},
        {"huge byte field", with_member(TMV_ARRAY, Bytes{0x92, TMV_UINT8} + huge_bytes), "ends too early"},
        {"endless nesting", repeated({0x91}, 100000), "nested too deep"},
        {"nil", with_member(TMV_BOOL, {0xc0}), "byte 19: nil has no place"},
        {"float32", with_member(TMV_DOUBLE, {0xca, 0, 0, 0, 0}), "float32"},
        {"map", with_member(TMV_STRUCT, {0x80}), "a map"},
        {"extension", with_member(TMV_STRING, {0xd4, 0, 0}), "an extension"},
        {"uint8 too large", with_member(TMV_UINT8, {0xcd, 1, 44}),
         "byte 19: the member 'a' of kind uint8 is 300"},
        {"uint8 negative", with_member(TMV_UINT8, {0xff}), "is -1"},
        {"int8 too small", with_member(TMV_INT8, {0xd1, 0xff, 0x7f}), "is -129"},
        {"int64 too large", with_member(TMV_INT64, Bytes{0xcf, 0x80} + repeated({0}, 7)),
         "9223372036854775808"},
        {"bool as number", with_member(TMV_BOOL, {1}), "kind bool is 1"},
        {"double as number", with_member(TMV_DOUBLE, {1}), "kind double is 1"},
        {"string as number", with_member(TMV_STRING, {1}), "a string is a number where a string belongs"},
        {"string with zero byte", with_member(TMV_STRING, {0xa2, 'x', 0}), "holds a zero byte"},
        {"kind beyond all", with_member(13, {0}), "the kind of a member is 13"},
        {"value too many", message({0x91, 0x90}, {0x92, 0, 0}), "1 values for the 0 members"},
        {"shape not there", message({0x91, 0x90}, {0x91, 1}), "shape 1 where there are 1"},
        {"no shape", message({0x91, 0x90}, {0x90}), "without a shape"},
        {"shape that holds itself", message({0x91, 0x91, 0x93, 0xa1, 'a', TMV_STRUCT, 0}, {}),
         "ends too early"},
        {"shape that holds itself", message({0x91, 0x91, 0x93, 0xa1, 'a', TMV_STRUCT, 0}, kNoGroup),
         "0 shapes so far"},
        {"name twice", message({0x91, 0x92, 0x92, 0xa1, 'a', 0, 0x92, 0xa1, 'a', 1}, kNoGroup), "'a' twice"},
        {"long name", message(Bytes{0x91, 0x91, 0x92} + text_of_129 + Bytes{0}, kNoGroup), "129 bytes"},
        {"bool with a length", message({0x91, 0x91, 0x94, 0xa1, 'a', TMV_BOOL, 1, 1}, kNoGroup),
         "has 4 items"},
        {"array of strings inline", message({0x91, 0x91, 0x94, 0xa1, 'a', TMV_ARRAY, 10, 1}, kNoGroup),
         "inline array"},
        {"array member without kind", with_member(TMV_ARRAY, {0x91, 0}), "1 items, not 2"},
        {"part of an element", with_member(TMV_ARRAY, {0x92, TMV_UINT32, 0xc4, 3, 1, 2, 3}), "3 bytes"},
        {"array of mixed kinds", with_member(TMV_ARRAY, {0x92, TMV_STRING, 0x91, 0x90}),
         "where a string belongs"},
        {"row too few", with_segment(bool_shape, {0x93, 2, 3, 0xc4, 2, 0, 0}),
         "2 bytes for 3 rows of 1 bytes"},
        {"rows beyond counting",
         with_segment(bool_shape, Bytes{0x93, 2, 0xce} + repeated({0xff}, 4) + Bytes{0xc4, 0}),
         "the number of structs is 4294967295"},
        {"rows without bytes", with_segment({0x90}, {0x93, 2, 0xce, 0x7f, 0xff, 0xff, 0xff, 0xc4, 0}),
         "not one to be packed"},
        {"empty rows",
         with_segment({0x91, 0x94, 0xa1, 'b', TMV_ARRAY, 0, 0},
                      {0x93, 2, 0xce, 0x7f, 0xff, 0xff, 0xff, 0xc4, 0}),
         "not one to be packed"},
        {"no rows", with_segment(bool_shape, {0x93, 2, 0, 0xc4, 0}), "an empty stretch"},
        {"rows of strings", with_segment({0x91, 0x92, 0xa1, 'b', TMV_STRING}, {0x93, 2, 1, 0xc4, 1, 0}),
         "no fixed width"},
        {"packed shape for objects",
         with_segment({0x91, 0x94, 0xa1, 'b', TMV_ARRAY, 0, 1}, {0x93, 2, 1, 0x91, 0x90}),
         "packed rows, not of a struct"},
        {"objects miscounted", with_segment(bool_shape, {0x93, 2, 2, 0x91, 0x91, 0xc3}), "1 structs where 2"},
        {"object too short", with_segment(bool_shape, {0x93, 2, 1, 0x91, 0x90}), "0 items, not 1"},
        {"name beyond the catalog",
         {0x9b, 1, 0, 2, 0, 0xa0, 0, 0xa0, 0x90, 0x91, 0x91, 0x92, 0, 0, 0x91, 0, 0x91, 0},
         "name 0 is beyond"},
        {"catalog with a name twice",
         {0x9b, 1, 0, 2, 0, 0xa0, 0, 0xa0, 0x92, 0xa1, 'a', 0xa1, 'a', 0x91, 0x90, 0x91, 0, 0x91, 0},
         "'a' twice"},
    };
    for (const auto& [what, bytes, error] : cases) EXPECT_THAT(bytes.refusal(), HasSubstr(error)) << what;
}

TEST(Message_attack_test, DepthIsBoundedForEverySortOfNesting) {
    const auto arrays = [](std::size_t levels) {
        return with_member(TMV_ARRAY,
                           repeated({0x92, TMV_ARRAY, 0x91}, levels - 1) + Bytes{0x92, TMV_ARRAY, 0x90});
    };
    EXPECT_NO_THROW(arrays(Message::kMaxDepth - 1).decode());
    EXPECT_THAT(arrays(Message::kMaxDepth).refusal(), HasSubstr("32 levels"));
    // A chain of packed shapes, each within the next; the list of them is longer than any stack.
    Bytes shapes = Bytes{0xdc, 0x40, 0x01, 0x91, 0x92, 0xa1, 'a', TMV_BOOL};
    for (int i = 0; i < 0x4000; ++i)
        shapes += Bytes{0x91, 0x93, 0xa1, 'a', TMV_STRUCT, 0xcd, i >> 8, i & 0xff};
    EXPECT_THAT(message(shapes, kNoGroup).refusal(), HasSubstr("levels deep"));
}

TEST(Message_attack_test, TruncationIsAnErrorAndAChangedByteOneOrAnotherSoundMessage) {
    for (bool use_catalog : {false, true}) {
        const std::vector<std::byte> bytes = testing::rich_message(use_catalog).encode();
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            EXPECT_THROW(Message::decode(std::span(bytes).first(at)), Tm_exception) << at;
            for (int change : {0x01, 0x10, 0x80, 0xff}) {
                std::vector<std::byte> changed = bytes;
                changed[at] ^= static_cast<std::byte>(change);
                try {
                    const Message decoded = Message::decode(changed);
                    EXPECT_EQ(text_of(Message::decode(decoded.encode())), text_of(decoded))
                        << at << " ^ " << change;
                } catch (const Tm_exception&) {
                    // as it should be for most changes
                }
            }
        }
    }
}

TEST(Message_attack_test, MemoryStaysInProportionToTheInput) {
    constexpr std::size_t kCount = 60000;
    const int high = kCount >> 8, low = kCount & 0xff;
    const Bytes count{0xdc, high, low};
    const std::pair<const char*, Bytes> cases[] = {
        {"empty strings", with_member(TMV_ARRAY, Bytes{0x92, TMV_STRING} + count + repeated({0xa0}, kCount))},
        {"empty arrays",
         with_member(TMV_ARRAY, Bytes{0x92, TMV_ARRAY} + count + repeated({0x92, TMV_STRUCT, 0x90}, kCount))},
        {"structs without members",
         with_segment({0x90}, Bytes{0x93, 0, 0xcd, high, low} + count + repeated({0x90}, kCount))},
        {"stretches of one",
         message(Bytes{0x93, 0x90, 0x91, 0x92, 0xa1, 'a', TMV_ARRAY, 0x91, 0x92, 0xa1, 'b', 9},
                 Bytes{0x92, 1, 0x92, TMV_STRUCT} + count + repeated({0x93, 2, 1, 0xc4, 1, 0}, kCount))},
        {"shapes", message(count + repeated({0x91, 0x92, 0xa0, 9}, kCount), {0x92, 0, 0xc3})},
    };
    for (const auto& [what, bytes] : cases) {
        const std::size_t before = testing::allocated_bytes();
        EXPECT_EQ(bytes.refusal() == "nothing thrown", what != std::string("shapes")) << what;
        EXPECT_LT(testing::allocated_bytes() - before, 200 * bytes.size()) << what;
    }
}

TEST(Message_attack_test, RunsCostNothingPerRow) {
    const auto cost = [](std::size_t rows) {
        Message sent;
        auto array = std::make_unique<Tm_array>();
        testing::append_events(*array, Tm_flat_shape::intern(testing::event_members()), rows);
        sent.add_member_and_own(TMG_MEMBERS, "events", array.release());
        std::vector<std::byte> bytes = sent.encode();
        const std::size_t before = testing::allocated_bytes();
        Message::decode(std::move(bytes));
        return testing::allocated_bytes() - before;
    };
    EXPECT_EQ(cost(10), cost(10000));
}

}  // namespace
}  // namespace orv::tm
