#include "orv/tm/struct.h"

#include <fmt/format.h>

#include "orv/tm/array.h"

namespace orv::tm {

Tm_struct::Tm_struct() = default;
Tm_struct::~Tm_struct() = default;

const char* Tm_struct::member_name(std::size_t index) const {
    return own_names_[index].c_str();
}

void Tm_struct::note_name(std::string_view name, Tm_names_catalog* catalog) {
    check_takes_names();
    if (get_member_index(name) >= 0) {
        throw Tm_exception(fmt::format("the struct already has a member '{}'", name));
    }
    own_names_.emplace_back(name);
    if (catalog != nullptr) catalog->note(name);
}

void Tm_struct::add_member(std::string_view name, bool value, Tm_names_catalog* catalog) {
    add_member(name, Tm_scalar::of(value), catalog);
}

void Tm_struct::add_member(std::string_view name, std::uint32_t value, Tm_names_catalog* catalog) {
    add_member(name, Tm_scalar::of(value), catalog);
}

void Tm_struct::add_member(std::string_view name, Tm_scalar value, Tm_names_catalog* catalog) {
    note_name(name, catalog);
    append(value);
}

void Tm_struct::add_member_and_own(std::string_view name, Tm_value* value, Tm_names_catalog* catalog) {
    std::unique_ptr<Tm_value> owned(value);
    if (owned == nullptr) throw Tm_exception(fmt::format("the member '{}' has no value", name));
    note_name(name, catalog);
    append_and_own(std::move(owned));
}

void Tm_struct::append(Tm_scalar value) {
    row_.push_back(Slot{value, nullptr});
}

void Tm_struct::append_and_own(std::unique_ptr<Tm_value> value) {
    if (const auto* simple = dynamic_cast<const Tm_simple*>(value.get())) {
        append(simple->value());  // one representation for simple members, however they were added
        return;
    }
    Slot slot;
    slot.scalar.kind = value->kind();
    slot.value = std::move(value);
    row_.push_back(std::move(slot));
}

void Tm_struct::append_copies(const Tm_struct& source) {
    reserve_row(source.row_.size());
    for (const Slot& slot : source.row_) {
        row_.push_back(Slot{slot.scalar, slot.value == nullptr ? nullptr : slot.value->clone()});
    }
}

int Tm_struct::get_member_index(std::string_view name, std::size_t hint) const {
    if (hint < row_.size() && name == member_name(hint)) return static_cast<int>(hint);
    for (std::size_t index = 0; index < row_.size(); ++index) {
        if (name == member_name(index)) return static_cast<int>(index);
    }
    return -1;
}

const Tm_struct::Slot& Tm_struct::find(const char* name, std::size_t hint, TMV kind) const {
    const int index = get_member_index(name, hint);
    if (index < 0) throw Tm_exception(fmt::format("there is no member '{}'", name));
    const Slot& slot = row_[static_cast<std::size_t>(index)];
    if (slot.scalar.kind != kind) {
        throw Tm_type_mismatch_exception(slot.scalar.kind, kind, fmt::format("member '{}'", name));
    }
    return slot;
}

bool Tm_struct::get_member_bool(const char* name, std::size_t hint) const {
    return find(name, hint, TMV_BOOL).scalar.b;
}

std::int8_t Tm_struct::get_member_int8(const char* name, std::size_t hint) const {
    return static_cast<std::int8_t>(find(name, hint, TMV_INT8).scalar.i);
}

std::uint8_t Tm_struct::get_member_uint8(const char* name, std::size_t hint) const {
    return static_cast<std::uint8_t>(find(name, hint, TMV_UINT8).scalar.u);
}

std::int16_t Tm_struct::get_member_int16(const char* name, std::size_t hint) const {
    return static_cast<std::int16_t>(find(name, hint, TMV_INT16).scalar.i);
}

std::uint16_t Tm_struct::get_member_uint16(const char* name, std::size_t hint) const {
    return static_cast<std::uint16_t>(find(name, hint, TMV_UINT16).scalar.u);
}

std::int32_t Tm_struct::get_member_int32(const char* name, std::size_t hint) const {
    return static_cast<std::int32_t>(find(name, hint, TMV_INT32).scalar.i);
}

std::uint32_t Tm_struct::get_member_uint32(const char* name, std::size_t hint) const {
    return static_cast<std::uint32_t>(find(name, hint, TMV_UINT32).scalar.u);
}

std::int64_t Tm_struct::get_member_int64(const char* name, std::size_t hint) const {
    return find(name, hint, TMV_INT64).scalar.i;
}

std::uint64_t Tm_struct::get_member_uint64(const char* name, std::size_t hint) const {
    return find(name, hint, TMV_UINT64).scalar.u;
}

double Tm_struct::get_member_double(const char* name, std::size_t hint) const {
    return find(name, hint, TMV_DOUBLE).scalar.d;
}

const char* Tm_struct::get_member_string(const char* name, std::size_t hint) const {
    return static_cast<const Tm_string&>(*find(name, hint, TMV_STRING).value).text().c_str();
}

const Tm_struct* Tm_struct::get_member_struct(const char* name, std::size_t hint) const {
    return static_cast<const Tm_struct*>(find(name, hint, TMV_STRUCT).value.get());
}

const Tm_array* Tm_struct::get_member_array(const char* name, std::size_t hint) const {
    return static_cast<const Tm_array*>(find(name, hint, TMV_ARRAY).value.get());
}

std::unique_ptr<Tm_value> Tm_struct::clone() const {
    auto copy = std::make_unique<Tm_struct>();
    copy->own_names_ = own_names_;
    copy->append_copies(*this);
    return copy;
}

void Tm_struct::accept(Tm_visitor& visitor) const {
    visitor.visit_struct(*this);
}

}  // namespace orv::tm
