// Values and their texts.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "data_model_fixture.h"

namespace data_model_test {

namespace {

CPropertyMeta MakeProperty(PropertyType type, bool collection = false) {
    CPropertyMeta meta;
    meta.name = "P";
    meta.type = type;
    meta.collection = collection;
    return meta;
}

CPropertyMeta MakeRange(PropertyType type, std::optional<double> minimum, std::optional<double> maximum) {
    CPropertyMeta meta = MakeProperty(type);
    meta.minimum = minimum;
    meta.maximum = maximum;
    return meta;
}

const CEnumMeta kMode{"Mode", {{"LOW", 0}, {"High", 5}}, {{"TOP", 5}}};

CPropertyMeta MakeMode(bool collection = false) {
    CPropertyMeta meta = MakeProperty(PropertyType::U8, collection);
    meta.enumeration = &kMode;
    return meta;
}

/// The text that a value has after reading, or why it was refused.
std::string Reread(const CPropertyMeta& meta, const std::string& text) {
    try {
        return meta.Format(meta.Parse(text));
    } catch (const COrvRunTimeError& error) {
        return error.what();
    }
}

struct TextCase {
    CPropertyMeta meta;
    std::string text;
    std::string expected;
};

TEST(PropertyText, IsReadAndWritten) {
    const TextCase cases[] = {
        {MakeProperty(PropertyType::Bool), "TRUE", "true"},
        {MakeProperty(PropertyType::Bool), "1", "true"},
        {MakeProperty(PropertyType::Bool), "False", "false"},
        {MakeProperty(PropertyType::Bool), "0", "false"},
        {MakeProperty(PropertyType::U8), "255", "255"},
        {MakeProperty(PropertyType::U8), "0xfF", "255"},
        {MakeProperty(PropertyType::U8), "-0", "0"},
        {MakeProperty(PropertyType::S16), "-32768", "-32768"},
        {MakeProperty(PropertyType::S16), "-0x8000", "-32768"},
        {MakeProperty(PropertyType::U64), "18446744073709551615", "18446744073709551615"},
        {MakeProperty(PropertyType::U64), "0xffffffffffffffff", "18446744073709551615"},
        {MakeProperty(PropertyType::S64), "-9223372036854775808", "-9223372036854775808"},
        {MakeProperty(PropertyType::S64), "9223372036854775807", "9223372036854775807"},
        {MakeProperty(PropertyType::Handle), "4294967295", "4294967295"},
        {MakeProperty(PropertyType::Double), "100000", "100000"},
        {MakeProperty(PropertyType::Double), "0.10", "0.1"},
        {MakeProperty(PropertyType::Double), "-1e3", "-1000"},
        {MakeProperty(PropertyType::Double), "1e300", "1e+300"},
        {MakeProperty(PropertyType::Double), "1e-9", "1e-09"},
        {MakeProperty(PropertyType::String), " \"as it stands\\ ", " \"as it stands\\ "},
        {MakeProperty(PropertyType::String), "", ""},
        {MakeProperty(PropertyType::OutputFilePath), "a b/c.csv", "a b/c.csv"},
        {MakeProperty(PropertyType::Ipv4), "192.0.2.1", "192.0.2.1"},
        {MakeProperty(PropertyType::Ipv6), "2001:DB8:0::1", "2001:db8::1"},
        {MakeProperty(PropertyType::Mac), "00-10-94-0A-00-01", "00:10:94:0a:00:01"},
        {MakeMode(), "low", "LOW"},
        {MakeMode(), "5", "High"},
        {MakeMode(), "0x5", "High"},
        {MakeRange(PropertyType::U8, 3, 4), "3", "3"},
        {MakeRange(PropertyType::Double, std::nullopt, 0.5), "0.5", "0.5"},
        {MakeProperty(PropertyType::U16, true), " 1\t0x10\n 65535 ", "1 16 65535"},
        {MakeProperty(PropertyType::U16, true), "", ""},
        {MakeProperty(PropertyType::Ipv6, true), ":: ::1", ":: ::1"},
        {MakeProperty(PropertyType::String, true), R"(a "b c" "" "\"\\" d\e)", R"(a "b c" "" "\"\\" "d\\e")"},
        {MakeMode(true), "high LOW 5", "High LOW High"},
    };
    for (const auto& [meta, text, expected] : cases) {
        EXPECT_EQ(Reread(meta, text), expected) << GetTypeName(meta.type) << " from \"" << text << "\"";
    }
}

TEST(PropertyText, IsRefusedWithTheReason) {
    const TextCase cases[] = {
        {MakeProperty(PropertyType::Bool), "no", "property P: \"no\" is neither true nor false"},
        {MakeProperty(PropertyType::Bool), "", "property P: \"\" is neither true nor false"},
        {MakeProperty(PropertyType::U8), "256", "property P: \"256\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "-1", "property P: \"-1\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "1.0", "property P: \"1.0\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "010", "property P: \"010\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "0x", "property P: \"0x\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "0x-1", "property P: \"0x-1\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "--1", "property P: \"--1\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "", "property P: \"\" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::U8), "1 ", "property P: \"1 \" is no whole number from 0 to 255"},
        {MakeProperty(PropertyType::S16), "-32769",
         "property P: \"-32769\" is no whole number from -32768 to 32767"},
        {MakeProperty(PropertyType::S16), "0x8000",
         "property P: \"0x8000\" is no whole number from -32768 to 32767"},
        {MakeProperty(PropertyType::S64), "9223372036854775808",
         "property P: \"9223372036854775808\" is no whole number from -9223372036854775808 to "
         "9223372036854775807"},
        {MakeProperty(PropertyType::U64), "18446744073709551616",
         "property P: \"18446744073709551616\" is no whole number from 0 to 18446744073709551615"},
        {MakeProperty(PropertyType::Double), "nan",
         "property P: \"nan\" is no number; allowed is any number"},
        {MakeProperty(PropertyType::Double), "1e999",
         "property P: \"1e999\" is no number; allowed is any number"},
        {MakeProperty(PropertyType::Double), "1,5",
         "property P: \"1,5\" is no number; allowed is any number"},
        {MakeProperty(PropertyType::Ipv4), "::1", "property P: \"::1\" is no ipv4 address"},
        {MakeProperty(PropertyType::Mac), "", "property P: \"\" is no mac address"},
        {MakeMode(), "medium", "property P: \"medium\" is none of LOW, High"},
        {MakeMode(), "1", "property P: 1 is none of LOW, High"},
        {MakeRange(PropertyType::U32, 5, 100000), "4", "property P: 4 is outside 5 to 100000"},
        {MakeRange(PropertyType::U32, 5, 100000), "100001", "property P: 100001 is outside 5 to 100000"},
        {MakeRange(PropertyType::U32, 5, std::nullopt), "x",
         "property P: \"x\" is no whole number from 5 to 4294967295"},
        {MakeRange(PropertyType::Double, 0, std::nullopt), "-0.5", "property P: -0.5 is outside at least 0"},
        {MakeProperty(PropertyType::U16, true), "1, 2",
         "property P: \"1,\" is no whole number from 0 to 65535"},
        {MakeProperty(PropertyType::String, true), R"(a "b)",
         "property P: a double quote is not closed in 'a \"b'"},
        {MakeProperty(PropertyType::String, true), R"("a"b)",
         "property P: a blank is missing behind a closing double quote in '\"a\"b'"},
        {MakeMode(true), "LOW medium", "property P: \"medium\" is none of LOW, High"},
    };
    for (const auto& [meta, text, expected] : cases) {
        EXPECT_EQ(Reread(meta, text), expected) << GetTypeName(meta.type) << " from \"" << text << "\"";
    }
}

TEST(PropertyText, AnEmptyTextIsTheNullOfANullableProperty) {
    CPropertyMeta meta = MakeProperty(PropertyType::U16);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { meta.Check(std::monostate{}); }),
              "property P: it must hold a value");
    meta.nullable = true;
    EXPECT_EQ(meta.Parse(""), PropertyValue());
    EXPECT_EQ(meta.Format(PropertyValue()), "");
    EXPECT_NO_THROW(meta.Check(std::monostate{}));
    EXPECT_EQ(meta.Parse("7"), PropertyValue(std::uint16_t{7}));
}

