// The value of one property: what an object's slot holds.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "orv/common/addresses.h"
#include "orv/common/output_file_path.h"

namespace orv::framework {

using common::CIpAddress;
using common::CIpv6Address;
using common::CMacAddress;
using common::OutputFilePath;

/// Holds a value of variable size on the heap, and nothing at all for the empty value, so that slots stay
/// small. Copies are deep.
template <class T>
class Boxed {
  public:
    Boxed() = default;
    Boxed(T value) : value_(value == T{} ? nullptr : std::make_unique<T>(std::move(value))) {}  // NOLINT
    Boxed(const Boxed& other) : value_(other.value_ ? std::make_unique<T>(*other.value_) : nullptr) {}
    Boxed(Boxed&&) noexcept = default;
    Boxed& operator=(Boxed other) noexcept {
        value_.swap(other.value_);
        return *this;
    }

    const T& Get() const {
        static const T empty{};
        return value_ ? *value_ : empty;
    }
    bool operator==(const Boxed& other) const { return Get() == other.Get(); }

  private:
    std::unique_ptr<T> value_;
};

template <class T>
using Collection = Boxed<std::vector<T>>;

/// std::monostate is the null of a nullable property.
using PropertyValue =
    std::variant<std::monostate, bool, std::uint8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                 std::uint64_t, std::int64_t, double, CIpAddress, CMacAddress, Boxed<std::string>,
                 Boxed<CIpv6Address>, Boxed<OutputFilePath>, Collection<std::uint8_t>,
                 Collection<std::uint16_t>, Collection<std::uint32_t>, Collection<std::uint64_t>,
                 Collection<std::string>, Collection<CIpAddress>, Collection<CIpv6Address>,
                 Collection<CMacAddress>>;
static_assert(sizeof(PropertyValue) == 16, "objects hold one per property");

/// Storage type of a C++ type in a slot: the type itself, or boxed.
template <class T>
struct SlotOf {
    using type = T;
};
template <>
struct SlotOf<std::string> {
    using type = Boxed<std::string>;
};
template <>
struct SlotOf<CIpv6Address> {
    using type = Boxed<CIpv6Address>;
};
template <>
struct SlotOf<OutputFilePath> {
    using type = Boxed<OutputFilePath>;
};
template <class T>
struct SlotOf<std::vector<T>> {
    using type = Collection<T>;
};

/// What a getter returns: simple types by value, boxed ones by reference.
template <class T>
using PropertyRef = std::conditional_t<std::is_same_v<typename SlotOf<T>::type, T>, T, const T&>;

/// Type of a property as the data model names it.
enum class PropertyType : std::uint8_t {
    Bool,            ///< bool
    U8,              ///< u8
    U16,             ///< u16
    S16,             ///< s16
    U32,             ///< u32
    S32,             ///< s32
    U64,             ///< u64
    S64,             ///< s64
    Double,          ///< double
    String,          ///< string
    Ipv4,            ///< ipv4
    Ipv6,            ///< ipv6
    Mac,             ///< mac
    OutputFilePath,  ///< output-file-path
    Handle,          ///< handle: a u32 that names another object, 0 for none
};

/// The data model's name of a type ("u16"), and the type of a name (throws COrvRunTimeError for an unknown
/// one).
const char* GetTypeName(PropertyType type);
PropertyType ParseTypeName(const std::string& name);

}  // namespace orv::framework
