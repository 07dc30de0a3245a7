// Messages, and the structs, arrays and shapes of rows that they are made of. message_property_test.cpp has
// trees of them at random.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "orv/tm/backed_array.h"
#include "thrown.h"
#include "tm/message_text.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

using ::testing::AllOf, ::testing::ElementsAre, ::testing::HasSubstr, testing::rich_message, testing::text_of;
using Members = std::vector<Tm_flat_member>;
using U32 = std::vector<unsigned int>;
using Backed = Tm_backed_array<U32::const_iterator>;
using Copied = Tm_copy_backed_array<unsigned int, U32::iterator>;

const auto error_of = [](const auto& action) { return testing_aids::ThrownBy<Tm_exception>(action); };

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
    const auto shape = std::make_shared<const Tm_flat_shape>(
        std::vector<Tm_flat_member>{{.name = "from elsewhere", .kind = TMV_INT32}});
    std::fill_n(run->append_rows(shape, 2), 2 * shape->row_size(), std::byte{0});
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

TEST(Message_test, CatalogGoesWithItsMembersAndTakesNamesLate) {
    Message message = Message::decode(rich_message(true).encode());
    EXPECT_THAT(message.catalog(TMG_MEMBERS).entries(), ::testing::Contains("scalars"));
    message.clear(TMG_MEMBERS);
    EXPECT_EQ(message.catalog(TMG_MEMBERS).entries().size() + message.members(TMG_MEMBERS).size(), 0U);
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
    const auto refusal = [&](const std::string& name, std::unique_ptr<Tm_value> value) {
        return error_of([&] { encode_with(name, std::move(value)); });
    };
    EXPECT_THAT(refusal("too deep", nested(Message::kMaxDepth)), HasSubstr("32 levels"));
    EXPECT_NO_THROW(encode_with(std::string(Message::kMaxNameLength, 'n'), nested(1)));
    EXPECT_THAT(refusal(std::string(Message::kMaxNameLength + 1, 'n'), nested(1)),
                HasSubstr("name of 129 bytes"));
    EXPECT_THAT(refusal("text", std::make_unique<Tm_string>(std::string("a\0b", 3))), HasSubstr("zero byte"));
    EXPECT_NE(refusal("text", std::make_unique<Tm_string>(std::string((64U << 20U) + 1, 'x'))),
              "nothing thrown");
}

constexpr std::tuple kOfStructs(&Tm_struct::get_member_int8, &Tm_struct::get_member_uint8,
                                &Tm_struct::get_member_int16, &Tm_struct::get_member_uint16,
                                &Tm_struct::get_member_int32, &Tm_struct::get_member_uint32,
                                &Tm_struct::get_member_int64, &Tm_struct::get_member_uint64,
                                &Tm_struct::get_member_double, &Tm_struct::get_member_bool,
                                &Tm_struct::get_member_string, &Tm_struct::get_member_struct,
                                &Tm_struct::get_member_array);
constexpr std::tuple kOfArrays(&Tm_array::get_member_int8, &Tm_array::get_member_uint8,
                               &Tm_array::get_member_int16, &Tm_array::get_member_uint16,
                               &Tm_array::get_member_int32, &Tm_array::get_member_uint32,
                               &Tm_array::get_member_int64, &Tm_array::get_member_uint64,
                               &Tm_array::get_member_double, &Tm_array::get_member_bool);

/// The kinds, in order, and values of the getters that do not complain about the kind.
template <class Getters, class... Place>
std::string read_with(const Getters& getters, const Place&... place) {
    std::string read;
    int kind = 0;
    const auto attempt = [&](auto getter) {
        try {
            const auto value = std::invoke(getter, place...);
            read += name_of(static_cast<TMV>(kind));
            if constexpr (std::is_arithmetic_v<decltype(value)>) read += " " + std::to_string(value);
        } catch (const Tm_type_mismatch_exception& mismatch) {
            EXPECT_EQ(mismatch.expected(), kind);
        }
        ++kind;
    };
    std::apply([&](auto... each) { (attempt(each), ...); }, getters);
    return read;
}
const auto read_from = [](const Tm_struct& in, const char* name) {
    return read_with(kOfStructs, in, name, 99);
};
template <class T>
std::string read_backed(const std::byte* bytes, TMV kind) {
    return read_with(kOfArrays, Tm_backed_array<const T*>(reinterpret_cast<const T*>(bytes), 1, kind), 0);
}

