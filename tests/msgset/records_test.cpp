// Records of every set: what is written is read back, and a struct that is not the record's is refused.
#include <gmock/gmock.h>

#include <cstring>
#include <fstream>

#include "orv/tm/backed_array.h"
#include "random_records.h"
#include "thrown.h"

namespace {

using namespace orv::tm;
using namespace iptvcd_1_bll;
using msgset_test::Random_values, testing::ElementsAre, testing::HasSubstr, testing_aids::ThrownBy;

template <class Record>
using Encode = void (*)(Tm_prenamed_struct*, const Record*, bool, Tm_names_catalog*);
template <class Record>
using Decode = void (*)(const Tm_struct*, Record*);

/// A copy of the struct with the member at `position` replaced by `value`, or left out when that is null.
std::unique_ptr<Tm_struct> altered(const Tm_struct& original, std::size_t position,
                                   std::unique_ptr<Tm_value> value) {
    auto copy = std::make_unique<Tm_struct>();
    for (std::size_t i = 0; i < original.size(); ++i) {
        if (i == position) {
            if (value) copy->add_member_and_own(original.member_name(i), value.release(), nullptr);
        } else if (const Tm_value* held = original.member_value(i)) {
            copy->add_member_and_own(original.member_name(i), held->clone().release(), nullptr);
        } else {
            copy->add_member(original.member_name(i), original.member_scalar(i), nullptr);
        }
    }
    return copy;
}

TEST(RecordRoundTrip, AMissingMemberAndOneOfAnotherKindAreNamed) {
    const auto check = []<class Record>(const char* name, Encode<Record> encode, Decode<Record> decode) {
        SCOPED_TRACE(name);
        Record record;
        Random_values(1).fill(record);
        Tm_prenamed_struct original;
        encode(&original, &record, true, nullptr);
        const double number[] = {1};
        for (std::size_t i = 0; i < original.size(); ++i) {
            std::unique_ptr<Tm_value> wrong[] = {
                nullptr, std::make_unique<Tm_simple>(Tm_scalar::of(1.0)),
                std::make_unique<Tm_backed_array<const double*>>(number, 1, TMV_DOUBLE)};
            for (auto& value : wrong) {
                const auto in = altered(original, i, std::move(value));
                EXPECT_THAT(ThrownBy<Tm_exception>([&] { decode(in.get(), &record); }),
                            HasSubstr("'" + std::string(original.member_name(i)) + "'"));
            }
        }
    };
    msgset_test::for_each_record(check);
}

TEST(RecordRoundTrip, EveryEnumerationValueHasItsOwnNameAndBack) {
    msgset_test::for_each_enum([](const char* name, const tm_enum_map* map) {
        for (const tm_enum_map* row = map; row->name != nullptr; ++row) {
            EXPECT_STREQ(tms_enum_to_string(row->value, map), row->name) << name;
            EXPECT_EQ(tms_string_to_enum(row->name, map), row->value) << name;
        }
    });
    testConfig_s config;
    Tm_prenamed_struct good;
    testConfig_t_to_struct(&good, &config, true, nullptr);
    const std::size_t test_type = static_cast<std::size_t>(good.get_member_index("test_type"));
    const auto in = altered(good, test_type, std::make_unique<Tm_string>("ZAP"));
    EXPECT_THAT(ThrownBy<Tm_exception>([&] { testConfig_t_from_struct(in.get(), &config); }),
                testing::AllOf(HasSubstr("'test_type'"), HasSubstr("'ZAP'")));
    EXPECT_THAT(ThrownBy<Tm_exception>([] { tms_enum_to_string(99, em_ZapBehavior); }),
                HasSubstr("value 99"));
}

// A change of a message shows as a changed line of fingerprints.txt, whose head says how to renew it.
TEST(Fingerprints, MessagesAreWhatTheyWere) {
    const auto lines_of = [](const char* path) {
        std::ifstream file(path);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);) lines.push_back(line);
        return lines;
    };
    const std::vector<std::string> golden = lines_of(GOLDEN_FINGERPRINTS);
    ASSERT_GT(golden.size(), 100U);
    EXPECT_THAT(lines_of(FINGERPRINTS), testing::ElementsAreArray(golden))
        << "a message, record or enumeration has changed; see the head of " << GOLDEN_FINGERPRINTS;
}

const auto v4 = [](std::uint8_t last) { return ipAddress_t{0, {.v4 = {{192, 0, 2, last}}}}; };

TEST(IpAddress, TravelsAsTheOneMemberOfItsTypeAndOfItsLength) {
    for (const char* name : {"v4", "v6", ""}) {
        const ipAddress_t sent{*name == 0 ? 2U : name[1] == '6', {}};
        Tm_struct out;
        ipAddress_t_to_struct(&out, &sent, true, nullptr);
        ASSERT_EQ(out.size(), sent.type < 2 ? 1U : 0U);
        if (sent.type == 2) continue;
        EXPECT_STREQ(out.get_member_struct(name)->member_name(0), "address");
    }
    for (int count : {0, 3, 5, 16}) {
        const std::uint8_t bytes[16] = {};
        auto nested = std::make_unique<Tm_struct>();
        nested->add_member_and_own(
            "address", new Tm_backed_array<const std::uint8_t*>(bytes, count, TMV_UINT8), nullptr);
        Tm_struct in;
        in.add_member_and_own("v4", nested.release(), nullptr);
        ipAddress_t received = v4(7);
        EXPECT_THROW(ipAddress_t_from_struct(&in, &received), Tm_exception) << count;
        EXPECT_TRUE(received == v4(7)) << count;
    }
}

