// Events travel as packed rows. However a peer sends them, the same records come out.
#include <gtest/gtest.h>

#include "random_records.h"

namespace {

using namespace orv::tm;
using namespace iptvcd_1_bll;
using msgset_test::Random_values;

static_assert(std::is_trivially_copyable_v<stbox_event_s>);
static_assert(std::is_trivially_copyable_v<stbox_event_rrr_s>);

std::vector<stbox_event_s> random_events(const std::vector<std::uint32_t>& address_types) {
    Random_values random(7);
    std::vector<stbox_event_s> events;
    for (std::uint32_t type : address_types) {
        random.fill(events.emplace_back());
        ipAddress_t& address = events.back().viewed_ip = {type, {}};
        if (type == ipAddress_t::kV4) random.fill(address.v4.address);
        if (type == ipAddress_t::kV6) random.fill(address.v6.address);
    }
    return events;
}

/// What a receiver gets: an address of no known type leaves the initial one.
std::vector<stbox_event_s> as_received(std::vector<stbox_event_s> events) {
    for (stbox_event_s& event : events)
        if (event.viewed_ip.type > ipAddress_t::kV6) event.viewed_ip = {};
    return events;
}

Message notification(const std::vector<stbox_event_s>& events) {
    Message message;
    create_req_ResultsNotification(&message, {{5, events, {}}}, true);
    return message;
}

/// Decoded where they are used, in two parts.
std::vector<stbox_event_s> parsed_in_place(const Message& message) {
    std::vector<stblock_event_in_place_s> blocks(3);
    parse_req_in_place_ResultsNotification(&message, &blocks);
    EXPECT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks.at(0).stblock_handle, 5U);
    const auto& events = blocks[0].events;
    const std::size_t part = events.size() * 2 / 5;
    std::vector<stbox_event_s> buffer, result;
    const auto take = [&](const stbox_event_s& event) { result.push_back(event); };
    events.for_each(0, part, buffer, take);
    EXPECT_EQ(result.size(), part);
    events.for_each(part, SIZE_MAX, buffer, take);
    events.for_each(events.size(), 1, buffer, take);  // none
    EXPECT_EQ(result.size(), events.size());
    return result;
}

std::vector<stbox_event_s> parsed(const Message& message) {
    std::vector<stblock_event_s> blocks(3);  // stale elements, which the parser drops
    parse_req_ResultsNotification(&message, &blocks);
    EXPECT_EQ(blocks.size(), 1U);
    EXPECT_EQ(blocks.at(0).stblock_handle, 5U);
    EXPECT_EQ(parsed_in_place(message), blocks[0].events);
    return blocks[0].events;
}

/// A notification of one block with this array of events.
Message notification_of(std::unique_ptr<Tm_array> events) {
    auto block = std::make_unique<Tm_struct>();
    block->add_member("stblock_handle", std::uint32_t{5}, nullptr);
    block->add_member_and_own("events", events.release(), nullptr);
    block->add_member_and_own("rrr_events", new Tm_array, nullptr);
    auto blocks = std::make_unique<Tm_array>();
    blocks->add_member_and_own(block.release());
    Message message;
    message.set_request_name("iptvcd_1.ResultsNotification");
    message.add_member_and_own(TMG_MEMBERS, "events", blocks.release());
    return message;
}

const Tm_array& events_of(const Message& message) {
    return *message.get_member_array(TMG_MEMBERS, "events")->get_member_struct(0)->get_member_array("events");
}

