#include "orv/tm/backed_array.h"

#include <fmt/format.h>

#include "flat_struct.h"
#include "scalar_bytes.h"

namespace orv::tm {
namespace {

[[noreturn]] void refuse(const char* operation) {
    throw Tm_exception(fmt::format("{}() is not supported by backed arrays", operation));
}

/// A clone: the same kind of array over bytes of its own.
class Owning_bytes_array : public Tm_backed_array_base {
  public:
    Owning_bytes_array(const std::byte* first, int count, TMV element_kind)
        : Tm_backed_array_base(nullptr, count, element_kind, width_of(element_kind)),
          bytes_(first, first + static_cast<std::size_t>(count) * width_of(element_kind)) {
        rebase(bytes_.data());
    }

  private:
    std::vector<std::byte> bytes_;
};

}  // namespace

Tm_backed_array_base::Tm_backed_array_base(const void* first, int count, TMV element_kind,
                                           std::size_t element_size)
    : first_(static_cast<const std::byte*>(first)), count_(count), element_kind_(element_kind) {
    if (!is_simple(element_kind)) {
        throw Tm_exception("invalid use of Tm_backed_array: supports only simple TMV types");
    }
    if (count < 0) throw Tm_exception(fmt::format("a backed array of {} elements", count));
    if (element_size != width_of(element_kind)) {
        throw Tm_exception(fmt::format("a backed array of {} over elements of {} bytes",
                                       name_of(element_kind), element_size));
    }
}

Tm_backed_array_base::~Tm_backed_array_base() = default;

void Tm_backed_array_base::check_access(int index, TMV asked_for) const {
    if (asked_for != element_kind_) throw Tm_type_mismatch_exception(element_kind_, asked_for);
    if (index < 0 || index >= count_) throw Tm_out_of_range_exception(index, 0, count_ - 1);
}

template <class T>
T Tm_backed_array_base::element_as(int index) const {
    check_access(index, kind_of<T>);
    return load_as<T>(at(index));
}

std::int8_t Tm_backed_array_base::get_member_int8(int index) const {
    return element_as<std::int8_t>(index);
}
std::uint8_t Tm_backed_array_base::get_member_uint8(int index) const {
    return element_as<std::uint8_t>(index);
}
std::int16_t Tm_backed_array_base::get_member_int16(int index) const {
    return element_as<std::int16_t>(index);
}
std::uint16_t Tm_backed_array_base::get_member_uint16(int index) const {
    return element_as<std::uint16_t>(index);
}
std::int32_t Tm_backed_array_base::get_member_int32(int index) const {
    return element_as<std::int32_t>(index);
}
std::uint32_t Tm_backed_array_base::get_member_uint32(int index) const {
    return element_as<std::uint32_t>(index);
}
std::int64_t Tm_backed_array_base::get_member_int64(int index) const {
    return element_as<std::int64_t>(index);
}
std::uint64_t Tm_backed_array_base::get_member_uint64(int index) const {
    return element_as<std::uint64_t>(index);
}
double Tm_backed_array_base::get_member_double(int index) const {
    return element_as<double>(index);
}
bool Tm_backed_array_base::get_member_bool(int index) const {
    return element_as<bool>(index);
}

void Tm_backed_array_base::reserve(std::size_t) {
    refuse("reserve");
}
void Tm_backed_array_base::clear() {
    refuse("clear");
}
void Tm_backed_array_base::add_member(Tm_scalar) {
    refuse("add_member");
}
void Tm_backed_array_base::add_member_and_own(Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);  // ownership passes also when the call is refused
    refuse("add_member_and_own");
}
const char* Tm_backed_array_base::get_member_string(int) const {
    refuse("get_member_string");
}
const Tm_struct* Tm_backed_array_base::get_member_struct(int) const {
    refuse("get_member_struct");
}
const Tm_array* Tm_backed_array_base::get_member_array(int) const {
    refuse("get_member_array");
}
void Tm_backed_array_base::get_member_message(int) const {
    refuse("get_member_message");
}
void Tm_backed_array_base::get_member_file(int) const {
    refuse("get_member_file");
}
void Tm_backed_array_base::get_member_binary(int) const {
    refuse("get_member_binary");
}
void Tm_backed_array_base::get_member_date(int) const {
    refuse("get_member_date");
}

std::span<const std::byte> Tm_backed_array_base::simple_bytes(TMV kind) const {
    if (count_ == 0) return {};
    if (kind != element_kind_) throw Tm_type_mismatch_exception(element_kind_, kind);
    return {first_, static_cast<std::size_t>(count_) * width_of(element_kind_)};
}

std::unique_ptr<Tm_value> Tm_backed_array_base::clone() const {
    return std::make_unique<Owning_bytes_array>(first_, count_, element_kind_);
}

void Tm_backed_array_base::accept_element(int index, Tm_visitor& visitor) const {
    check_access(index, element_kind_);
    visitor.visit_scalar(load_scalar(element_kind_, at(index)));
}

}  // namespace orv::tm
