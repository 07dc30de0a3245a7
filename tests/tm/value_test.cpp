#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "orv/tm/enum_map.h"
#include "orv/tm/exceptions.h"
#include "orv/tm/value.h"

namespace orv::tm {
namespace {

using ::testing::HasSubstr;
using ::testing::StrEq;
using ::testing::ThrowsMessage;

TEST(Tm_scalar_test, KeepsKindAndValueAndGivesOutNothingElse) {
    EXPECT_EQ(Tm_scalar::of(std::int8_t{-128}).as<std::int8_t>(), -128);
    EXPECT_EQ(Tm_scalar::of(std::uint64_t{1} << 63).as<std::uint64_t>(), std::uint64_t{1} << 63);
    EXPECT_EQ(Tm_scalar::of(-2.5).as<double>(), -2.5);
    EXPECT_TRUE(Tm_scalar::of(true).as<bool>());
    EXPECT_THAT([] { Tm_scalar::of(std::uint16_t{1}).as<std::int16_t>(); },
                ThrowsMessage<Tm_type_mismatch_exception>(StrEq("found uint16 (3), asked for int16 (2)")));
}

TEST(Exceptions_test, TextsSayWhatWasFoundAndWhatWasWanted) {
    EXPECT_STREQ(Tm_out_of_range_exception(5, 0, 3).what(), "index 5 is outside 0 to 3");
    EXPECT_STREQ(Tm_out_of_range_exception(0, 0, -1).what(), "index 0 is outside an empty array");
    const Tm_type_mismatch_exception type(TMT_FAULT, TMT_RESPONSE);
    EXPECT_STREQ(type.what(), "found fault (2), expected response (1)");
    EXPECT_EQ(type.found(), 2);
    EXPECT_EQ(type.expected(), 1);
}

TEST(Enum_map_test, FindsBothWaysAndReportsTheUnknown) {
    constexpr tm_enum_map kMap[] = {{4, "IPV4"}, {6, "IPV6"}, {-1, ""}, {0, nullptr}};
    for (int value : {4, 6, -1}) EXPECT_EQ(tms_string_to_enum(tms_enum_to_string(value, kMap), kMap), value);
    EXPECT_THAT([&] { tms_enum_to_string(0, kMap); }, ThrowsMessage<Tm_exception>(HasSubstr("value 0")));
    EXPECT_THAT([&] { tms_string_to_enum("ipv4", kMap); }, ThrowsMessage<Tm_exception>(HasSubstr("'ipv4'")));
}

}  // namespace
}  // namespace orv::tm