TEST(PropertyText, ValuesAreCheckedAsTextsAre) {
    const auto check = [](const CPropertyMeta& meta, PropertyValue value) {
        return ThrownBy<COrvRunTimeError>([&] { meta.Check(value); });
    };
    const CPropertyMeta ranged = MakeRange(PropertyType::U32, 5, 10);
    EXPECT_EQ(check(ranged, std::uint32_t{10}), "nothing thrown");
    EXPECT_EQ(check(ranged, std::uint32_t{11}), "property P: 11 is outside 5 to 10");
    EXPECT_EQ(check(ranged, std::uint16_t{7}), "property P: the value is not of type u32");
    EXPECT_EQ(check(ranged, Collection<std::uint32_t>({7})), "property P: the value is not of type u32");
    EXPECT_EQ(check(MakeMode(), std::uint8_t{1}), "property P: 1 is none of LOW, High");
    EXPECT_EQ(check(MakeMode(true), Collection<std::uint8_t>({5, 4})), "property P: 4 is none of LOW, High");
    EXPECT_EQ(check(MakeMode(true), std::uint8_t{5}),
              "property P: the value is not of type u8 (a collection)");
    const CPropertyMeta real = MakeProperty(PropertyType::Double);
    EXPECT_EQ(check(real, std::numeric_limits<double>::quiet_NaN()), "property P: nan is no number");
    EXPECT_EQ(check(real, std::numeric_limits<double>::infinity()), "property P: inf is no number");
    // A path is no text, so that they are not confused.
    EXPECT_EQ(check(MakeProperty(PropertyType::OutputFilePath), Boxed<std::string>("a")),
              "property P: the value is not of type output-file-path");
}

