// Shape of a struct whose every member has a fixed width, and the rows packed by it.
//
// A thousand event records carry their member names once: an array holds them as runs of packed rows that
// share one shape. A row is laid out as all simple members in member order (nested structs in place of their
// member), each little-endian without padding, followed by the bytes of all inline arrays in the same order.
// So the offsets of simple members do not depend on the lengths of the arrays.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "orv/tm/kinds.h"

namespace orv::tm {

class Tm_flat_shape;

struct Tm_flat_member {
    std::string name;
    TMV kind = TMV_BOOL;                               ///< simple kind, TMV_STRUCT or TMV_ARRAY
    std::shared_ptr<const Tm_flat_shape> nested = {};  ///< TMV_STRUCT: its shape
    TMV element = TMV_UINT8;                           ///< TMV_ARRAY: simple kind of the elements
    std::size_t length = 0;                            ///< TMV_ARRAY: number of elements
};

class Tm_flat_shape {
  public:
    static constexpr std::size_t kMaxRowSize = 64 * 1024;  ///< bytes
    static constexpr std::size_t kMaxMembers = 64 * 1024;  ///< those of nested structs included
    static constexpr int kMaxDepth = 32;

    /// Throws Tm_exception for a member that has no fixed width (a string, an inline array of another than a
    /// simple kind), a name that comes twice, or a shape beyond the limits above.
    explicit Tm_flat_shape(std::vector<Tm_flat_member> members);

    const std::vector<Tm_flat_member>& members() const { return members_; }
    std::size_t row_size() const { return simple_size_ + array_size_; }
    /// Bytes of the simple members at the head of a row; the inline arrays follow.
    std::size_t simple_size() const { return simple_size_; }

    /// Number of members, those of nested structs included.
    std::size_t total_members() const { return total_members_; }
    /// Levels of structs and arrays: 1 when all members are simple.
    int depth() const { return depth_; }

    bool operator==(const Tm_flat_shape& other) const;

    /// The process's one shape equal to `members`; called by decoders and encoders for the shapes they know.
    /// Its nested shapes are interned ones too. Thread-safe. The result lives until the process ends.
    static std::shared_ptr<const Tm_flat_shape> intern(std::vector<Tm_flat_member> members);
    /// The interned shape equal to `shape`, or null. Shapes from the wire are looked up but never added, so
    /// that a peer cannot fill the table. Thread-safe.
    static std::shared_ptr<const Tm_flat_shape> find_interned(const Tm_flat_shape& shape);

  private:
    struct Intern_table;
    void add_extent(const Tm_flat_member& member);

    std::vector<Tm_flat_member> members_;
    std::size_t simple_size_ = 0;
    std::size_t array_size_ = 0;
    std::size_t total_members_ = 0;
    std::size_t hash_ = 0;
    int depth_ = 1;
};

}  // namespace orv::tm
