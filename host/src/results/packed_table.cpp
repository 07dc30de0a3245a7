#include "packed_table.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <limits>
#include <utility>

#include "orv/ids/framework_ids.h"

namespace orv::results {

using framework::PropertyType;

namespace {

template <class T>
T ReadAs(const std::byte* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

/// As many bytes as an IPv6 address.
struct Sixteen {
    std::uint64_t halves[2];
    bool operator==(const Sixteen&) const = default;
};

}  // namespace

PackedTable::PackedTable(SqliteConnection& connection, TableCatalogue& catalogue,
                         std::shared_ptr<const Layout> layout, std::uint32_t data_set)
    : layout_(std::move(layout)),
      data_set_(data_set),
      insert_(connection, MakeClassInsert("INSERT", connection, catalogue, layout_->GetClass().GetName(),
                                          layout_->GetClass())),
      name_(layout_->GetClass().GetName() + " "),
      name_begin_(name_.size()) {
    const std::vector<int> parameters = FindParameters(layout_->GetClass());
    name_parameter_ = parameters[layout_->GetClass().FindProperty(ids::Scriptable::Name)->slot];
    name_.resize(name_begin_ + std::numeric_limits<std::uint32_t>::digits10 + 1);
    for (const Layout::Column& column : layout_->GetColumns()) {
        const int parameter = parameters[column.property->slot];
        if (parameter == 0) continue;
        const PropertyType type = column.property->type;
        values_[static_cast<std::size_t>(std::countr_zero(column.size))].push_back(
            {parameter, type, column.offset, column.format, texts_.size()});
        if (column.format || type == PropertyType::Ipv4 || type == PropertyType::Ipv6) texts_.emplace_back();
    }
}

void PackedTable::Write(const core::PackedRows& rows) {
    const std::byte* last = last_.empty() ? nullptr : last_.data();
    for (std::size_t i = 0; i < rows.GetCount(); ++i) {
        const std::byte* row = rows.GetRow(i);
        BindHandles(rows, i);
        BindChanged<Sixteen>(values_[4], row, last);
        BindChanged<std::uint64_t>(values_[3], row, last);
        BindChanged<std::uint32_t>(values_[2], row, last);
        BindChanged<std::uint16_t>(values_[1], row, last);
        BindChanged<std::uint8_t>(values_[0], row, last);
        insert_.Run();
        last = row;
    }
    if (rows.GetCount() > 0) last_.assign(last, last + layout_->GetRowSize());
}

void PackedTable::BindHandles(const core::PackedRows& rows, std::size_t row) {
    const std::uint32_t handle = rows.GetHandle(row);
    insert_.Bind(1, ToFileHandle(handle, data_set_));
    insert_.Bind(2, ToFileHandle(rows.GetParent(row), data_set_));
    insert_.Bind(3, std::int64_t{data_set_});
    const char* end = std::to_chars(name_.data() + name_begin_, name_.data() + name_.size(), handle).ptr;
    insert_.BindUncopied(name_parameter_, {name_.data(), static_cast<std::size_t>(end - name_.data())});
}

template <class T>
void PackedTable::BindChanged(const std::vector<Value>& values, const std::byte* row, const std::byte* last) {
    for (const Value& value : values) {
        const std::byte* bytes = row + value.offset;
        if (!last || ReadAs<T>(bytes) != ReadAs<T>(last + value.offset)) Bind(value, bytes);
    }
}

void PackedTable::Bind(const Value& value, const std::byte* bytes) {
    const auto bind = [&](auto number) { insert_.Bind(value.parameter, std::int64_t{number}); };
    switch (value.type) {
        case PropertyType::Bool:
        case PropertyType::U8:
            return bind(ReadAs<std::uint8_t>(bytes));
        case PropertyType::U16:
            return bind(ReadAs<std::uint16_t>(bytes));
        case PropertyType::S16:
            return bind(ReadAs<std::int16_t>(bytes));
        case PropertyType::U32:
            return bind(ReadAs<std::uint32_t>(bytes));
        case PropertyType::S32:
            return bind(ReadAs<std::int32_t>(bytes));
        case PropertyType::S64:
            return bind(ReadAs<std::int64_t>(bytes));
        case PropertyType::U64:
            return insert_.Bind(value.parameter, ReadAs<std::uint64_t>(bytes));
        case PropertyType::Double:
            return insert_.Bind(value.parameter, ReadAs<double>(bytes));
        case PropertyType::Handle:
            return bind(ToFileHandle(ReadAs<std::uint32_t>(bytes), data_set_));
        case PropertyType::Ipv4:
            return BindText(value, ReadAs<common::CIpAddress>(bytes).ToString());
        case PropertyType::Ipv6:
            return BindText(value, ReadAs<common::CIpv6Address>(bytes).ToString());
        default: {
            char* text = texts_[value.text].data();
            const char* end = value.format(ReadAs<std::int64_t>(bytes), text);
            insert_.BindUncopied(value.parameter, {text, static_cast<std::size_t>(end - text)});
        }
    }
}

void PackedTable::BindText(const Value& value, std::string_view text) {
    char* buffer = texts_[value.text].data();
    std::copy(text.begin(), text.end(), buffer);
    insert_.BindUncopied(value.parameter, {buffer, text.size()});
}

}  // namespace orv::results
