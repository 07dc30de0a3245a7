// Identifiers of the object model.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>

namespace orv::common {

/// 32-bit class identifier. The top byte is the id of the plug-in (or host module) that owns the class; the
/// low twelve bits are zero, so that a property id is its class's id plus a small index.
class ClassId {
  public:
    constexpr ClassId() = default;
    constexpr ClassId(std::uint32_t value) : value_(value) {}  // NOLINT: ids are written as plain numbers

    constexpr std::uint32_t GetValue() const { return value_; }
    constexpr std::uint8_t GetPluginId() const { return static_cast<std::uint8_t>(value_ >> 24); }
    constexpr auto operator<=>(const ClassId&) const = default;

  private:
    std::uint32_t value_ = 0;
};

/// 32-bit property identifier: the declaring class's id plus an index below 0x1000.
class PropId {
  public:
    constexpr PropId() = default;
    constexpr PropId(std::uint32_t value) : value_(value) {}  // NOLINT: ids are written as plain numbers

    constexpr std::uint32_t GetValue() const { return value_; }
    constexpr ClassId GetClassId() const { return value_ & ~std::uint32_t{0xfff}; }
    constexpr auto operator<=>(const PropId&) const = default;

  private:
    std::uint32_t value_ = 0;
};

/// A relation type and the direction in which it is read: 0 from the source to its targets, 1 from a target
/// back to its sources.
struct RelationType {
    std::uint32_t type = 0;
    std::uint32_t direction = 0;

    constexpr RelationType Reverse() const { return {type, direction ^ 1u}; }
    constexpr auto operator<=>(const RelationType&) const = default;
};

/// Relation types of the host itself.
inline constexpr RelationType kParentChild{1, 0};
inline constexpr RelationType kChildParent{1, 1};

}  // namespace orv::common

template <>
struct std::hash<orv::common::ClassId> {
    std::size_t operator()(orv::common::ClassId id) const noexcept { return id.GetValue() * 0x9e3779b1u; }
};
template <>
struct std::hash<orv::common::PropId> {
    std::size_t operator()(orv::common::PropId id) const noexcept { return id.GetValue() * 0x9e3779b1u; }
};
