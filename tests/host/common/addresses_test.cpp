#include "orv/common/addresses.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace {

using orv::common::CIpAddress, orv::common::CIpv6Address, orv::common::CMacAddress;

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

/// Pairs of a text and what it reads back as; then texts that are refused.
template <class Address>
void CheckTexts(const std::vector<std::pair<const char*, const char*>>& good,
                const std::vector<std::string>& bad) {
    for (const auto& [text, expected] : good) EXPECT_EQ(Reread<Address>(text), expected);
    for (const std::string& text : bad) EXPECT_EQ(Reread<Address>(text), "refused") << text;
}

TEST(Addresses, AreReadAndWritten) {
    using namespace std::string_literals;  // texts with a zero byte
    CheckTexts<CIpAddress>({{"192.0.2.1", "192.0.2.1"}, {"255.255.255.255", "255.255.255.255"}},
                           {"", "192.0.2", "192.0.2.1.5", "192.0.2.256", "192.0.02.1", "192.0.2.1 ",
                            " 192.0.2.1", "0xc0.0.2.1", "3221225985", "-1.0.0.0", "192.0.2.1\0x"s});
    CheckTexts<CIpv6Address>(
        {{"2001:DB8::1", "2001:db8::1"},
         {"2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
         {"2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one zero group is not shortened
         {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},           // the longest run of zeros is
         {"2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},     // the first of two of equal length
         {"1:2:3:4:5:6:0:0", "1:2:3:4:5:6::"},
         {"::1:0", "::1:0"},  // a small step is a number, not an IPv4 address
         {"::ffff:192.0.2.1", "::ffff:192.0.2.1"},
         {"64:ff9b::192.0.2.1", "64:ff9b::c000:201"}},
        {"fe80::1%eth0", "1::2::3", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:8:9", "12345::", "::g", ":1", "",
         "192.0.2.1", "::1\0"s});
    CheckTexts<CMacAddress>(
        {{"00:10:94:00:00:01", "00:10:94:00:00:01"}, {"AA-BB-cc-DD-ee-ff", "aa:bb:cc:dd:ee:ff"}},
        {"00:10:94-00:00:01", "00:10:94:00:00", "00:10:94:00:00:01:02", "0:10:94:00:00:001",
         "00:10:94:00:00:0g", "001094000001", "00.10.94.00.00.01", ""});
}

template <class Address>
std::string Sum(const char* a, const char* step) {
    return (Read<Address>(a) += Read<Address>(step)).ToString();
}

TEST(Addresses, SumsCarryAndWrap) {
    EXPECT_EQ(Sum<CIpAddress>("192.0.2.255", "0.0.0.1"), "192.0.3.0");
    EXPECT_EQ(Sum<CIpAddress>("255.255.255.255", "0.0.0.2"), "0.0.0.1");
    EXPECT_EQ(Sum<CIpv6Address>("2001:db8::ffff:ffff:ffff:ffff", "::1"), "2001:db8:0:1::");
    EXPECT_EQ(Sum<CIpv6Address>("ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "::2"), "::1");
    EXPECT_EQ(Sum<CMacAddress>("00:00:ff:ff:ff:ff", "00:00:00:00:00:01"), "00:01:00:00:00:00");
    EXPECT_EQ(Sum<CMacAddress>("ff:ff:ff:ff:ff:ff", "00:00:00:00:00:01"), "00:00:00:00:00:00");
    CIpv6Address step = Read<CIpv6Address>("::ffff:ffff:ffff:ffff");
    step *= 0xffffffffu;
    EXPECT_EQ(step.ToString(), "::ffff:fffe:ffff:ffff:0:1");
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

TEST(Addresses, KindsOfAddresses) {
    for (const char* text : {"224.0.0.0", "239.255.255.255"})
        EXPECT_TRUE(Read<CIpAddress>(text).IsMulticast());
    for (const char* text : {"223.255.255.255", "240.0.0.0"})
        EXPECT_FALSE(Read<CIpAddress>(text).IsMulticast());
    EXPECT_TRUE(Read<CIpv6Address>("ff02::1").IsMulticast());
    EXPECT_FALSE(Read<CIpv6Address>("feff::1").IsMulticast());
    for (const char* text : {"fe80::1", "febf::1"}) EXPECT_TRUE(Read<CIpv6Address>(text).IsLinkLocalAddr());
    EXPECT_FALSE(Read<CIpv6Address>("fec0::1").IsLinkLocalAddr());
    EXPECT_LT(Read<CIpAddress>("9.0.0.0"), Read<CIpAddress>("10.0.0.0"));
    EXPECT_EQ(CIpv6Address::FromLow32(0x01020304).ToString(), "::102:304");
    EXPECT_LT(Read<CIpv6Address>("9::"), Read<CIpv6Address>("10::"));
}

}  // namespace
