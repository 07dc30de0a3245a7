// Result rows that are stored without ever being objects.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "orv/framework/meta_class.h"
#include "orv/framework/scriptable.h"

namespace orv::core {

/// Writes the text of a value to `text`, where there is room for PackedRowLayout::kMaxText characters, and
/// returns its end (no zero is needed). Called by the thread that writes the database, while others call it,
/// too; does not throw.
using FormatFunction = char* (*)(std::int64_t value, char* text);

/// Where the values of a class's packed rows are. All rows have the same size: the handles of the row and of
/// its parent, and the class's properties in binary form: booleans, numbers, handles, IPv4 and IPv6
/// addresses, and texts that a function makes of a number. A row's name is the automatic one of an object.
/// Constant, so that threads can share it.
class PackedRowLayout {
  public:
    static constexpr std::size_t kMaxText = 48;

    /// A property of type string whose text is made of a number when the row is written.
    struct Text {
        framework::PropId property;
        FormatFunction format;
    };
    struct Column {
        const framework::CPropertyMeta* property;
        std::uint16_t offset;   ///< in the row, bytes
        std::uint16_t size;     ///< bytes
        FormatFunction format;  ///< of a text; null for others
    };

    /// Throws COrvLogicError if the class has properties of other kinds, lists and nullable ones included.
    PackedRowLayout(const framework::CMetaClass& meta_class, const std::vector<Text>& texts);

    const framework::CMetaClass& GetClass() const { return meta_class_; }
    /// The properties, except name and handle, those of equal size next to each other.
    const std::vector<Column>& GetColumns() const { return columns_; }
    /// A new row: default values, and no handles.
    const std::vector<std::byte>& GetDefaults() const { return defaults_; }
    std::size_t GetRowSize() const { return defaults_.size(); }

    /// The offset of a property's value. Throws COrvLogicError if there is none, or if it is not of the type.
    std::size_t FindOffset(framework::PropId id, framework::PropertyType type) const {
        const std::uint32_t value = id.GetValue();
        for (std::size_t at = Hash(value);; at = (at + 1) % kBuckets) {
            const Bucket& bucket = buckets_[at];
            if (bucket.id == value && bucket.type == type) return bucket.offset;
            if (bucket.id == value || bucket.id == 0) ThrowNoColumn(id);
        }
    }

  private:
    struct Bucket {
        std::uint32_t id = 0;
        std::uint16_t offset = 0;
        framework::PropertyType type{};
    };
    static constexpr std::size_t kBuckets = 512;
    /// A multiplication; for a constant id the compiler does it.
    static constexpr std::size_t Hash(std::uint32_t id) { return (id * 0x9e3779b1u) >> 16 & (kBuckets - 1); }

    void AddColumn(const framework::CPropertyMeta& property, std::uint16_t size, FormatFunction format);
    [[noreturn]] void ThrowNoColumn(framework::PropId id) const;

    const framework::CMetaClass& meta_class_;
    std::vector<Column> columns_;
    std::vector<std::byte> defaults_;
    std::vector<Bucket> buckets_{kBuckets};
};

/// One row that is being filled. Valid until a row is added to or removed from its group.
class PackedRow {
  public:
    PackedRow(const PackedRowLayout& layout, std::byte* bytes) : layout_(&layout), bytes_(bytes) {}

    /// Sets a property of exactly the value's type (std::uint32_t: also a handle). Throws COrvLogicError
    /// otherwise.
    template <class T>
    void Set(framework::PropId id, const T& value) {
        Store(layout_->FindOffset(id, TypeOf<T>()), value);
    }
    /// Sets the number of which a property's text is made.
    void SetNumberOfText(framework::PropId id, std::int64_t value) {
        Store(layout_->FindOffset(id, framework::PropertyType::String), value);
    }

