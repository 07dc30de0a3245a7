#include "msgset/msgset_support.h"

#include <fmt/format.h>

namespace orv::msgset {

using tm::Tm_struct;

int array_count(std::size_t size) {
    if (size > INT_MAX) throw tm::Tm_exception(fmt::format("an array cannot hold {} elements", size));
    return static_cast<int>(size);
}

void Members_reader::read(bool* value) {
    *value = take(&Tm_struct::get_member_bool);
}

void Members_reader::read(std::uint8_t* value) {
    *value = take(&Tm_struct::get_member_uint8);
}

void Members_reader::read(std::uint16_t* value) {
    *value = take(&Tm_struct::get_member_uint16);
}

void Members_reader::read(std::uint32_t* value) {
    *value = take(&Tm_struct::get_member_uint32);
}

void Members_reader::read(std::uint64_t* value) {
    *value = take(&Tm_struct::get_member_uint64);
}

void Members_reader::read(std::int16_t* value) {
    *value = take(&Tm_struct::get_member_int16);
}

void Members_reader::read(std::int32_t* value) {
    *value = take(&Tm_struct::get_member_int32);
}

void Members_reader::read(std::int64_t* value) {
    *value = take(&Tm_struct::get_member_int64);
}

void Members_reader::read(std::string* value) {
    *value = take(&Tm_struct::get_member_string);
}

const Tm_struct* Members_reader::next_struct() {
    return take(&Tm_struct::get_member_struct);
}

const tm::Tm_array& Members_reader::next_array(tm::TMV kind) {
    const tm::Tm_array& array = *take(&Tm_struct::get_member_array);
    if (array.size() > 0 && array.element_kind() != kind) {
        throw tm::Tm_exception(fmt::format("member '{}' is an array of {}, not of {}", last_name(),
                                           name_of(array.element_kind()), name_of(kind)));
    }
    return array;
}

int Members_reader::next_enum(const tm::tm_enum_map* map) {
    return enum_value(take(&Tm_struct::get_member_string), map);
}

int Members_reader::enum_value(const char* text, const tm::tm_enum_map* map) const {
    try {
        return tm::tms_string_to_enum(text, map);
    } catch (const tm::Tm_exception& error) {
        throw tm::Tm_exception(fmt::format("member '{}': {}", last_name(), error.what()));
    }
}

void Members_reader::check_length(const tm::Tm_array& array, std::size_t length) const {
    if (array.size() != length) {
        throw tm::Tm_exception(
            fmt::format("member '{}' has {} elements instead of {}", last_name(), array.size(), length));
    }
}

void begin_request(tm::Message* message, const char* name) {
    message->clear(tm::TMG_MEMBERS);
    message->set_msg_type(tm::TMT_REQUEST);
    if (name != kUnnamed) message->set_request_name(name);
}

void begin_response(tm::Message* message) {
    message->clear(tm::TMG_MEMBERS);
    message->set_msg_type(tm::TMT_RESPONSE);
}

void finish(tm::Message* message) {
    message->clear(tm::TMG_RESERVED);
    message->create_send_member_string_meta();
}

void Members_reader::check_optional(std::size_t count) const {
    if (count > 1) {
        throw tm::Tm_exception(fmt::format(
            "member '{}' holds {} records; it is optional and holds one at most", last_name(), count));
    }
}

void check_request(const tm::Message& message, const char* name) {
    if (message.get_msg_type() != tm::TMT_REQUEST) {
        throw tm::Tm_type_mismatch_exception(message.get_msg_type(), tm::TMT_REQUEST);
    }
    if (name != kUnnamed && message.get_request_name() != name) {
        throw tm::Tm_exception(
            fmt::format("the message is a request {}, not {}", tm::quoted(message.get_request_name()), name));
    }
}

void check_response(const tm::Message& message) {
    if (message.get_msg_type() != tm::TMT_RESPONSE) {
        throw tm::Tm_type_mismatch_exception(message.get_msg_type(), tm::TMT_RESPONSE);
    }
}

const Tm_struct& members_of(const tm::Message& message) {
    return message.members(tm::TMG_MEMBERS);
}

}  // namespace orv::msgset
