// Every request, response and notification: both sides agree, and a message of another type or name is
// refused.
#include <gmock/gmock.h>

#include "fuzz/any_message.h"
#include "thrown.h"

namespace {

using namespace orv::tm;
using testing_aids::Carried, testing_aids::ThrownBy;

/// Splits "iptvcd_1.Start request" into the request name and whether it is the request.
std::pair<std::string, bool> parts_of(const std::string& entry) {
    const std::size_t blank = entry.find(' ');
    return {entry.substr(0, blank), entry.substr(blank + 1) == "request"};
}

/// Interface requests are named by the set that offers them.
const auto is_unnamed = [](const std::string& name) { return name.starts_with("IFSETUP_1."); };

TEST(MessageRoundTrip, BothSidesAgree) {
    const auto check = []<class Create, class... Values>(const char* entry, Create create,
                                                         void (*parse)(const Message*, Values*...)) {
        SCOPED_TRACE(entry);
        const auto [name, is_request] = parts_of(entry);
        Carried<Values...> received;  // each round replaces what it held
        for (unsigned round = 0; round < 20; ++round) {
            Carried<Values...> sent;
            sent.fill(round);
            Message message;
            message.set_msg_type(TMT_FAULT);
            message.add_member(TMG_MEMBERS, "stale", 1);
            message.add_member(TMG_RESERVED, "stale", 1);
            sent.create(create, &message);
            EXPECT_EQ(message.get_msg_type(), is_request ? TMT_REQUEST : TMT_RESPONSE);
            EXPECT_EQ(message.get_request_name(), is_request && !is_unnamed(name) ? name : "");
            EXPECT_EQ(message.members(TMG_MEMBERS).size(), sizeof...(Values));
            EXPECT_EQ(message.members(TMG_RESERVED).size(), 0U);

            const std::vector<std::byte> bytes = message.encode();
            received.parse(parse, Message::decode(bytes));
            ASSERT_TRUE(received.values == sent.values) << "round " << round;

            Message again;
            received.create(create, &again);
            ASSERT_EQ(again.encode(), bytes) << "round " << round;
        }
    };
    msgset_test::for_each_message(check);
}

TEST(MessageRoundTrip, AnotherTypeOrNameIsRefused) {
    const auto check = []<class Create, class... Values>(const char* entry, Create create,
                                                         void (*parse)(const Message*, Values*...)) {
        SCOPED_TRACE(entry);
        const auto [name, is_request] = parts_of(entry);
        Carried<Values...> carried;
        Message message;
        carried.create(create, &message);
        const TMT good = is_request ? TMT_REQUEST : TMT_RESPONSE;
        for (const TMT type : {TMT_FAULT, is_request ? TMT_RESPONSE : TMT_REQUEST}) {
            message.set_msg_type(type);
            EXPECT_EQ(ThrownBy<Tm_type_mismatch_exception>([&] { carried.parse(parse, message); }),
                      Tm_type_mismatch_exception(type, good).what());
        }
        if (!is_request || is_unnamed(name)) return;
        message.set_msg_type(TMT_REQUEST);
        message.set_request_name("iptvcd_1.Unheard");
        EXPECT_THAT(ThrownBy<Tm_exception>([&] { carried.parse(parse, message); }),
                    testing::AllOf(testing::HasSubstr(name), testing::HasSubstr("iptvcd_1.Unheard")));
    };
    msgset_test::for_each_message(check);
}

}  // namespace