  private:
    template <class T>
    static constexpr framework::PropertyType TypeOf() {
        using framework::PropertyType;
        if constexpr (std::is_same_v<T, bool>)
            return PropertyType::Bool;
        else if constexpr (std::is_same_v<T, std::uint8_t>)
            return PropertyType::U8;
        else if constexpr (std::is_same_v<T, std::uint16_t>)
            return PropertyType::U16;
        else if constexpr (std::is_same_v<T, std::int16_t>)
            return PropertyType::S16;
        else if constexpr (std::is_same_v<T, std::uint32_t>)
            return PropertyType::U32;
        else if constexpr (std::is_same_v<T, std::int32_t>)
            return PropertyType::S32;
        else if constexpr (std::is_same_v<T, std::uint64_t>)
            return PropertyType::U64;
        else if constexpr (std::is_same_v<T, std::int64_t>)
            return PropertyType::S64;
        else if constexpr (std::is_same_v<T, double>)
            return PropertyType::Double;
        else if constexpr (std::is_same_v<T, framework::CIpAddress>)
            return PropertyType::Ipv4;
        else
            return PropertyType::Ipv6;
    }
    template <class T>
    void Store(std::size_t offset, const T& value) {
        static_assert(std::is_arithmetic_v<T> || std::is_same_v<T, framework::CIpAddress> ||
                      std::is_same_v<T, framework::CIpv6Address>);
        std::memcpy(bytes_ + offset, &value, sizeof value);
    }

    const PackedRowLayout* layout_;
    std::byte* bytes_;
};

/// Rows of one class, one behind the other in memory.
class PackedRows {
  public:
    explicit PackedRows(std::shared_ptr<const PackedRowLayout> layout) : layout_(std::move(layout)) {}

    /// Adds a row with the default values of the class. `handle`: of the object that it stands for.
    PackedRow Add(std::uint32_t handle, std::uint32_t parent);
    std::size_t GetCount() const { return bytes_.size() / layout_->GetRowSize(); }
    /// Memory that they take, bytes.
    std::size_t GetSize() const { return bytes_.capacity(); }
    const std::byte* GetRow(std::size_t row) const { return bytes_.data() + row * layout_->GetRowSize(); }
    PackedRow EditRow(std::size_t row) { return {*layout_, bytes_.data() + row * layout_->GetRowSize()}; }
    std::uint32_t GetHandle(std::size_t row) const { return Read(row, 0); }
    std::uint32_t GetParent(std::size_t row) const { return Read(row, kParentOffset); }
    void SetParent(std::size_t row, std::uint32_t parent) {
        std::memcpy(bytes_.data() + row * layout_->GetRowSize() + kParentOffset, &parent, sizeof parent);
    }
    const std::shared_ptr<const PackedRowLayout>& GetLayout() const { return layout_; }

    /// Sets an object's properties to the values of a row.
    void CopyTo(framework::CScriptable& object, std::size_t row) const;
    /// Removes the rows for which `must_go` holds; it is given their numbers in ascending order.
    template <class Condition>
    void RemoveIf(const Condition& must_go) {
        const std::size_t size = layout_->GetRowSize();
        std::size_t kept = 0;
        for (std::size_t row = 0; row < GetCount(); ++row) {
            if (must_go(row)) continue;
            if (kept != row) std::memcpy(bytes_.data() + kept * size, GetRow(row), size);
            ++kept;
        }
        bytes_.resize(kept * size);
    }
    void Clear() { bytes_.clear(); }
    /// The rows, which leave this group empty with room for as many.
    PackedRows Take();

  private:
    static constexpr std::size_t kParentOffset = sizeof(std::uint32_t);

    std::uint32_t Read(std::size_t row, std::size_t offset) const {
        std::uint32_t handle;
        std::memcpy(&handle, GetRow(row) + offset, sizeof handle);
        return handle;
    }

    std::shared_ptr<const PackedRowLayout> layout_;
    std::vector<std::byte> bytes_;
};

}  // namespace orv::core