TEST(Containers_test, OnlyItsGetterReadsAValue) {
    const Message message = testing::rich_message(false);
    const Tm_struct& scalars = *message.get_member_struct(TMG_MEMBERS, "scalars");
    const std::string expected[] = {"int8 -128",
                                    "uint8 255",
                                    "int16 -32768",
                                    "uint16 65535",
                                    "int32 -2147483648",
                                    "uint32 4000000000",
                                    "int64 -9223372036854775808",
                                    "uint64 18446744073709551615",
                                    "double -0.000000",
                                    "bool 1"};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        const TMV kind = scalars.member_kind(i);
        EXPECT_EQ(read_from(scalars, scalars.member_name(i)), expected[i]);
        Tm_array array;
        array.add_member(scalars.member_scalar(i));
        EXPECT_EQ(read_with(kOfArrays, array, 0), expected[i]);
        const std::byte* bytes = array.simple_bytes(kind).data();
        const auto read_it = width_of(kind) == 1   ? read_backed<std::uint8_t>
                             : width_of(kind) == 2 ? read_backed<std::uint16_t>
                             : width_of(kind) == 4 ? read_backed<std::uint32_t>
                                                   : read_backed<std::uint64_t>;
        EXPECT_EQ(read_it(bytes, kind), expected[i]);
    }
    EXPECT_EQ(read_from(message.members(TMG_MEMBERS), "scalars"), "struct");
    EXPECT_EQ(read_from(message.members(TMG_MEMBERS), "lists"), "array");
    const Tm_struct& block = *message.get_member_array(TMG_MEMBERS, "blocks")->get_member_struct(0);
    EXPECT_EQ(read_from(block, "name"), "string");
    EXPECT_STREQ(block.get_member_string("name"), "first");
    EXPECT_EQ(read_from(block, "delta"), "int16 -200");
    EXPECT_THAT(error_of([&] { block.get_member_bool("Delta"); }), HasSubstr("'Delta'"));
    EXPECT_THAT(error_of([&] { block.get_member_bool("delta"); }),
                AllOf(HasSubstr("'delta'"), HasSubstr("int16 (2)"), HasSubstr("bool (9)")));
    EXPECT_EQ(error_of([] { Tm_scalar::of(std::uint16_t{1}).as<std::int16_t>(); }),
              "found uint16 (3), asked for int16 (2)");
}

TEST(Containers_test, StructsTakeDistinctNamesAndPrenamedOnesTheirTableInOrder) {
    Tm_names_catalog catalog;
    Tm_struct s;
    s.add_member("a", true, &catalog);
    EXPECT_TRUE(catalog.entries().empty()) << "the catalog is off";
    catalog.enable(true);
    s.add_member("b", 5U, &catalog);
    s.add_member_and_own("c", new Tm_simple(Tm_scalar::of(1.5)), &catalog);
    EXPECT_THROW(s.add_member("b", true, &catalog), Tm_exception);
    EXPECT_THROW(s.add_member_and_own("b", new Tm_struct, &catalog), Tm_exception);
    EXPECT_THROW(s.add_member_and_own("d", nullptr, &catalog), Tm_exception);
    EXPECT_THAT(catalog.entries(), ElementsAre("b", "c"));
    EXPECT_EQ(s.size(), 3U);
    EXPECT_EQ(s.get_member_double("c"), 1.5) << "a simple value is a simple member, however it was added";

    Tm_prenamed_struct prenamed;
    EXPECT_THAT(error_of([&] { prenamed.add_member(0, true, nullptr); }), HasSubstr("beyond")) << "no table";
    constexpr const char* kTwo[] = {"b", "y", nullptr};
    prenamed.clear(kTwo);
    for (int wrong : {-1, 1, 2}) {
        EXPECT_THAT(error_of([&] { prenamed.add_member(wrong, true, nullptr); }),
                    HasSubstr("member 0 (b) was due"));
    }
    prenamed.add_member(0, true, &catalog);
    prenamed.add_member(1, true, &catalog);
    EXPECT_THROW(prenamed.add_member(2, true, nullptr), Tm_exception);
    EXPECT_THROW(prenamed.add_member_and_own(2, new Tm_array, nullptr), Tm_exception);
    EXPECT_THROW(static_cast<Tm_struct&>(prenamed).add_member("z", true, nullptr), Tm_exception);
    EXPECT_THAT(catalog.entries(), ElementsAre("b", "c", "y"));
    EXPECT_EQ(catalog.find("y"), 2);
    prenamed.clear(kTwo);
    EXPECT_EQ(prenamed.size(), 0U);
}

