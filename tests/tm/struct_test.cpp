#include "orv/tm/struct.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "orv/tm/array.h"
#include "tm/message_text.h"

namespace orv::tm {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

constexpr const char* kNames[] = {"b",   "text", "std", "i16", "i32",    "i64",  "u8",
                                  "u16", "u32",  "u64", "sub", "things", nullptr};

std::unique_ptr<Tm_prenamed_struct> full_struct(Tm_names_catalog* catalog = nullptr) {
    auto s = std::make_unique<Tm_prenamed_struct>();
    s->clear(kNames);
    s->add_member(0, true, catalog);
    s->add_member(1, "abc", catalog);
    s->add_member(2, std::string("def"), catalog);
    s->add_member(3, short{-3}, catalog);
    s->add_member(4, -4, catalog);
    s->add_member(5, -5L, catalog);
    s->add_member(6, static_cast<unsigned char>(6), catalog);
    s->add_member(7, static_cast<unsigned short>(7), catalog);
    s->add_member(8, 8U, catalog);
    s->add_member(9, 9UL, catalog);
    s->add_member_and_own(10, new Tm_struct, catalog);
    s->add_member_and_own(11, new Tm_array, catalog);
    return s;
}

/// Every getter of a struct, applied to one member; the kinds for which it did not throw.
std::vector<TMV> kinds_read(const Tm_struct& s, const char* name) {
    const std::vector<std::pair<TMV, std::function<void()>>> getters = {
        {TMV_INT8, [&] { s.get_member_int8(name); }},     {TMV_UINT8, [&] { s.get_member_uint8(name); }},
        {TMV_INT16, [&] { s.get_member_int16(name); }},   {TMV_UINT16, [&] { s.get_member_uint16(name); }},
        {TMV_INT32, [&] { s.get_member_int32(name); }},   {TMV_UINT32, [&] { s.get_member_uint32(name); }},
        {TMV_INT64, [&] { s.get_member_int64(name); }},   {TMV_UINT64, [&] { s.get_member_uint64(name); }},
        {TMV_DOUBLE, [&] { s.get_member_double(name); }}, {TMV_BOOL, [&] { s.get_member_bool(name); }},
        {TMV_STRING, [&] { s.get_member_string(name); }}, {TMV_STRUCT, [&] { s.get_member_struct(name); }},
        {TMV_ARRAY, [&] { s.get_member_array(name); }}};
    std::vector<TMV> read;
    for (const auto& [kind, getter] : getters) {
        try {
            getter();
            read.push_back(kind);
        } catch (const Tm_type_mismatch_exception& mismatch) {
            EXPECT_EQ(mismatch.expected(), kind) << name;
        }
    }
    return read;
}

TEST(Tm_prenamed_struct_test, OverloadFixesTheKindAndOnlyItsGetterReads) {
    const auto s = full_struct();
    const TMV kinds[] = {TMV_BOOL,  TMV_STRING, TMV_STRING, TMV_INT16,  TMV_INT32,  TMV_INT64,
                         TMV_UINT8, TMV_UINT16, TMV_UINT32, TMV_UINT64, TMV_STRUCT, TMV_ARRAY};
    for (std::size_t i = 0; i < std::size(kinds); ++i) {
        EXPECT_EQ(s->member_kind(i), kinds[i]) << kNames[i];
        EXPECT_THAT(kinds_read(*s, kNames[i]), ElementsAre(kinds[i])) << kNames[i];
    }
    EXPECT_STREQ(s->get_member_string("std"), "def");
    EXPECT_EQ(s->get_member_int64("i64"), -5);
    EXPECT_EQ(s->get_member_uint16("u16", 7), 7);
    EXPECT_EQ(s->get_member_uint16("u16", 99), 7) << "a wrong hint costs time, not the value";
}

TEST(Tm_prenamed_struct_test, MembersComeInOrderWithoutGapsWithinTheTable) {
    Tm_prenamed_struct s;
    EXPECT_THAT([&] { s.add_member(0, true, nullptr); }, ThrowsMessage<Tm_exception>(HasSubstr("beyond")))
        << "no table";
    constexpr const char* kTwo[] = {"x", "y", nullptr};
    s.clear(kTwo);
    for (int wrong : {-1, 1, 2}) {
        EXPECT_THAT([&] { s.add_member(wrong, true, nullptr); },
                    ThrowsMessage<Tm_exception>(HasSubstr("member 0 (x) was due")));
    }
    s.add_member(0, true, nullptr);
    s.add_member(1, true, nullptr);
    EXPECT_THROW(s.add_member(2, true, nullptr), Tm_exception);
    EXPECT_THROW(s.add_member_and_own(2, new Tm_array, nullptr), Tm_exception) << "and the array is freed";
    EXPECT_THROW(static_cast<Tm_struct&>(s).add_member("z", true, nullptr), Tm_exception);
    EXPECT_EQ(s.size(), 2U);
    s.clear(kTwo);
    EXPECT_EQ(s.size(), 0U);
}

TEST(Tm_struct_test, MissingMembersAndWrongKindsNameTheMember) {
    const auto s = full_struct();
    EXPECT_EQ(s->get_member_index("u8"), 6);
    EXPECT_EQ(s->get_member_index("u"), -1);
    EXPECT_THAT([&] { s->get_member_bool("U8"); }, ThrowsMessage<Tm_exception>(HasSubstr("'U8'")));
    EXPECT_THAT([&] { s->get_member_bool("u8"); },
                ThrowsMessage<Tm_type_mismatch_exception>(
                    AllOf(HasSubstr("'u8'"), HasSubstr("uint8 (1)"), HasSubstr("bool (9)"))));
}

TEST(Tm_struct_test, NamesAreDistinctAndNotedInTheCatalogThatIsOn) {
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
    full_struct(&catalog);
    EXPECT_EQ(catalog.entries().size(), 2 + std::size(kNames) - 2) << "b is there already";
    EXPECT_EQ(catalog.find("c"), 1);
}

TEST(Tm_struct_test, CloneIsEqualAndOutlivesTheOriginal) {
    auto original = full_struct();
    const std::string text = testing::text_of(*original);
    const std::unique_ptr<Tm_value> copy = original->clone();
    original.reset();
    EXPECT_EQ(testing::text_of(*copy), text);
}

}  // namespace
}  // namespace orv::tm
