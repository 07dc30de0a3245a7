#include "orv/core/packed_rows.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#include "orv/common/exceptions.h"
#include "orv/ids/framework_ids.h"

namespace orv::core {

using framework::CPropertyMeta;
using framework::PropertyType;

namespace {

constexpr std::size_t kHandlesSize = 2 * sizeof(std::uint32_t);

/// What follows from the row's handle.
bool IsIdentity(const CPropertyMeta& property) {
    return property.id == ids::Scriptable::Name || property.id == ids::Scriptable::Handle;
}

/// 0 for a property without a packed form.
std::uint16_t GetPackedSize(const CPropertyMeta& property, bool is_text) {
    if (property.collection || property.nullable) return 0;
    switch (property.type) {
        case PropertyType::Bool:
        case PropertyType::U8:
            return 1;
        case PropertyType::U16:
        case PropertyType::S16:
            return 2;
        case PropertyType::U32:
        case PropertyType::S32:
        case PropertyType::Handle:
        case PropertyType::Ipv4:
            return 4;
        case PropertyType::U64:
        case PropertyType::S64:
        case PropertyType::Double:
            return 8;
        case PropertyType::Ipv6:
            return common::CIpv6Address::kLength;
        case PropertyType::String:
            return is_text ? sizeof(std::int64_t) : 0;
        default:
            return 0;
    }
}

/// The value of a packed number or address.
template <class T>
T ReadAs(const std::byte* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

}  // namespace

PackedRowLayout::PackedRowLayout(const framework::CMetaClass& meta_class, const std::vector<Text>& texts)
    : meta_class_(meta_class), defaults_(kHandlesSize) {
    for (const std::uint16_t size : {16, 8, 4, 2, 1}) {
        for (const CPropertyMeta* property : meta_class.GetProperties()) {
            const auto text = std::find_if(texts.begin(), texts.end(), [property](const Text& candidate) {
                return candidate.property == property->id;
            });
            const bool is_text = text != texts.end() && property->type == PropertyType::String;
            if (IsIdentity(*property) || GetPackedSize(*property, is_text) != size) continue;
            AddColumn(*property, size, is_text ? text->format : nullptr);
        }
    }
    constexpr std::size_t kIdentity = 2;
    ORV_ASSERT(columns_.size() + kIdentity == meta_class.GetProperties().size(),
               "All properties of packed rows have a packed form");
}

void PackedRowLayout::AddColumn(const CPropertyMeta& property, std::uint16_t size, FormatFunction format) {
    const auto offset = static_cast<std::uint16_t>(defaults_.size());
    columns_.push_back({&property, offset, size, format});
    ORV_ASSERT(columns_.size() <= kBuckets / 2, "Packed rows have a limited number of properties");
    defaults_.resize(defaults_.size() + size);
    if (!format) {
        const auto copy = [&](const auto& value) {
            using Value = std::decay_t<decltype(value)>;
            const void* from = &value;
            if constexpr (std::is_same_v<Value, framework::Boxed<common::CIpv6Address>>) from = &value.Get();
            std::memcpy(defaults_.data() + offset, from, size);
        };
        std::visit(copy, meta_class_.GetDefaults()[property.slot]);
    }
    std::size_t at = Hash(property.id.GetValue());
    while (buckets_[at].id != 0) at = (at + 1) % kBuckets;
    const bool is_handle = property.type == PropertyType::Handle;
    buckets_[at] = {property.id.GetValue(), offset, is_handle ? PropertyType::U32 : property.type};
}

void PackedRowLayout::ThrowNoColumn(framework::PropId id) const {
    const CPropertyMeta* property = meta_class_.FindProperty(id);
    throw common::COrvLogicError("packed rows of " + meta_class_.GetName() + " have no property " +
                                 (property ? property->name : std::to_string(id.GetValue())) +
                                 " of that type");
}

PackedRow PackedRows::Add(std::uint32_t handle, std::uint32_t parent) {
    const auto& defaults = layout_->GetDefaults();
    bytes_.insert(bytes_.end(), defaults.begin(), defaults.end());
    std::byte* row = bytes_.data() + bytes_.size() - defaults.size();
    std::memcpy(row, &handle, sizeof handle);
    std::memcpy(row + sizeof handle, &parent, sizeof parent);
    return {*layout_, row};
}

void PackedRows::CopyTo(framework::CScriptable& object, std::size_t row) const {
    for (const PackedRowLayout::Column& column : layout_->GetColumns()) {
        const std::byte* bytes = GetRow(row) + column.offset;
        const framework::PropId id = column.property->id;
        if (id == ids::Scriptable::Active) continue;  // follows from the parent's
        switch (column.property->type) {
            case PropertyType::Bool:
                object.Set(id, ReadAs<bool>(bytes));
                break;
            case PropertyType::U8:
                object.Set(id, ReadAs<std::uint8_t>(bytes));
                break;
            case PropertyType::U16:
                object.Set(id, ReadAs<std::uint16_t>(bytes));
                break;
            case PropertyType::S16:
                object.Set(id, ReadAs<std::int16_t>(bytes));
                break;
            case PropertyType::U32:
            case PropertyType::Handle:
                object.Set(id, ReadAs<std::uint32_t>(bytes));
                break;
            case PropertyType::S32:
                object.Set(id, ReadAs<std::int32_t>(bytes));
                break;
            case PropertyType::U64:
                object.Set(id, ReadAs<std::uint64_t>(bytes));
                break;
            case PropertyType::S64:
                object.Set(id, ReadAs<std::int64_t>(bytes));
                break;
            case PropertyType::Double:
                object.Set(id, ReadAs<double>(bytes));
                break;
            case PropertyType::Ipv4:
                object.Set(id, ReadAs<common::CIpAddress>(bytes));
                break;
            case PropertyType::Ipv6:
                object.Set(id, ReadAs<common::CIpv6Address>(bytes));
                break;
            default: {
                std::array<char, PackedRowLayout::kMaxText> text;
                const char* const begin = text.data();
                const char* const end = column.format(ReadAs<std::int64_t>(bytes), text.data());
                object.SetT<std::string>(id, std::string(begin, end));
            }
        }
    }
}

PackedRows PackedRows::Take() {
    PackedRows taken(layout_);
    taken.bytes_.reserve(bytes_.size());
    std::swap(taken.bytes_, bytes_);
    return taken;
}

}  // namespace orv::core