template <class Slot>
void CheckRoundTrip(const CPropertyMeta& meta, Slot slot) {
    const PropertyValue value(std::move(slot));
    const std::string text = meta.Format(value);
    RC_LOG() << "text: " << text;
    RC_ASSERT(meta.Parse(text) == value);
}

RC_GTEST_PROP(PropertyText, ReadsBackAsTheSameDouble, (std::uint64_t bits)) {
    double value;
    std::memcpy(&value, &bits, sizeof value);  // all sizes, denormal numbers among them
    RC_PRE(std::isfinite(value));
    CheckRoundTrip(MakeProperty(PropertyType::Double), value);
}

RC_GTEST_PROP(PropertyText, ReadsBackAsTheSameNumber,
              (std::int64_t s64, std::uint64_t u64, std::int32_t s32)) {
    CheckRoundTrip(MakeProperty(PropertyType::S64), s64);
    CheckRoundTrip(MakeProperty(PropertyType::U64), u64);
    CheckRoundTrip(MakeProperty(PropertyType::S32), s32);
}

RC_GTEST_PROP(PropertyText, ReadsBackAsTheSameTexts, ()) {
    const auto letter = rc::gen::element(' ', '\t', '\n', '"', '\\', '\'', 'a', ',', '\0');
    const auto texts = *rc::gen::container<std::vector<std::string>>(rc::gen::container<std::string>(letter));
    CheckRoundTrip(MakeProperty(PropertyType::String, true), Collection<std::string>(texts));
    if (!texts.empty()) CheckRoundTrip(MakeProperty(PropertyType::String), Boxed<std::string>(texts.front()));
}

}  // namespace

}  // namespace data_model_test
