#include "orv/tm/backed_array.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tm/message_text.h"

namespace orv::tm {
namespace {

using ::testing::StrEq;
using ::testing::ThrowsMessage;

using U32 = std::vector<unsigned int>;
using Backed = Tm_backed_array<U32::const_iterator>;
using Copied = Tm_copy_backed_array<unsigned int, U32::iterator>;

TEST(Tm_backed_array_test, RefersToTheMemoryOrCopiesIt) {
    U32 numbers = {1, 2, 4000000000};
    const Backed backed(numbers.begin(), 3, TMV_UINT32);
    const Copied copied(numbers.begin(), 3, TMV_UINT32);
    const std::unique_ptr<Tm_value> clone = backed.clone();
    numbers[1] = 20;
    EXPECT_EQ(backed.get_member_uint32(1), 20U);
    EXPECT_EQ(copied.get_member_uint32(1), 2U);
    EXPECT_EQ(copied.get_member_uint32(2), 4000000000U);
    EXPECT_EQ(static_cast<const Tm_array&>(*clone).get_member_uint32(1), 2U);
    EXPECT_EQ(testing::text_of(*clone), testing::text_of(copied));
    EXPECT_EQ(copied.simple_bytes(TMV_UINT32).size(), 12U);
}

TEST(Tm_backed_array_test, ReadsEveryElementType) {
    const unsigned char raw[] = {1, 255};
    EXPECT_EQ(Tm_backed_array<const unsigned char*>(raw, 2, TMV_UINT8).get_member_uint8(1), 255);
    std::vector<unsigned char> bytes = {3, 4};
    EXPECT_EQ(Tm_backed_array<std::vector<unsigned char>::iterator>(bytes.begin(), 2, TMV_UINT8)
                  .get_member_uint8(1),
              4);
    std::vector<unsigned short> words = {5, 65535};
    EXPECT_EQ(Tm_backed_array<std::vector<unsigned short>::iterator>(words.begin(), 2, TMV_UINT16)
                  .get_member_uint16(1),
              65535);
    const double doubles[] = {0.5};
    EXPECT_EQ(Tm_backed_array<const double*>(doubles, 1, TMV_DOUBLE).get_member_double(0), 0.5);
    const std::int64_t longs[] = {-7};
    EXPECT_EQ(Tm_backed_array<const std::int64_t*>(longs, 1, TMV_INT64).get_member_int64(0), -7);
    EXPECT_TRUE(Tm_backed_array<const unsigned char*>(raw, 2, TMV_BOOL).get_member_bool(1))
        << "any byte but 0 is true";
}

TEST(Tm_backed_array_test, KindIsCheckedBeforeTheIndex) {
    const U32 numbers = {1, 2, 3};
    const Backed array(numbers.begin(), 3, TMV_UINT32);
    for (int index : {-1, 3, 1000}) {
        try {
            array.get_member_uint32(index);
            ADD_FAILURE() << index;
        } catch (const Tm_out_of_range_exception& e) {
            EXPECT_EQ(std::make_tuple(e.index(), e.low(), e.high()), std::make_tuple(index, 0, 2));
        }
        EXPECT_THAT(
            [&] { array.get_member_uint16(index); },
            ThrowsMessage<Tm_type_mismatch_exception>(StrEq("found uint32 (5), asked for uint16 (3)")));
    }
    EXPECT_THROW(Backed(numbers.begin(), 0, TMV_UINT32).get_member_uint32(0), Tm_out_of_range_exception);
    EXPECT_THROW(Backed(numbers.begin(), 0, TMV_UINT32).get_member_int8(0), Tm_type_mismatch_exception);
}

TEST(Tm_backed_array_test, TakesSimpleKindsOfTheElementsWidthOnly) {
    U32 numbers = {1};
    for (TMV kind : {TMV_STRING, TMV_STRUCT, TMV_ARRAY}) {
        const auto text = StrEq("invalid use of Tm_backed_array: supports only simple TMV types");
        EXPECT_THAT([&] { Backed(numbers.begin(), 1, kind); }, ThrowsMessage<Tm_exception>(text));
        EXPECT_THAT([&] { Copied(numbers.begin(), 1, kind); }, ThrowsMessage<Tm_exception>(text));
    }
    EXPECT_THROW(Backed(numbers.begin(), 1, TMV_UINT64), Tm_exception) << "would read beyond the memory";
    EXPECT_THROW(Backed(numbers.begin(), -1, TMV_UINT32), Tm_exception);
    EXPECT_THROW(Copied(numbers.begin(), -1, TMV_UINT32), Tm_exception);
}

TEST(Tm_backed_array_test, RefusesWhatOnlyGeneralArraysCanDo) {
    U32 numbers = {1};
    Backed array(numbers.begin(), 1, TMV_UINT32);
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"get_member_message", [&] { array.get_member_message(0); }},
        {"get_member_file", [&] { array.get_member_file(0); }},
        {"get_member_binary", [&] { array.get_member_binary(0); }},
        {"get_member_date", [&] { array.get_member_date(0); }},
        {"get_member_struct", [&] { array.get_member_struct(0); }},
        {"get_member_array", [&] { array.get_member_array(0); }},
        {"get_member_string", [&] { array.get_member_string(0); }},
        {"add_member_and_own", [&] { array.add_member_and_own(new Tm_string("freed")); }},
        {"add_member", [&] { array.add_member(Tm_scalar::of(1U)); }},
        {"clear", [&] { array.clear(); }},
        {"reserve", [&] { array.reserve(1); }},
    };
    for (const auto& [name, operation] : operations) {
        EXPECT_THAT(operation, ThrowsMessage<Tm_exception>(
                                   StrEq(std::string(name) + "() is not supported by backed arrays")));
    }
    const auto shape = Tm_flat_shape::intern({{.name = "x", .kind = TMV_UINT8}});
    EXPECT_THROW(array.append_rows(shape, 1), Tm_exception);
    EXPECT_EQ(array.size(), 1U);
}

}  // namespace
}  // namespace orv::tm
