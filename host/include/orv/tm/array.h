// General arrays: lists of values of one kind, structs optionally packed in runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "orv/tm/flat_shape.h"
#include "orv/tm/value.h"

namespace orv::tm {

/// A run of structs that share a flat shape: `count` rows of `shape->row_size()` bytes.
struct Tm_struct_run {
    std::shared_ptr<const Tm_flat_shape> shape;
    const std::byte* rows = nullptr;
    std::size_t count = 0;
};

/// Writes the rows of `count` structs of a run, from number `first` of the run on.
using Tm_row_writer = std::function<void(std::size_t first, std::size_t count, std::byte* rows)>;

/// An ordered list of values, all of one kind (the first one's; another throws Tm_exception).
///
/// Struct elements may be held as objects or, far cheaper, as runs of packed rows. Both read the same:
/// `get_member_struct` unpacks a packed element on first use and keeps it. That first use is not thread-safe;
/// a message belongs to one thread at a time.
class Tm_array : public Tm_value {
  public:
    Tm_array();
    ~Tm_array() override;
    Tm_array(const Tm_array&) = delete;
    Tm_array& operator=(const Tm_array&) = delete;

    virtual std::size_t size() const { return size_; }
    /// Kind of the elements; TMV_STRUCT for a general array without elements.
    virtual TMV element_kind() const { return element_kind_; }

    virtual void reserve(std::size_t count);
    virtual void clear();
    /// Appends. Takes ownership of `value`, also when it throws.
    virtual void add_member_and_own(Tm_value* value);
    virtual void add_member(Tm_scalar value);

    /// Appends `count` packed structs and returns their rows for the caller to fill, every byte of them
    /// (count * row_size()). The pointer is valid until the next call that changes the array; this call
    /// invalidates elements that get_member_struct returned before.
    std::byte* append_rows(const std::shared_ptr<const Tm_flat_shape>& shape, std::size_t count);
    /// Appends packed structs whose rows lie in memory that outlives the array.
    void append_borrowed_run(Tm_struct_run run);
    /// Appends packed structs whose rows are written when they are needed: mostly when the message is
    /// encoded, right into its bytes, which saves memory for all rows and copying them. What `write` refers
    /// to outlives the array.
    void append_written_run(const std::shared_ptr<const Tm_flat_shape>& shape, std::size_t count,
                            Tm_row_writer write);

    /// A stretch of elements: a run of packed structs, or (`run.shape` null) objects to be read one by one.
    struct Segment {
        std::size_t first = 0;
        std::size_t count = 0;
        Tm_struct_run run;
        const Tm_row_writer* write = nullptr;  ///< of segments_to_write only: what writes the rows
    };
    /// The stretches of a struct array in order; they cover all elements.
    std::vector<Segment> segments() const;
    /// The same, but rows that are not written yet are left to the caller.
    std::vector<Segment> segments_to_write() const;

    /// Element getters: Tm_out_of_range_exception outside 0 to size-1, Tm_type_mismatch_exception for another
    /// kind.
    virtual std::int8_t get_member_int8(int index) const;
    virtual std::uint8_t get_member_uint8(int index) const;
    virtual std::int16_t get_member_int16(int index) const;
    virtual std::uint16_t get_member_uint16(int index) const;
    virtual std::int32_t get_member_int32(int index) const;
    virtual std::uint32_t get_member_uint32(int index) const;
    virtual std::int64_t get_member_int64(int index) const;
    virtual std::uint64_t get_member_uint64(int index) const;
    virtual double get_member_double(int index) const;
    virtual bool get_member_bool(int index) const;
    virtual const char* get_member_string(int index) const;
    virtual const Tm_struct* get_member_struct(int index) const;
    virtual const Tm_array* get_member_array(int index) const;

    /// All elements of a simple kind as they are in memory (little-endian, perhaps unaligned), for one copy
    /// instead of one call per element. Null data if the elements are not contiguous; then use the getters.
    /// Throws Tm_type_mismatch_exception when the array is not empty and of another kind.
    virtual std::span<const std::byte> simple_bytes(TMV kind) const;

    TMV kind() const override { return TMV_ARRAY; }
    std::unique_ptr<Tm_value> clone() const override;
    void accept(Tm_visitor&) const override;
    /// Visits one element.
    virtual void accept_element(int index, Tm_visitor&) const;

  private:
    friend class Wire_reader;
    struct Stretch;
    void admit(TMV kind, std::size_t count);
    void admit_rows(const Tm_flat_shape* shape, std::size_t count);
    void append_object(std::unique_ptr<Tm_value> value);
    void check_access(int index, TMV asked_for) const;
    template <class T>
    T simple_element(int index) const;
    const Stretch& stretch_of(std::size_t index) const;
    const Tm_value& object(int index, TMV asked_for) const;

    std::vector<std::byte> simple_;   ///< elements of a simple kind, in one piece
    std::vector<Stretch> stretches_;  ///< elements of other kinds
    std::size_t size_ = 0;
    std::size_t reserved_ = 0;
    TMV element_kind_ = TMV_STRUCT;
};

}  // namespace orv::tm
