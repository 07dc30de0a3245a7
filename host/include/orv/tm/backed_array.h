// Arrays of one simple kind over memory that lies elsewhere, or over a copy of it.
#pragma once

#include <iterator>
#include <memory>
#include <vector>

#include "orv/tm/array.h"

namespace orv::tm {

/// What both variants share: read-only access to `count` elements of a simple kind.
///
/// Operations that a backed array cannot have (adding, clearing, reserving, elements that are no simple
/// values) throw Tm_exception with "<operation>() is not supported by backed arrays".
class Tm_backed_array_base : public Tm_array {
  public:
    ~Tm_backed_array_base() override;

    std::size_t size() const override { return static_cast<std::size_t>(count_); }
    TMV element_kind() const override { return element_kind_; }

    std::int8_t get_member_int8(int index) const override;
    std::uint8_t get_member_uint8(int index) const override;
    std::int16_t get_member_int16(int index) const override;
    std::uint16_t get_member_uint16(int index) const override;
    std::int32_t get_member_int32(int index) const override;
    std::uint32_t get_member_uint32(int index) const override;
    std::int64_t get_member_int64(int index) const override;
    std::uint64_t get_member_uint64(int index) const override;
    double get_member_double(int index) const override;
    bool get_member_bool(int index) const override;

    [[noreturn]] void reserve(std::size_t count) override;
    [[noreturn]] void clear() override;
    [[noreturn]] void add_member_and_own(Tm_value* value) override;
    [[noreturn]] void add_member(Tm_scalar value) override;
    [[noreturn]] const char* get_member_string(int index) const override;
    [[noreturn]] const Tm_struct* get_member_struct(int index) const override;
    [[noreturn]] const Tm_array* get_member_array(int index) const override;
    [[noreturn]] void get_member_message(int index) const;
    [[noreturn]] void get_member_file(int index) const;
    [[noreturn]] void get_member_binary(int index) const;
    [[noreturn]] void get_member_date(int index) const;

    std::span<const std::byte> simple_bytes(TMV kind) const override;
    std::unique_ptr<Tm_value> clone() const override;
    void accept_element(int index, Tm_visitor&) const override;

  protected:
    /// Throws Tm_exception("invalid use of Tm_backed_array: supports only simple TMV types") for other kinds,
    /// and Tm_exception for a negative count or a kind whose width is not `element_size` bytes.
    Tm_backed_array_base(const void* first, int count, TMV element_kind, std::size_t element_size);
    void rebase(const void* first) { first_ = static_cast<const std::byte*>(first); }

  private:
    void check_access(int index, TMV asked_for) const;
    template <class T>
    T element_as(int index) const;
    const std::byte* at(int index) const {
        return first_ + static_cast<std::size_t>(index) * width_of(element_kind_);
    }

    const std::byte* first_;
    int count_;
    TMV element_kind_;
};

/// Refers to the caller's memory, which must outlive the array.
template <std::contiguous_iterator Iterator>
class Tm_backed_array : public Tm_backed_array_base {
  public:
    Tm_backed_array(Iterator first, int count, TMV element_kind)
        : Tm_backed_array_base(count == 0 ? nullptr : std::to_address(first), count, element_kind,
                               sizeof(std::iter_value_t<Iterator>)) {}
};

/// Copies the elements when it is built.
template <class T, std::contiguous_iterator Iterator>
class Tm_copy_backed_array : public Tm_backed_array_base {
  public:
    Tm_copy_backed_array(Iterator first, int count, TMV element_kind)
        : Tm_backed_array_base(nullptr, count, element_kind, sizeof(T)), copy_(first, first + count) {
        rebase(copy_.data());
    }

  private:
    std::vector<T> copy_;
};

}  // namespace orv::tm
