// Values and their texts.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "host/aids.h"
#include "orv/framework/meta_class.h"

namespace {

using namespace host_test;  // NOLINT: a test

using Type = PropertyType;

CPropertyMeta Property(Type type, std::optional<double> minimum = {}, std::optional<double> maximum = {}) {
    CPropertyMeta meta;
    meta.name = "P";
    meta.type = type;
    meta.minimum = minimum;
    meta.maximum = maximum;
    return meta;
}

CPropertyMeta List(CPropertyMeta meta) {
    meta.collection = true;
    return meta;
}

const CEnumMeta kMode{"Mode", {{"LOW", 0}, {"High", 5}}, {{"TOP", 5}}};

CPropertyMeta Mode() {
    CPropertyMeta meta = Property(Type::U8);
    meta.enumeration = &kMode;
    return meta;
}

struct TextCase {
    CPropertyMeta meta;
    std::string text, expected;
};

TEST(PropertyText, IsReadAndWritten) {
    const TextCase cases[] = {
        {Property(Type::Bool), "TRUE", "true"},
        {Property(Type::Bool), "False", "false"},
        {Property(Type::Bool), "0", "false"},
        {Property(Type::U8), "0xfF", "255"},
        {Property(Type::S16), "-0x8000", "-32768"},
        {Property(Type::U64), "0xffffffffffffffff", "18446744073709551615"},
        {Property(Type::Handle), "4294967295", "4294967295"},
        {Property(Type::Double), "-1e3", "-1000"},
        {Property(Type::Double), "1e300", "1e+300"},
        {Property(Type::Mac), "00-10-94-0A-00-01", "00:10:94:0a:00:01"},
        {Mode(), "0x5", "High"},
        {Property(Type::Double, {}, 0.5), "0.5", "0.5"},
        {List(Property(Type::U16)), " 1\t0x10\n 65535 ", "1 16 65535"},
        {List(Property(Type::Ipv6)), ":: 2001:DB8:0::1", ":: 2001:db8::1"},
        {List(Property(Type::String)), R"(a "b c" "" "\"\\" d\e)", R"(a "b c" "" "\"\\" "d\\e")"},
        {List(Mode()), "high LOW 5 top", "High LOW High High"}};
    for (const auto& [meta, text, expected] : cases)
        EXPECT_EQ(meta.Format(meta.Parse(text)), expected)
            << GetTypeName(meta.type) << " from \"" << text << "\"";
}

TEST(PropertyText, IsRefusedWithTheReason) {
    std::vector<TextCase> cases = {
        {Property(Type::Bool), "no", "\"no\" is neither true nor false"},
        {Property(Type::S16), "0x8000", "\"0x8000\" is no whole number from -32768 to 32767"},
        {Property(Type::U64), "18446744073709551616",
         "\"18446744073709551616\" is no whole number from 0 to 18446744073709551615"},
        {Property(Type::S64), "9223372036854775808",
         "\"9223372036854775808\" is no whole number from -9223372036854775808 to 9223372036854775807"},
        {Property(Type::Double), "nan", "\"nan\" is no number; allowed is any number"},
        {Property(Type::Double), "1e999", "\"1e999\" is no number; allowed is any number"},
        {Property(Type::Mac), "", "\"\" is no mac address"},
        {Mode(), "medium", "\"medium\" is none of LOW, High"},
        {Mode(), "1", "1 is none of LOW, High"},
        {Property(Type::U32, 5, 100000), "4", "4 is outside 5 to 100000"},
        {Property(Type::U32, 5), "x", "\"x\" is no whole number from 5 to 4294967295"},
        {Property(Type::Double, 0), "-0.5", "-0.5 is outside at least 0"},
        {Property(Type::Double, {}, 0.5), "0.6", "0.6 is outside at most 0.5"},
        {List(Property(Type::U16)), "1, 2", "\"1,\" is no whole number from 0 to 65535"},
        {List(Property(Type::String)), R"(a "b)", "a double quote is not closed in 'a \"b'"},
        {List(Property(Type::String)), R"("a"b)",
         "a blank is missing behind a closing double quote in '\"a\"b'"},
        {List(Mode()), "LOW medium", "\"medium\" is none of LOW, High"}};
    for (const char* text : {"256", "-1", "1.0", "010", "0x", "0x-1", "--1", "", "1 "}) {
        cases.push_back(
            {Property(Type::U8), text, std::string("\"") + text + "\" is no whole number from 0 to 255"});
    }
    for (const auto& [meta, text, expected] : cases) {
        EXPECT_EQ(ThrownBy<COrvRunTimeError>([&, &meta = meta, &text = text] { meta.Parse(text); }),
                  "property P: " + expected);
    }
}

TEST(PropertyText, ValuesAreCheckedAsTextsAre) {
    const CPropertyMeta ranged = Property(Type::U32, 5, 10);
    const struct {
        CPropertyMeta meta;
        PropertyValue value;
        const char* expected;
    } cases[] = {{ranged, std::uint32_t{11}, "11 is outside 5 to 10"},
                 {ranged, std::uint16_t{7}, "the value is not of type u32"},
                 {ranged, Collection<std::uint32_t>({7}), "the value is not of type u32"},
                 {Mode(), std::uint8_t{1}, "1 is none of LOW, High"},
                 {List(Mode()), Collection<std::uint8_t>({5, 4}), "4 is none of LOW, High"},
                 {List(Mode()), std::uint8_t{5}, "the value is not of type u8 (a collection)"},
                 {Property(Type::Double), std::numeric_limits<double>::quiet_NaN(), "nan is no number"},
                 {Property(Type::Double), std::numeric_limits<double>::infinity(), "inf is no number"},
                 {Property(Type::OutputFilePath), Boxed<std::string>("a"),
                  "the value is not of type output-file-path"}};
    for (const auto& c : cases) {
        EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { c.meta.Check(c.value); }),
                  std::string("property P: ") + c.expected);
    }
    EXPECT_NO_THROW(ranged.Check(std::uint32_t{10}));
    CPropertyMeta nullable = Property(Type::U16);
    EXPECT_THROW(nullable.Check(std::monostate{}), COrvRunTimeError);
    nullable.nullable = true;
    EXPECT_EQ(nullable.Parse(""), PropertyValue());
    EXPECT_NO_THROW(nullable.Check(std::monostate{}));
}

template <class Slot>
void CheckRoundTrip(const CPropertyMeta& meta, Slot slot) {
    const PropertyValue value(std::move(slot));
    RC_ASSERT(meta.Parse(meta.Format(value)) == value);
}

RC_GTEST_PROP(PropertyText, ReadsBackAsTheSameDouble, (std::uint64_t bits)) {
    double value;
    std::memcpy(&value, &bits, sizeof value);  // all sizes, denormal numbers among them
    RC_PRE(std::isfinite(value));
    CheckRoundTrip(Property(Type::Double), value);
}

RC_GTEST_PROP(PropertyText, ReadsBackAsTheSameTexts, ()) {
    const auto letter = rc::gen::element(' ', '\t', '\n', '"', '\\', '\'', 'a', ',', '\0');
    const auto texts = *rc::gen::container<std::vector<std::string>>(rc::gen::container<std::string>(letter));
    CheckRoundTrip(List(Property(Type::String)), Collection<std::string>(texts));
    if (!texts.empty()) CheckRoundTrip(Property(Type::String), Boxed<std::string>(texts.front()));
}

}  // namespace
