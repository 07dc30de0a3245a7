#include <fmt/format.h>

#include "orv/tm/struct.h"

namespace orv::tm {
namespace {

constexpr const char* kNoNames[] = {nullptr};

}  // namespace

Tm_prenamed_struct::Tm_prenamed_struct() : names_(kNoNames) {}
Tm_prenamed_struct::~Tm_prenamed_struct() = default;

void Tm_prenamed_struct::clear(const char* const* names) {
    clear_row();
    names_ = names == nullptr ? kNoNames : names;
}

void Tm_prenamed_struct::check_takes_names() const {
    throw Tm_exception("a member of a struct with a table of names is added by its position, not by name");
}

void Tm_prenamed_struct::check_next(int index, Tm_names_catalog* catalog) const {
    // All names before the next one were used, so the table is known to reach that far.
    const char* next = names_[size()];
    if (index < 0 || static_cast<std::size_t>(index) != size()) {
        throw Tm_exception(fmt::format("member {} was added where member {} ({}) was due", index, size(),
                                       next == nullptr ? "none, the struct is full" : next));
    }
    if (next == nullptr) throw Tm_exception(fmt::format("member {} is beyond the struct's table", index));
    if (catalog != nullptr) catalog->note(next);
}

template <class T>
void Tm_prenamed_struct::add_scalar(int index, T value, Tm_names_catalog* catalog) {
    check_next(index, catalog);
    append(Tm_scalar::of(value));
}

void Tm_prenamed_struct::add_member(int index, bool value, Tm_names_catalog* catalog) {
    add_scalar(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, const char* value, Tm_names_catalog* catalog) {
    if (value == nullptr) throw Tm_exception(fmt::format("member {} has no value", index));
    add_member(index, std::string(value), catalog);
}

void Tm_prenamed_struct::add_member(int index, const std::string& value, Tm_names_catalog* catalog) {
    check_next(index, catalog);
    append_and_own(std::make_unique<Tm_string>(value));
}

void Tm_prenamed_struct::add_member(int index, short value, Tm_names_catalog* catalog) {  // NOLINT
    add_scalar<std::int16_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, int value, Tm_names_catalog* catalog) {
    add_scalar<std::int32_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, long value, Tm_names_catalog* catalog) {  // NOLINT
    add_scalar<std::int64_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, unsigned char value, Tm_names_catalog* catalog) {
    add_scalar<std::uint8_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, unsigned short value, Tm_names_catalog* catalog) {  // NOLINT
    add_scalar<std::uint16_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, unsigned int value, Tm_names_catalog* catalog) {
    add_scalar<std::uint32_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member(int index, unsigned long value, Tm_names_catalog* catalog) {  // NOLINT
    add_scalar<std::uint64_t>(index, value, catalog);
}

void Tm_prenamed_struct::add_member_and_own(int index, Tm_value* value, Tm_names_catalog* catalog) {
    std::unique_ptr<Tm_value> owned(value);
    if (owned == nullptr) throw Tm_exception(fmt::format("member {} has no value", index));
    check_next(index, catalog);
    append_and_own(std::move(owned));
}

std::unique_ptr<Tm_value> Tm_prenamed_struct::clone() const {
    auto copy = std::make_unique<Tm_prenamed_struct>();
    copy->names_ = names_;
    copy->append_copies(*this);
    return copy;
}

}  // namespace orv::tm
