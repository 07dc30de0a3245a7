#include "orv/tm/array.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "orv/tm/struct.h"
#include "tm/message_text.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

using testing::text_of;

Tm_struct* named(const char* name) {
    auto* result = new Tm_struct;
    result->add_member(name, true, nullptr);
    return result;
}

TEST(Tm_array_test, HoldsOneKindAndTakesOwnershipEvenWhenItRefuses) {
    Tm_array array;
    EXPECT_THROW(array.get_member_uint8(0), Tm_out_of_range_exception)
        << "an empty array has no kind to mismatch";
    EXPECT_THROW(array.add_member_and_own(nullptr), Tm_exception);
    array.reserve(2);
    array.add_member_and_own(new Tm_string("x"));
    EXPECT_THROW(array.add_member_and_own(new Tm_array), Tm_type_mismatch_exception);
    EXPECT_THROW(array.add_member(Tm_scalar::of(1U)), Tm_type_mismatch_exception);
    EXPECT_THROW(array.get_member_uint8(5), Tm_type_mismatch_exception);
    EXPECT_THROW(array.get_member_string(1), Tm_out_of_range_exception);
    EXPECT_STREQ(array.get_member_string(0), "x");
    array.clear();
    array.add_member_and_own(new Tm_simple(Tm_scalar::of(std::int16_t{-9})));
    array.add_member(Tm_scalar::of(std::int16_t{8}));
    EXPECT_EQ(array.get_member_int16(0), -9);
    EXPECT_EQ(array.simple_bytes(TMV_INT16).size(), 4U);
    EXPECT_THROW(array.simple_bytes(TMV_UINT16), Tm_type_mismatch_exception);
}

TEST(Tm_array_test, PackedStructsReadLikeObjects) {
    Tm_array array;
    const auto shape = Tm_flat_shape::intern(testing::event_members());
    ASSERT_EQ(shape->row_size(), 8U + 1 + 1 + 6 + 4);
    testing::append_events(array, shape, 4);
    const Tm_struct& event = *array.get_member_struct(3);
    EXPECT_EQ(event.get_member_uint64("time"), 3U);
    EXPECT_TRUE(event.get_member_bool("loss"));
    EXPECT_EQ(event.get_member_struct("channel")->get_member_uint8("number"), 3);
    EXPECT_EQ(event.get_member_struct("channel")->get_member_array("address")->get_member_uint8(3), 3);
    EXPECT_EQ(event.get_member_array("counts")->get_member_uint16(2), 5);
    EXPECT_EQ(array.get_member_struct(3), &event) << "unpacked once";
    EXPECT_THROW(array.get_member_struct(4), Tm_out_of_range_exception);
    EXPECT_THROW(const_cast<Tm_struct&>(event).add_member("more", true, nullptr), Tm_exception);

    const std::unique_ptr<Tm_value> element_copy = event.clone();
    const std::string element_text = text_of(event);
    const std::string text = text_of(array);
    const std::unique_ptr<Tm_value> copy = array.clone();
    array.clear();
    EXPECT_EQ(text_of(*copy), text);
    EXPECT_EQ(text_of(*element_copy), element_text);
}

TEST(Tm_array_test, RunsAndObjectsMixInOrder) {
    const auto pair =
        Tm_flat_shape::intern({{.name = "a", .kind = TMV_UINT8}, {.name = "b", .kind = TMV_INT16}});
    Tm_array array;
    array.add_member_and_own(named("first"));
    std::byte* rows = array.append_rows(pair, 1);
    rows[0] = std::byte{1};
    rows = array.append_rows(pair, 2);  // joins the run before
    rows[0] = std::byte{2};
    rows[3] = std::byte{3};
    const std::byte borrowed[3] = {std::byte{4}, std::byte{0xff}, std::byte{0xff}};
    array.append_borrowed_run({pair, borrowed, 1});
    array.add_member_and_own(named("last"));
    array.append_borrowed_run({pair, borrowed, 0});  // nothing
    EXPECT_EQ(array.append_rows(pair, 0), nullptr);
    EXPECT_THROW(array.append_rows(nullptr, 1), Tm_exception);
    EXPECT_THROW(array.append_rows(pair, std::size_t{1} << 60), Tm_exception);

    ASSERT_EQ(array.size(), 6U);
    EXPECT_EQ(array.get_member_struct(0)->get_member_index("first"), 0);
    for (int i = 1; i < 5; ++i) EXPECT_EQ(array.get_member_struct(i)->get_member_uint8("a"), i);
    EXPECT_EQ(array.get_member_struct(4)->get_member_int16("b"), -1);
    EXPECT_EQ(array.get_member_struct(5)->get_member_index("last"), 0);

    std::vector<std::pair<std::size_t, std::size_t>> stretches;
    for (const auto& segment : array.segments()) {
        stretches.emplace_back(segment.first, segment.count);
        EXPECT_EQ(segment.run.count, segment.run.shape == nullptr ? 0 : segment.count);
    }
    EXPECT_THAT(stretches,
                ::testing::ElementsAre(std::pair(0, 1), std::pair(1, 3), std::pair(4, 1), std::pair(5, 1)));
}

}  // namespace
}  // namespace orv::tm
