#include "row_group.h"

#include <cstring>
#include <limits>
#include <variant>

#include "orv/ids/framework_ids.h"

namespace orv::results {

using framework::CIpAddress;
using framework::CIpv6Address;
using framework::CMacAddress;
using framework::CPropertyMeta;
using framework::CScriptable;
using framework::PropertyType;
using framework::PropertyValue;
using Kind = StoredValue::Kind;

namespace {

template <class T>
void Put(std::string& bytes, const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
void Put(std::string& bytes, Kind kind, const T& value) {
    static_assert(std::is_trivially_copyable_v<T>);
    char packed[1 + sizeof value];
    packed[0] = static_cast<char>(kind);
    std::memcpy(packed + 1, &value, sizeof value);
    bytes.append(packed, sizeof packed);
}

void PutBytes(std::string& bytes, Kind kind, std::string_view text) {
    Put(bytes, kind, static_cast<std::uint32_t>(text.size()));
    bytes.append(text);
}

/// Enumerations are numbers in a file, also in lists.
std::string FormatList(const CPropertyMeta& meta, const PropertyValue& value) {
    if (!meta.enumeration) return meta.Format(value);
    CPropertyMeta plain = meta;
    plain.enumeration = nullptr;
    return plain.Format(value);
}

class ValuePutter {
  public:
    ValuePutter(std::string& bytes, const CPropertyMeta& meta, const PropertyValue& value)
        : bytes_(bytes), meta_(meta), value_(value) {}

    void operator()(std::monostate) const { bytes_.push_back(static_cast<char>(Kind::Null)); }
    template <class T>
    requires std::is_integral_v<T>
    void operator()(T number) const {
        if (std::is_same_v<T, std::uint32_t> && meta_.type == PropertyType::Handle) {
            Put(bytes_, Kind::Handle, static_cast<std::uint32_t>(number));
        } else if (std::is_same_v<T, std::uint64_t> &&
                   static_cast<std::uint64_t>(number) > std::numeric_limits<std::int64_t>::max()) {
            // SQLite's integers are signed; about right is better than negative.
            Put(bytes_, Kind::Real, static_cast<double>(number));
        } else {
            Put(bytes_, Kind::Integer, static_cast<std::int64_t>(number));
        }
    }
    void operator()(double number) const { Put(bytes_, Kind::Real, number); }
    void operator()(const CIpAddress& address) const { Put(bytes_, Kind::Ipv4, address.GetValue()); }
    void operator()(const CMacAddress& address) const { Put(bytes_, Kind::Mac, address.GetBytes()); }
    void operator()(const framework::Boxed<CIpv6Address>& address) const {
        Put(bytes_, Kind::Ipv6, address.Get().GetBytes());
    }
    void operator()(const framework::Boxed<std::string>& text) const {
        PutBytes(bytes_, Kind::Text, text.Get());
    }
    void operator()(const framework::Boxed<framework::OutputFilePath>& path) const {
        PutBytes(bytes_, Kind::Text, path.Get().ToString());
    }
    template <class T>
    void operator()(const framework::Collection<T>& list) const {
        if constexpr (std::is_same_v<T, std::uint32_t>) {
            if (meta_.type == PropertyType::Handle) {
                const auto& handles = list.Get();
                return PutBytes(bytes_, Kind::Handles,
                                {reinterpret_cast<const char*>(handles.data()), handles.size() * sizeof(T)});
            }
        }
        PutBytes(bytes_, Kind::Text, FormatList(meta_, value_));
    }

  private:
    std::string& bytes_;
    const CPropertyMeta& meta_;
    const PropertyValue& value_;
};

std::uint32_t ParentHandleOf(const CScriptable& object) {
    const CScriptable* parent = object.GetParent();
    // A result that is no child belongs to what it measures.
    if (!parent) parent = object.GetObject(CScriptable::CLASS_ID(), ids::relations::ResultChild.Reverse());
    return parent ? parent->GetHandle() : 0;
}

}  // namespace

std::string& RowGroup::BytesOf(const framework::CMetaClass& meta_class) {
    // Groups hold few classes, and mostly many objects of the same one behind each other.
    for (auto rows = rows_.rbegin(); rows != rows_.rend(); ++rows) {
        if (rows->meta_class == &meta_class) return rows->bytes;
    }
    return rows_.emplace_back(ClassRows{&meta_class, {}}).bytes;
}

void RowGroup::Add(const CScriptable& object) {
    const framework::CMetaClass& meta_class = *object.GetMetaClass();
    std::string& bytes = BytesOf(meta_class);
    const bool is_first = bytes.empty();
    Put(bytes, object.GetHandle());
    Put(bytes, ParentHandleOf(object));
    const auto& properties = meta_class.GetProperties();
    const PropertyValue* values = object.GetDataStore();
    for (std::size_t slot = 0; slot < properties.size(); ++slot) {
        std::visit(ValuePutter(bytes, *properties[slot], values[slot]), values[slot]);
    }
    // Rows of a class are about as long as each other.
    if (is_first) bytes.reserve(bytes.size() * (rows_per_class_ + rows_per_class_ / 8));
}

std::size_t RowGroup::GetSize() const {
    std::size_t size = relations_.size() * sizeof(Relation);
    for (const ClassRows& rows : rows_) size += rows.bytes.capacity();
    return size;
}

std::string_view RowReader::TakeBytes(std::size_t size) {
    const std::string_view taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
}

template <class T>
T RowReader::Take() {
    T value;
    std::memcpy(&value, TakeBytes(sizeof value).data(), sizeof value);
    return value;
}

std::uint32_t RowReader::NextHandle() {
    return Take<std::uint32_t>();
}

StoredValue RowReader::NextValue() {
    StoredValue value;
    value.kind = Take<Kind>();
    switch (value.kind) {
        case Kind::Null:
            break;
        case Kind::Integer:
            value.integer = Take<std::int64_t>();
            break;
        case Kind::Handle:
            value.integer = Take<std::uint32_t>();
            break;
        case Kind::Real:
            value.real = Take<double>();
            break;
        case Kind::Text:
        case Kind::Handles:
            value.bytes = TakeBytes(Take<std::uint32_t>());
            break;
        case Kind::Ipv4:
            value.integer = Take<std::uint32_t>();
            break;
        case Kind::Ipv6:
            value.bytes = TakeBytes(CIpv6Address::kLength);
            break;
        case Kind::Mac:
            value.bytes = TakeBytes(CMacAddress::kLength);
            break;
    }
    return value;
}

}  // namespace orv::results