TEST(Containers_test, ArraysHoldOneKindAndTakeOwnershipEvenWhenTheyRefuse) {
    Tm_array array;
    EXPECT_EQ(error_of([&] { array.get_member_uint8(0); }), "index 0 is outside an empty array");
    EXPECT_THROW(array.add_member_and_own(nullptr), Tm_exception);
    array.reserve(2);
    array.add_member_and_own(new Tm_string("x"));
    EXPECT_THROW(array.add_member_and_own(new Tm_array), Tm_type_mismatch_exception);
    EXPECT_THROW(array.add_member(Tm_scalar::of(1U)), Tm_type_mismatch_exception);
    EXPECT_THROW(array.get_member_uint8(5), Tm_type_mismatch_exception);
    for (int index : {-1, 1, 1000}) EXPECT_THROW(array.get_member_string(index), Tm_out_of_range_exception);
    EXPECT_STREQ(array.get_member_string(0), "x");
    array.clear();
    array.add_member_and_own(new Tm_simple(Tm_scalar::of(std::int16_t{-9})));
    array.add_member(Tm_scalar::of(std::int16_t{8}));
    EXPECT_EQ(array.get_member_int16(0), -9);
    EXPECT_EQ(array.simple_bytes(TMV_INT16).size(), 4U);
    EXPECT_THROW(array.simple_bytes(TMV_UINT16), Tm_type_mismatch_exception);
}

TEST(Containers_test, RunsAndObjectsMixInOrder) {
    const auto pair =
        Tm_flat_shape::intern({{.name = "a", .kind = TMV_UINT8}, {.name = "b", .kind = TMV_INT16}});
    Tm_array array;
    const auto add_object = [&array] {
        auto* object = new Tm_struct;
        object->add_member("a", Tm_scalar::of(static_cast<std::uint8_t>(array.size())), nullptr);
        array.add_member_and_own(object);
    };
    add_object();
    array.append_rows(pair, 1)[0] = std::byte{1};
    std::byte* rows = array.append_rows(pair, 2);  // joins the run before
    rows[0] = std::byte{2};
    rows[3] = std::byte{3};
    const std::byte borrowed[3] = {std::byte{4}, std::byte{0xff}, std::byte{0xff}};
    array.append_borrowed_run({pair, borrowed, 1});
    add_object();
    array.append_borrowed_run({pair, borrowed, 0});  // nothing
    EXPECT_EQ(array.append_rows(pair, 0), nullptr);
    EXPECT_THROW(array.append_rows(nullptr, 1), Tm_exception);
    EXPECT_THROW(array.append_rows(pair, std::size_t{1} << 60), Tm_exception);

    ASSERT_EQ(array.size(), 6U);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(array.get_member_struct(i)->get_member_uint8("a"), i);
    EXPECT_EQ(array.get_member_struct(4), array.get_member_struct(4)) << "unpacked once";
    EXPECT_EQ(array.get_member_struct(4)->get_member_int16("b"), -1);
    EXPECT_THROW(array.get_member_struct(6), Tm_out_of_range_exception);
    auto& unpacked = const_cast<Tm_struct&>(*array.get_member_struct(4));
    EXPECT_THROW(unpacked.add_member("more", true, nullptr), Tm_exception);
    std::vector<std::pair<std::size_t, std::size_t>> stretches;
    for (const auto& segment : array.segments()) {
        stretches.emplace_back(segment.first, segment.count);
        EXPECT_EQ(segment.run.count, segment.run.shape == nullptr ? 0 : segment.count);
    }
    EXPECT_THAT(stretches, ElementsAre(std::pair(0, 1), std::pair(1, 3), std::pair(4, 1), std::pair(5, 1)));
}