TEST(IpAddress, EqualityLooksAtTheBytesOfTheType) {
    ipAddress_t a = v4(1), b = v4(1);
    b.v6.address[4] = 9;  // beyond the four bytes
    EXPECT_TRUE(a == b);
    a.type = b.type = 1;
    EXPECT_FALSE(a == b);
    b = v4(1);
    EXPECT_FALSE(a == b);
}

TEST(Requests, CopyArraysOnlyWhenAskedTo) {
    for (bool copy : {false, true}) {
        std::vector<std::uint32_t> handles = {1, 2};
        Message message;
        create_req_DeleteProfile(&message, handles, copy);
        handles[1] = 9;
        const Tm_array& array = *message.get_member_array(TMG_MEMBERS, "profile_handle");
        EXPECT_EQ(array.get_member_uint32(1), copy ? 2U : 9U);
    }
}

TEST(Requests, AboutInterfacesKeepTheNameOfTheMessageAndSwitchTheCatalogOn) {
    Message message;
    message.set_request_name("other_1.Operation");
    IFSETUP_1_bll::create_req_AttachInterfaces(&message, {5, 9}, true);
    EXPECT_EQ(message.get_request_name(), "other_1.Operation");
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks(1);
    stacks[0].VlanInterfaceList.resize(1);
    iptvcd_1_bll::create_req_ConfigInterfaces(&message, stacks, true);
    EXPECT_TRUE(message.get_use_send_member_string());
    for (const char* name : {"ifStackList", "VlanInterfaceList", "VlanId"})
        EXPECT_GE(message.catalog(TMG_MEMBERS).find(name), 0) << name;
}

/// An array of a million structs of one byte each.
Tm_array* TinyStructs() {
    auto* array = new Tm_array;
    const auto shape = std::make_shared<Tm_flat_shape>(std::vector<Tm_flat_member>{{"x", TMV_BOOL}});
    std::memset(array->append_rows(shape, 1000000), 0, 1000000);
    return array;
}

TEST(HostileMessages, RoomIsMadeForWhatHasBeenReadNotForWhatIsDeclared) {
    Message interfaces, results;
    interfaces.set_request_name("iptvcd_1.ConfigInterfaces");
    interfaces.add_member_and_own(TMG_MEMBERS, "ifStackList", TinyStructs());
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks;
    EXPECT_THAT(
        ThrownBy<Tm_exception>([&] { iptvcd_1_bll::parse_req_ConfigInterfaces(&interfaces, &stacks); }),
        HasSubstr("ifDescriptors"));
    EXPECT_LE(stacks.capacity(), 1024u);

    results.set_request_name("iptvcd_1.ResultsNotification");
    auto* block = new Tm_struct;
    block->add_member("stblock_handle", std::uint32_t{1}, nullptr);
    block->add_member_and_own("events", TinyStructs(), nullptr);
    auto* blocks = new Tm_array;
    blocks->add_member_and_own(block);
    results.add_member_and_own(TMG_MEMBERS, "events", blocks);
    std::vector<stblock_event_s> events;
    EXPECT_THAT(ThrownBy<Tm_exception>([&] { parse_req_ResultsNotification(&results, &events); }),
                HasSubstr("event_number"));
    ASSERT_EQ(events.size(), 1u);
    EXPECT_LE(events[0].events.capacity(), 1024u);
}

TEST(HostileMessages, ErrorTextsAreShortAndPrintable) {
    const std::string text(1000000, '\n');
    Message message;
    message.set_request_name(text);
    std::vector<profileConfig_s> profiles;
    for (const std::string& error :
         {ThrownBy<Tm_exception>([&] { parse_req_UpdateProfile(&message, &profiles); }),
          ThrownBy<Tm_exception>([&] { tms_string_to_enum(text.c_str(), em_ZapBehavior); })}) {
        EXPECT_LT(error.size(), 300u);
        EXPECT_EQ(error.find('\n'), std::string::npos);
    }
}

TEST(HostileMessages, AnOptionalRecordComesOnceAtMost) {
    std::vector<rrr_testConfig_s> twice(2);
    auto* optional = new Tm_array;
    for (const auto& record : twice) {
        auto* encoded = new Tm_prenamed_struct;
        rrr_testConfig_t_to_struct(encoded, &record, true, nullptr);
        optional->add_member_and_own(encoded);
    }
    testConfig_s config{};
    Tm_prenamed_struct encoded;
    config.rrr_test_config = twice;  // the encoder ends before the member
    testConfig_t_to_struct(&encoded, &config, true, nullptr);
    encoded.add_member_and_own(18, optional, nullptr);
    EXPECT_EQ(ThrownBy<Tm_exception>([&] { testConfig_t_from_struct(&encoded, &config); }),
              "member 'rrr_test_config' holds 2 records; it is optional and holds one at most");
}

}  // namespace
