#include "orv/tm/message.h"

#include <fmt/format.h>

#include "message_group.h"
#include "wire_reader.h"
#include "wire_writer.h"

namespace orv::tm {

Message::Message() : groups_{std::make_unique<Group>(), std::make_unique<Group>()} {}
Message::~Message() = default;
Message::Message(Message&&) noexcept = default;
Message& Message::operator=(Message&&) noexcept = default;

Message::Group& Message::group(TMG which) {
    return const_cast<Group&>(static_cast<const Message*>(this)->group(which));  // NOLINT: one check for both
}

const Message::Group& Message::group(TMG which) const {
    if (which >= kGroupCount) throw Tm_exception(fmt::format("a message has no member group {}", int{which}));
    return *groups_[which];
}

void Message::clear(TMG which) {
    Group& cleared = group(which);
    cleared.members = std::make_unique<Tm_struct>();
    cleared.catalog.clear();
}

void Message::set_fault(int code, const std::string& text) {
    fault_code_ = code;
    fault_string_ = text;
}

void Message::add_member(TMG which, const std::string& name, unsigned int value) {
    group(which).members->add_member(name, std::uint32_t{value}, &group(which).catalog);
}

void Message::add_member_and_own(TMG which, const std::string& name, Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    Group& to = group(which);
    to.members->add_member_and_own(name, owned.release(), &to.catalog);
}

const Tm_struct& Message::members(TMG which) const {
    return *group(which).members;
}

bool Message::get_member_bool(TMG which, const char* name) const {
    return members(which).get_member_bool(name);
}
std::uint8_t Message::get_member_uint8(TMG which, const char* name) const {
    return members(which).get_member_uint8(name);
}
std::uint16_t Message::get_member_uint16(TMG which, const char* name) const {
    return members(which).get_member_uint16(name);
}
std::uint32_t Message::get_member_uint32(TMG which, const char* name) const {
    return members(which).get_member_uint32(name);
}
std::int32_t Message::get_member_int32(TMG which, const char* name) const {
    return members(which).get_member_int32(name);
}
std::uint64_t Message::get_member_uint64(TMG which, const char* name) const {
    return members(which).get_member_uint64(name);
}
const char* Message::get_member_string(TMG which, const char* name) const {
    return members(which).get_member_string(name);
}
const Tm_struct* Message::get_member_struct(TMG which, const char* name) const {
    return members(which).get_member_struct(name);
}
const Tm_array* Message::get_member_array(TMG which, const char* name) const {
    return members(which).get_member_array(name);
}

Tm_names_catalog* Message::get_send_member_string(TMG which) {
    return &group(which).catalog;
}
const Tm_names_catalog& Message::catalog(TMG which) const {
    return group(which).catalog;
}

void Message::set_use_send_member_string(bool use) {
    use_catalog_ = use;
    for (auto& each : groups_) each->catalog.enable(use);
}

void Message::create_send_member_string_meta() {
    for (auto& each : groups_) {
        for (std::size_t i = 0; i < each->members->size(); ++i)
            each->catalog.note(each->members->member_name(i));
    }
}

std::vector<std::byte> Message::encode() const {
    return Wire_writer(*this).write();
}

Message Message::decode(std::vector<std::byte> bytes) {
    Message message;
    message.bytes_ = std::move(bytes);
    Wire_reader(message).read();
    return message;
}

Message Message::decode(std::span<const std::byte> bytes) {
    return decode(std::vector<std::byte>(bytes.begin(), bytes.end()));
}

}  // namespace orv::tm