TEST(Containers_test, BackedArraysReferToMemoryOrCopyIt) {
    U32 numbers = {1, 2, 4000000000};
    Backed backed(numbers.begin(), 3, TMV_UINT32);
    const Copied copied(numbers.begin(), 3, TMV_UINT32);
    const std::unique_ptr<Tm_value> clone = backed.clone();
    numbers[1] = 20;
    EXPECT_EQ(backed.get_member_uint32(1), 20U);
    EXPECT_EQ(copied.get_member_uint32(1), 2U);
    EXPECT_EQ(testing::text_of(*clone), testing::text_of(copied));
    EXPECT_EQ(copied.simple_bytes(TMV_UINT32).size(), 12U);
    for (int index : {-1, 3, 1000}) {
        EXPECT_EQ(error_of([&] { backed.get_member_uint32(index); }),
                  "index " + std::to_string(index) + " is outside 0 to 2");
        EXPECT_EQ(error_of([&] { backed.get_member_uint16(index); }),
                  "found uint32 (5), asked for uint16 (3)");
    }
    const Backed empty(numbers.begin(), 0, TMV_UINT32);
    EXPECT_THROW(empty.get_member_uint32(0), Tm_out_of_range_exception);
    EXPECT_THROW(empty.get_member_int8(0), Tm_type_mismatch_exception);
    for (TMV kind : {TMV_STRING, TMV_STRUCT, TMV_ARRAY}) {
        const char* const text = "invalid use of Tm_backed_array: supports only simple TMV types";
        EXPECT_EQ(error_of([&] { Backed(numbers.begin(), 1, kind); }), text);
        EXPECT_EQ(error_of([&] { Copied(numbers.begin(), 1, kind); }), text);
    }
    EXPECT_THROW(Backed(numbers.begin(), 1, TMV_UINT64), Tm_exception) << "would read beyond the memory";
    EXPECT_THROW(Backed(numbers.begin(), -1, TMV_UINT32), Tm_exception);
    EXPECT_THROW(Copied(numbers.begin(), -1, TMV_UINT32), Tm_exception);

    const std::string refusal = "() is not supported by backed arrays";
    EXPECT_EQ(error_of([&] { backed.get_member_struct(0); }), "get_member_struct" + refusal);
    EXPECT_EQ(error_of([&] { backed.get_member_array(0); }), "get_member_array" + refusal);
    EXPECT_EQ(error_of([&] { backed.get_member_string(0); }), "get_member_string" + refusal);
    EXPECT_EQ(error_of([&] { backed.add_member(Tm_scalar::of(1U)); }), "add_member" + refusal);
    EXPECT_THROW(backed.add_member_and_own(new Tm_string("freed")), Tm_exception);
    EXPECT_THROW(backed.clear(), Tm_exception);
    EXPECT_THROW(backed.reserve(1), Tm_exception);
    EXPECT_THROW(backed.append_rows(Tm_flat_shape::intern(testing::event_members()), 1), Tm_exception);
    EXPECT_EQ(backed.size(), 3U);
}

TEST(Containers_test, ShapesOfRowsHaveAReasonableWidth) {
    const auto inline_array = [](std::size_t length, TMV element) {
        return Members{{.name = "n", .kind = TMV_ARRAY, .element = element, .length = length}};
    };
    EXPECT_EQ(Tm_flat_shape(testing::event_members()).total_members(), 6U);
    EXPECT_NO_THROW(Tm_flat_shape(inline_array(64 * 1024, TMV_UINT8)));
    EXPECT_THROW(Tm_flat_shape(inline_array(64 * 1024 + 1, TMV_UINT8)), Tm_exception);
    EXPECT_THROW(Tm_flat_shape(inline_array(SIZE_MAX / 4, TMV_UINT64)), Tm_exception);
    EXPECT_THROW(Tm_flat_shape(Members{{.name = "x", .kind = TMV_STRUCT}}), Tm_exception) << "nothing nested";
    auto doubled = std::make_shared<const Tm_flat_shape>(Members{});
    const auto grow = [&doubled] {
        for (int level = 0; level < 20; ++level)
            doubled = std::make_shared<const Tm_flat_shape>(
                Members{{.name = "a", .kind = TMV_STRUCT, .nested = doubled},
                        {.name = "b", .kind = TMV_STRUCT, .nested = doubled}});
    };
    EXPECT_THROW(grow(), Tm_exception) << "a million members in rows without a byte";
    EXPECT_NE(Tm_flat_shape::intern(inline_array(4, TMV_UINT8)),
              Tm_flat_shape::intern(inline_array(4, TMV_INT8)));
}

}  // namespace
}  // namespace orv::tm
