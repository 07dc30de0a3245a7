#include "tm/sample_messages.h"

#include <cstring>

#include "orv/tm/backed_array.h"

namespace orv::tm::testing {
namespace {

constexpr const char* kBlockNames[] = {"handle", "name", "enabled", "delta", nullptr};

std::unique_ptr<Tm_prenamed_struct> block(unsigned int handle, const char* name, Tm_names_catalog* catalog) {
    auto result = std::make_unique<Tm_prenamed_struct>();
    result->clear(kBlockNames);
    result->add_member(0, handle, catalog);
    result->add_member(1, name, catalog);
    result->add_member(2, handle % 2 == 0, catalog);
    result->add_member(3, static_cast<short>(-200), catalog);
    return result;
}

std::unique_ptr<Tm_struct> every_scalar(Tm_names_catalog* catalog) {
    auto result = std::make_unique<Tm_struct>();
    const Tm_scalar values[] = {Tm_scalar::of(std::int8_t{-128}),
                                Tm_scalar::of(std::uint8_t{255}),
                                Tm_scalar::of(std::int16_t{-32768}),
                                Tm_scalar::of(std::uint16_t{65535}),
                                Tm_scalar::of(std::int32_t{INT32_MIN}),
                                Tm_scalar::of(std::uint32_t{4000000000}),
                                Tm_scalar::of(std::int64_t{INT64_MIN}),
                                Tm_scalar::of(std::uint64_t{UINT64_MAX}),
                                Tm_scalar::of(-0.0),
                                Tm_scalar::of(true)};
    for (const Tm_scalar& value : values) result->add_member(name_of(value.kind), value, catalog);
    return result;
}

std::unique_ptr<Tm_array> blocks(Tm_names_catalog* catalog) {
    auto result = std::make_unique<Tm_array>();
    result->add_member_and_own(block(1, "first", catalog).release());
    result->add_member_and_own(block(2, "", catalog).release());
    append_events(*result, Tm_flat_shape::intern(event_members()), 5);
    result->add_member_and_own(every_scalar(catalog).release());
    return result;
}

std::unique_ptr<Tm_array> lists() {
    auto words = std::make_unique<Tm_array>();
    words->add_member_and_own(new Tm_string("one"));
    words->add_member_and_own(new Tm_string(""));
    auto numbers = std::make_unique<Tm_array>();
    for (std::uint16_t i = 0; i < 5; ++i) numbers->add_member(Tm_scalar::of(i));
    auto result = std::make_unique<Tm_array>();
    result->add_member_and_own(words.release());
    result->add_member_and_own(numbers.release());
    result->add_member_and_own(new Tm_array);
    return result;
}

/// Structs without members, which have no bytes to be packed into.
std::unique_ptr<Tm_array> empty_structs() {
    auto result = std::make_unique<Tm_array>();
    result->append_rows(Tm_flat_shape::intern({}), 3);
    return result;
}

template <class T>
void put(std::byte*& to, T value) {
    std::memcpy(to, &value, sizeof value);
    to += sizeof value;
}

}  // namespace

std::vector<Tm_flat_member> event_members() {
    auto channel =
        Tm_flat_shape::intern({{.name = "number", .kind = TMV_UINT8},
                               {.name = "address", .kind = TMV_ARRAY, .element = TMV_UINT8, .length = 4}});
    return {{.name = "time", .kind = TMV_UINT64},
            {.name = "counts", .kind = TMV_ARRAY, .element = TMV_UINT16, .length = 3},
            {.name = "channel", .kind = TMV_STRUCT, .nested = channel},
            {.name = "loss", .kind = TMV_BOOL}};
}

void append_events(Tm_array& to, const std::shared_ptr<const Tm_flat_shape>& shape, std::size_t count) {
    std::byte* row = to.append_rows(shape, count);
    for (std::size_t i = 0; i < count; ++i) {
        put(row, std::uint64_t{i});
        put(row, static_cast<std::uint8_t>(i % 7));
        put(row, i % 2 == 1);
        for (std::size_t k = 0; k < 3; ++k) put(row, static_cast<std::uint16_t>(i + k));
        for (const std::size_t octet : {std::size_t{10}, std::size_t{0}, std::size_t{0}, i})
            put(row, static_cast<std::uint8_t>(octet));
    }
}

Message rich_message(bool use_catalog) {
    static const std::vector<std::uint32_t> kHandles = {7, 8, 4000000000};
    Message message;
    message.set_use_send_member_string(use_catalog);
    message.set_msg_type(TMT_REQUEST);
    message.set_request_name("sample_1.Everything");
    message.header().set_seq_no(4000000001);
    message.header().set_discard_eligible(true);
    Tm_names_catalog* catalog = message.get_send_member_string(TMG_MEMBERS);
    message.add_member(TMG_MEMBERS, "handle", 12);
    message.add_member_and_own(TMG_MEMBERS, "scalars", every_scalar(catalog).release());
    message.add_member_and_own(TMG_MEMBERS, "blocks", blocks(catalog).release());
    message.add_member_and_own(TMG_MEMBERS, "lists", lists().release());
    message.add_member_and_own(TMG_MEMBERS, "empty structs", empty_structs().release());
    using Handles = std::vector<std::uint32_t>::const_iterator;
    message.add_member_and_own(TMG_MEMBERS, "handles",
                               new Tm_backed_array<Handles>(kHandles.begin(), 3, TMV_UINT32));
    message.add_member_and_own(
        TMG_MEMBERS, "no handles",
        new Tm_copy_backed_array<std::uint32_t, Handles>(kHandles.begin(), 0, TMV_UINT32));
    message.add_member(TMG_RESERVED, "reserved", 1);
    message.create_send_member_string_meta();
    return message;
}

std::vector<std::pair<std::string, Message>> sample_messages() {
    std::vector<std::pair<std::string, Message>> samples;
    samples.emplace_back("rich", rich_message(false));
    samples.emplace_back("rich_catalog", rich_message(true));
    const auto add = [&samples](const char* name, TMT type, const char* request) -> Message& {
        Message& message = samples.emplace_back(name, Message()).second;
        message.set_msg_type(type);
        message.set_request_name(request);
        return message;
    };
    samples.emplace_back("empty", Message());
    add("fault", TMT_FAULT, "sample_1.Start").set_fault(-3, "no such block");
    add("response", TMT_RESPONSE, "sample_1.Create").add_member(TMG_MEMBERS, "handle", 5);
    auto rows = std::make_unique<Tm_array>();
    append_events(*rows, Tm_flat_shape::intern(event_members()), 40);
    add("events", TMT_REQUEST, "sample_1.Events").add_member_and_own(TMG_MEMBERS, "events", rows.release());
    return samples;
}

}  // namespace orv::tm::testing
