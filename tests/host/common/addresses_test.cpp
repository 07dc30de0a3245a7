#include "orv/common/addresses.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

namespace {

using orv::common::CIpAddress;
using orv::common::CIpv6Address;
using orv::common::CMacAddress;

/// The text that an address has after reading, or "refused".
template <class Address>
std::string Reread(std::string_view text) {
    const auto address = Address::FromString(text);
    return address ? address->ToString() : "refused";
}

template <class Address>
Address Read(const std::string& text) {
    const auto address = Address::FromString(text);
    if (!address) throw std::invalid_argument("the test's own address is wrong: " + text);
    return *address;
}

struct TextCase {
    std::string_view text;
    std::string_view expected;
};

TEST(Addresses, Ipv4Text) {
    const TextCase cases[] = {
        {"192.0.2.1", "192.0.2.1"},
        {"0.0.0.0", "0.0.0.0"},
        {"255.255.255.255", "255.255.255.255"},
        {"", "refused"},
        {"192.0.2", "refused"},
        {"192.0.2.1.5", "refused"},
        {"192.0.2.256", "refused"},
        {"192.0.02.1", "refused"},
        {"192.0.2.1 ", "refused"},
        {" 192.0.2.1", "refused"},
        {"0xc0.0.2.1", "refused"},
        {"3221225985", "refused"},
        {"-1.0.0.0", "refused"},
        {{"192.0.2.1\0x", 11}, "refused"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(Reread<CIpAddress>(text), expected) << text;
}

TEST(Addresses, Ipv6Text) {
    const TextCase cases[] = {
        {"2001:DB8::1", "2001:db8::1"},
        {"2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
        {"::", "::"},
        {"::1", "::1"},
        {"1::", "1::"},
        {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one zero group is not shortened
        {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},           // the longest run of zeros is
        {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},     // the first of two of equal length
        {"1:2:3:4:5:6:0:0", "1:2:3:4:5:6::"},
        {"::1:0", "::1:0"},  // a small step is a number, not an IPv4 address
        {"::ffff:192.0.2.1", "::ffff:192.0.2.1"},
        {"64:ff9b::192.0.2.1", "64:ff9b::c000:201"},
        {"fe80::1%eth0", "refused"},
        {"1::2::3", "refused"},
        {"1:2:3:4:5:6:7", "refused"},
        {"1:2:3:4:5:6:7:8:9", "refused"},
        {"12345::", "refused"},
        {"::g", "refused"},
        {":1", "refused"},
        {"", "refused"},
        {"192.0.2.1", "refused"},
        {{"::1\0", 4}, "refused"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(Reread<CIpv6Address>(text), expected) << text;
}

TEST(Addresses, MacText) {
    const TextCase cases[] = {
        {"00:10:94:00:00:01", "00:10:94:00:00:01"}, {"AA-BB-cc-DD-ee-ff", "aa:bb:cc:dd:ee:ff"},
        {"00:10:94-00:00:01", "refused"},           {"00:10:94:00:00", "refused"},
        {"00:10:94:00:00:01:02", "refused"},        {"0:10:94:00:00:001", "refused"},
        {"00:10:94:00:00:0g", "refused"},           {"001094000001", "refused"},
        {"00.10.94.00.00.01", "refused"},           {"", "refused"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(Reread<CMacAddress>(text), expected) << text;
}

TEST(Addresses, SumsCarryAndWrap) {
    const auto v4 = [](const char* a, const char* step) {
        return (Read<CIpAddress>(a) += Read<CIpAddress>(step)).ToString();
    };
    const auto v6 = [](const char* a, const char* step) {
        return (Read<CIpv6Address>(a) += Read<CIpv6Address>(step)).ToString();
    };
    const auto mac = [](const char* a, const char* step) {
        return (Read<CMacAddress>(a) += Read<CMacAddress>(step)).ToString();
    };
    EXPECT_EQ(v4("192.0.2.255", "0.0.0.1"), "192.0.3.0");
    EXPECT_EQ(v4("255.255.255.255", "0.0.0.2"), "0.0.0.1");
    EXPECT_EQ(v6("2001:db8::ffff:ffff:ffff:ffff", "::1"), "2001:db8:0:1::");
    EXPECT_EQ(v6("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "::2"), "::1");
    EXPECT_EQ(mac("00:00:ff:ff:ff:ff", "00:00:00:00:00:01"), "00:01:00:00:00:00");
    EXPECT_EQ(mac("ff:ff:ff:ff:ff:ff", "00:00:00:00:00:01"), "00:00:00:00:00:00");
}

RC_GTEST_PROP(Addresses, AStepTimesACountIsTheStepAddedThatOften, (std::array<std::uint8_t, 16> bytes)) {
    const auto count = *rc::gen::inRange<std::uint32_t>(0, 300);
    const CIpv6Address step6(bytes.data());
    const CIpAddress step4(bytes.data());
    CIpv6Address sum6, product6 = step6;
    CIpAddress sum4, product4 = step4;
    for (std::uint32_t i = 0; i < count; ++i) {
        sum6 += step6;
        sum4 += step4;
    }
    product6 *= count;
    product4 *= count;
    RC_ASSERT(product6.ToString() == sum6.ToString());
    RC_ASSERT(product4.ToString() == sum4.ToString());
}

TEST(Addresses, AFactorOf32BitsCarriesThroughAllBytes) {
    CIpv6Address step = Read<CIpv6Address>("::ffff:ffff:ffff:ffff");
    step *= 0xffffffffu;
    EXPECT_EQ(step.ToString(), "::ffff:fffe:ffff:ffff:0:1");
}

RC_GTEST_PROP(Addresses, TextReadsBackAndMeansTheSameToTheSystem, (std::array<std::uint8_t, 16> bytes)) {
    // Zero groups are what the short form is about, so some are made.
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        if (*rc::gen::arbitrary<bool>()) bytes[i] = bytes[i + 1] = 0;
    }
    const CIpv6Address v6(bytes.data());
    RC_ASSERT(CIpv6Address::FromString(v6.ToString()) == v6);
    in6_addr read_by_system;
    RC_ASSERT(inet_pton(AF_INET6, v6.ToString().c_str(), &read_by_system) == 1);
    RC_ASSERT(std::equal(bytes.begin(), bytes.end(), read_by_system.s6_addr));
    const CIpAddress v4(bytes.data());
    RC_ASSERT(CIpAddress::FromString(v4.ToString()) == v4);
    const CMacAddress mac(bytes.data());
    RC_ASSERT(CMacAddress::FromString(mac.ToString()) == mac);
}

TEST(Addresses, BytesAreInNetworkOrder) {
    const std::uint8_t bytes[16] = {0xfe, 0x80, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14};
    std::uint8_t copy[16] = {};
    CIpAddress(bytes).CopyTo(copy);
    EXPECT_EQ(CIpAddress(bytes).GetValue(), 0xfe800102u);
    EXPECT_TRUE(std::equal(bytes, bytes + 4, copy));
    CIpv6Address(bytes).CopyTo(copy);
    EXPECT_TRUE(std::equal(bytes, bytes + 16, copy));
    EXPECT_EQ(CIpv6Address::FromLow32(0x01020304).ToString(), "::102:304");
}

TEST(Addresses, KindsOfAddresses) {
    EXPECT_TRUE(Read<CIpAddress>("224.0.0.0").IsMulticast());
    EXPECT_TRUE(Read<CIpAddress>("239.255.255.255").IsMulticast());
    EXPECT_FALSE(Read<CIpAddress>("223.255.255.255").IsMulticast());
    EXPECT_FALSE(Read<CIpAddress>("240.0.0.0").IsMulticast());
    EXPECT_TRUE(Read<CIpv6Address>("ff02::1").IsMulticast());
    EXPECT_FALSE(Read<CIpv6Address>("feff::1").IsMulticast());
    EXPECT_TRUE(Read<CIpv6Address>("fe80::1").IsLinkLocalAddr());
    EXPECT_TRUE(Read<CIpv6Address>("febf::1").IsLinkLocalAddr());
    EXPECT_FALSE(Read<CIpv6Address>("fec0::1").IsLinkLocalAddr());
    EXPECT_LT(Read<CIpAddress>("9.0.0.0"), Read<CIpAddress>("10.0.0.0"));
    EXPECT_LT(Read<CIpv6Address>("9::"), Read<CIpv6Address>("10::"));
}

}  // namespace