TEST(PackedRows, EventsOfAllAddressTypesTravelInRunsOfOneShape) {
    const auto events = random_events({0, 0, 1, 1, 1, 0, 7, 2, 0});
    const Message sent = notification(events);
    const std::size_t counts[] = {2, 3, 1, 2, 1};
    const auto runs = events_of(sent).segments();
    const Message arrived = Message::decode(sent.encode());
    ASSERT_EQ(runs.size(), std::size(counts));
    for (std::size_t i = 0; i < runs.size(); ++i) {
        ASSERT_NE(runs[i].run.shape, nullptr) << i;
        EXPECT_EQ(runs[i].count, counts[i]) << i;
        EXPECT_EQ(events_of(arrived).segments()[i].run.shape, runs[i].run.shape)
            << "not found by pointer: " << i;
    }
    EXPECT_EQ(parsed(sent), as_received(events));
    EXPECT_EQ(parsed(arrived), as_received(events));

    // Rows that are written when they are needed: into the bytes, or for a reader of the message.
    const std::vector<stblock_event_s> blocks{{5, events, {}}};
    Message waiting;
    create_req_ResultsNotification(&waiting, blocks, false);
    EXPECT_EQ(waiting.encode(), sent.encode());
    EXPECT_EQ(parsed(waiting), as_received(events));
    EXPECT_EQ(waiting.encode(), sent.encode());

    for (int i = 0; i < 9; ++i) {  // a reader that reads by name
        stbox_event_s received;
        stbox_event_t_from_struct(events_of(sent).get_member_struct(i), &received);
        EXPECT_EQ(received, as_received(events)[static_cast<std::size_t>(i)]) << i;
    }
}

TEST(PackedRows, EventsSentAsStructsGiveTheSameRecords) {
    const auto events = random_events({0, 1, 7, 0});
    auto array = std::make_unique<Tm_array>();
    for (const stbox_event_s& event : events) {
        auto element = std::make_unique<Tm_prenamed_struct>();
        stbox_event_t_to_struct(element.get(), &event, true, nullptr);
        array->add_member_and_own(element.release());
    }
    EXPECT_EQ(parsed(Message::decode(notification_of(std::move(array)).encode())), as_received(events));
}

/// An array of one run whose shape is not the one that is known.
std::unique_ptr<Tm_array> foreign_rows(const std::vector<Tm_flat_member>& members, const Tm_struct_run& run) {
    const auto shape = std::make_shared<Tm_flat_shape>(members);
    auto array = std::make_unique<Tm_array>();
    std::byte* rows = array->append_rows(shape, run.count);
    const std::size_t size = std::min(shape->row_size(), run.shape->row_size());
    for (std::size_t i = 0; i < run.count; ++i)
        std::memcpy(rows + (i + 1) * shape->row_size() - size, run.rows + i * run.shape->row_size(), size);
    return array;
}

TEST(PackedRows, OtherShapesAreReadByNameAsFarAsTheyHaveAll) {
    const auto events = random_events({1, 1});
    const Message original = notification(events);
    const Tm_struct_run run = events_of(original).segments()[0].run;
    std::vector<Tm_flat_member> members = run.shape->members();
    EXPECT_EQ(parsed(notification_of(foreign_rows(members, run))), events) << "equal, but not interned";
    members.insert(members.begin(), {.name = "signal_level", .kind = TMV_UINT32});
    const Message newer = notification_of(foreign_rows(members, run));
    EXPECT_EQ(parsed(newer), events);
    EXPECT_EQ(parsed(Message::decode(newer.encode())), events);
    members.pop_back();
    const Message lacking = notification_of(foreign_rows(members, run));
    EXPECT_THROW(parsed(lacking), Tm_exception);
    EXPECT_THROW(parsed_in_place(lacking), Tm_exception) << "before any record is used";
}

TEST(PackedRows, ManyEventsAreDecodedAFewAtATime) {
    std::vector<std::uint32_t> types(150, 1);
    types[40] = types[41] = 7;  // no trace of the addresses that were decoded before
    types.resize(250, 0);
    const auto events = random_events(types);
    EXPECT_EQ(parsed(Message::decode(notification(events).encode())), as_received(events));
}

TEST(PackedRows, AnyByteButZeroIsTrue) {
    const Message original = notification(random_events({0}));
    const Tm_struct_run run = events_of(original).segments()[0].run;
    std::vector<std::byte> rows(run.rows, run.rows + run.shape->row_size());
    rows[run.shape->simple_size() - 1] = std::byte{2};  // sbit_failure, the last simple member
    auto array = std::make_unique<Tm_array>();
    array->append_borrowed_run({run.shape, rows.data(), 1});
    EXPECT_TRUE(parsed(notification_of(std::move(array))).at(0).sbit_failure);
}

}  // namespace
