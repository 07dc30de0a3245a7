// Every record of every set: what is written is read back, and a struct that is not the record's is refused.
#include <gmock/gmock.h>

#include "random_records.h"

namespace {

using namespace orv::tm;
using msgset_test::Random_values;

constexpr unsigned kRounds = 40;

template <class Record>
using Encode = void (*)(Tm_prenamed_struct*, const Record*, bool, Tm_names_catalog*);
template <class Record>
using Decode = void (*)(const Tm_struct*, Record*);

template <class Record>
std::vector<std::byte> bytes_of(const Record& record, Encode<Record> encode, bool use_catalog) {
    Message message;
    message.set_use_send_member_string(use_catalog);
    auto* out = new Tm_prenamed_struct;
    encode(out, &record, false, message.get_send_member_string(TMG_MEMBERS));
    message.add_member_and_own(TMG_MEMBERS, "record", out);
    message.create_send_member_string_meta();
    return message.encode();
}

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

template <class Record>
void expect_refused(const Tm_struct& in, Decode<Record> decode, const std::string& member) {
    Record record;
    try {
        decode(&in, &record);
        ADD_FAILURE() << "decoded without a proper member " << member;
    } catch (const Tm_exception& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("'" + member + "'"));
    }
}

TEST(RecordRoundTrip, EveryRecordComesBackFromItsBytes) {
    msgset_test::for_each_record(
        []<class Record>(const char* name, Encode<Record> encode, Decode<Record> decode) {
            SCOPED_TRACE(name);
            for (unsigned round = 0; round < kRounds; ++round) {
                Record sent;
                Random_values(round).fill(sent);
                const std::vector<std::byte> bytes = bytes_of(sent, encode, round % 2 == 0);
                const Message message = Message::decode(bytes);

                Record received;
                decode(message.get_member_struct(TMG_MEMBERS, "record"), &received);
                ASSERT_TRUE(received == sent) << "round " << round;
                ASSERT_EQ(bytes_of(received, encode, round % 2 == 0), bytes) << "round " << round;
            }
        });
}

TEST(RecordRoundTrip, AMissingMemberAndOneOfAnotherKindAreNamed) {
    msgset_test::for_each_record(
        []<class Record>(const char* name, Encode<Record> encode, Decode<Record> decode) {
            SCOPED_TRACE(name);
            Record record;
            Random_values(1).fill(record);
            Tm_prenamed_struct original;
            encode(&original, &record, true, nullptr);
            for (std::size_t i = 0; i < original.size(); ++i) {
                const std::string member = original.member_name(i);
                expect_refused(*altered(original, i, nullptr), decode, member);
                expect_refused(*altered(original, i, std::make_unique<Tm_simple>(Tm_scalar::of(1.0))), decode,
                               member);
            }
        });
}

TEST(RecordRoundTrip, DecodingReplacesWhatTheRecordHeld) {
    msgset_test::for_each_record(
        []<class Record>(const char* name, Encode<Record> encode, Decode<Record> decode) {
            SCOPED_TRACE(name);
            Record record;
            Record target;
            Random_values(2).fill(record);
            Random_values(3).fill(target);
            Tm_prenamed_struct out;
            encode(&out, &record, true, nullptr);
            decode(&out, &target);
            EXPECT_TRUE(target == record);
        });
}

TEST(RecordRoundTrip, EveryEnumerationValueHasItsOwnNameAndBack) {
    msgset_test::for_each_enum([](const char* name, const tm_enum_map* map) {
        SCOPED_TRACE(name);
        for (const tm_enum_map* row = map; row->name != nullptr; ++row) {
            EXPECT_STREQ(tms_enum_to_string(row->value, map), row->name);
            EXPECT_EQ(tms_string_to_enum(row->name, map), row->value);
        }
    });
}

}  // namespace
