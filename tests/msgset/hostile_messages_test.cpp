// Messages made to cost their reader more than their sender.
#include <gtest/gtest.h>

#include "msgset/interface_requests.h"
#include "msgset/iptvcd_1.h"
#include "orv/tm/message.h"

namespace {

using namespace orv::tm;

/// An array of a million structs of one byte each.
Tm_array* TinyStructs() {
    auto* array = new Tm_array;
    array->append_rows(std::make_shared<Tm_flat_shape>(std::vector<Tm_flat_member>{{"x", TMV_BOOL}}),
                       1000000);
    return array;
}

template <class Action>
std::string ErrorOf(const Action& action) {
    try {
        action();
    } catch (const Tm_exception& error) {
        return error.what();
    }
    return "no error";
}

TEST(HostileMessagesTest, RoomIsMadeForWhatHasBeenReadNotForWhatIsDeclared) {
    Message interfaces;
    interfaces.set_request_name("iptvcd_1.ConfigInterfaces");
    interfaces.add_member_and_own(TMG_MEMBERS, "ifStackList", TinyStructs());
    std::vector<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks;
    EXPECT_NE(ErrorOf([&] {
                  iptvcd_1_bll::parse_req_ConfigInterfaces(&interfaces, &stacks);
              }).find("ifDescriptors"),
              std::string::npos);
    EXPECT_LE(stacks.capacity(), 1024u);

    Message results;
    results.set_request_name("iptvcd_1.ResultsNotification");
    auto* block = new Tm_struct;
    block->add_member("stblock_handle", std::uint32_t{1}, nullptr);
    block->add_member_and_own("events", TinyStructs(), nullptr);
    auto* blocks = new Tm_array;
    blocks->add_member_and_own(block);
    results.add_member_and_own(TMG_MEMBERS, "events", blocks);
    std::vector<iptvcd_1_bll::stblock_event_s> events;
    EXPECT_NE(
        ErrorOf([&] { iptvcd_1_bll::parse_req_ResultsNotification(&results, &events); }).find("event_number"),
        std::string::npos);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_LE(events[0].events.capacity(), 1024u);
}

TEST(HostileMessagesTest, ErrorTextsAreShortAndPrintable) {
    const std::string text(1000000, '\n');
    Message message;
    message.set_request_name(text);
    std::vector<iptvcd_1_bll::profileConfig_s> profiles;
    const std::string error = ErrorOf([&] { iptvcd_1_bll::parse_req_UpdateProfile(&message, &profiles); });
    EXPECT_LT(error.size(), 300u);
    EXPECT_EQ(error.find('\n'), std::string::npos);
    const std::string unknown =
        ErrorOf([&] { tms_string_to_enum(text.c_str(), iptvcd_1_bll::em_ZapBehavior); });
    EXPECT_LT(unknown.size(), 300u);
    EXPECT_EQ(unknown.find('\n'), std::string::npos);
}

TEST(HostileMessagesTest, AnOptionalRecordComesOnceAtMost) {
    std::vector<iptvcd_1_bll::rrr_testConfig_s> twice(2);
    auto* optional = new Tm_array;
    for (const auto& record : twice) {
        auto* encoded = new Tm_prenamed_struct;
        iptvcd_1_bll::rrr_testConfig_t_to_struct(encoded, &record, true, nullptr);
        optional->add_member_and_own(encoded);
    }
    iptvcd_1_bll::testConfig_s config{};
    Tm_prenamed_struct encoded;
    config.rrr_test_config = twice;  // the encoder ends before the member
    iptvcd_1_bll::testConfig_t_to_struct(&encoded, &config, true, nullptr);
    encoded.add_member_and_own(18, optional, nullptr);
    iptvcd_1_bll::testConfig_s read{};
    EXPECT_EQ(ErrorOf([&] { iptvcd_1_bll::testConfig_t_from_struct(&encoded, &read); }),
              "member 'rrr_test_config' holds 2 records; it is optional and holds one at most");
}

}  // namespace
