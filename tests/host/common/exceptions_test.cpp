#include "orv/common/exceptions.h"

#include <gtest/gtest.h>

namespace {

using orv::common::COrvException;
using orv::common::COrvLogicError;
using orv::common::COrvRunTimeError;

TEST(Exceptions, AFailedAssertionSaysWhatWasExpectedAndWhere) {
    const int answer = 41;
    std::string expected =
        "Assertion Failed: The answer is known Expression: answer == 42 File: " ORV_SOURCE_FILE " Line: ";
    try {
        expected += std::to_string(__LINE__ + 1);
        ORV_ASSERT(answer == 42, "The answer is known");
        FAIL() << "nothing thrown";
    } catch (const COrvLogicError& error) {
        EXPECT_EQ(error.what(), expected);
    }
    EXPECT_NO_THROW(ORV_ASSERT(answer == 41, "Not thrown"));
}

TEST(Exceptions, KindsAreToldApartByType) {
    EXPECT_THROW(throw COrvLogicError("a", true), COrvException);
    EXPECT_THROW(throw COrvRunTimeError("a", true), COrvException);
    EXPECT_FALSE((std::is_convertible_v<COrvRunTimeError*, COrvLogicError*>));
}

}  // namespace
