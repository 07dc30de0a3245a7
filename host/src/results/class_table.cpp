#include "class_table.h"

#include <algorithm>
#include <cstring>

#include "orv/common/exceptions.h"
#include "orv/common/text.h"
#include "orv/ids/framework_ids.h"

namespace orv::results {

using common::ToLower;
using framework::CMetaClass;
using framework::CPropertyMeta;
using framework::PropertyType;

namespace {

const std::vector<Column>& GetKeyColumns() {
    // As the primary key, the handle is the row's own key: joins need no index, new rows are appended.
    static const std::vector<Column> columns = {
        {"Handle", "INTEGER PRIMARY KEY"}, {"ParentHnd", "INTEGER"}, {"DataSetId", "INTEGER"}};
    return columns;
}

bool IsKeyColumn(const std::string& name) {
    const auto& keys = GetKeyColumns();
    return std::any_of(keys.begin(), keys.end(),
                       [&](const Column& key) { return common::EqualIgnoringCase(key.name, name); });
}

const char* GetSqlType(const CPropertyMeta& property) {
    if (property.collection) return "TEXT";
    switch (property.type) {
        case PropertyType::Double:
            return "REAL";
        case PropertyType::String:
        case PropertyType::Ipv4:
        case PropertyType::Ipv6:
        case PropertyType::Mac:
        case PropertyType::OutputFilePath:
            return "TEXT";
        default:
            return "INTEGER";
    }
}

std::string MakeInsert(const char* verb, const std::string& table, const std::vector<Column>& columns) {
    std::string names;
    std::string values;
    for (const Column& column : columns) {
        names += (names.empty() ? "" : ",") + QuoteName(column.name);
        values += values.empty() ? "?" : ",?";
    }
    return std::string(verb) + " INTO " + QuoteName(table) + "(" + names + ") VALUES(" + values + ")";
}

void MakeIndex(SqliteConnection& connection, const std::string& table, const std::string& column) {
    connection.Execute("CREATE INDEX IF NOT EXISTS " + QuoteName(table + "_" + column) + " ON " +
                       QuoteName(table) + "(" + QuoteName(column) + ")");
}

}  // namespace

std::int64_t TableCatalogue::ReadVersion() {
    SqliteStatement version(connection_, "PRAGMA schema_version");
    version.Step();
    return version.GetInteger(0);
}

void TableCatalogue::Read() {
    columns_.clear();
    SqliteStatement list(connection_,
                         "SELECT t.name, c.name FROM sqlite_master t JOIN pragma_table_info(t.name) c "
                         "WHERE t.type = 'table'");
    while (list.Step()) columns_[ToLower(list.GetText(0))].insert(ToLower(list.GetText(1)));
}

void TableCatalogue::Ensure(const std::string& table, const std::vector<Column>& columns) {
    if (ReadVersion() != version_) Read();
    const auto [known, is_new] = columns_.try_emplace(ToLower(table));
    std::string definitions;
    for (const Column& column : columns) {
        if (!known->second.insert(ToLower(column.name)).second) continue;
        const std::string definition = QuoteName(column.name) + " " + column.type;
        if (!is_new && column.type.ends_with("PRIMARY KEY")) {
            throw common::COrvRunTimeError("its table " + table + " has no " + column.name +
                                           ", so it is another program's");
        }
        if (is_new) {
            definitions += (definitions.empty() ? "" : ",") + definition;
        } else {
            connection_.Execute("ALTER TABLE " + QuoteName(table) + " ADD COLUMN " + definition);
        }
    }
    if (is_new) connection_.Execute("CREATE TABLE " + QuoteName(table) + "(" + definitions + ")");
    version_ = ReadVersion();
}

std::vector<Column> GetColumns(const CMetaClass& meta_class) {
    std::vector<Column> columns = GetKeyColumns();
    for (const CPropertyMeta* property : meta_class.GetProperties()) {
        if (!IsKeyColumn(property->name)) columns.push_back({property->name, GetSqlType(*property)});
    }
    return columns;
}

std::string MakeClassInsert(const char* verb, SqliteConnection& connection, TableCatalogue& catalogue,
                            const std::string& table, const CMetaClass& meta_class) {
    const std::vector<Column> columns = GetColumns(meta_class);
    catalogue.Ensure(table, columns);
    MakeIndex(connection, table, "DataSetId");
    // Results are the many rows, and views go from a result to its parent.
    if (!meta_class.IsTypeOf(ids::Result::CLASS)) MakeIndex(connection, table, "ParentHnd");
    return MakeInsert(verb, table, columns);
}

std::vector<int> FindParameters(const CMetaClass& meta_class) {
    std::vector<int> parameters;
    int next = static_cast<int>(GetKeyColumns().size());
    for (const CPropertyMeta* property : meta_class.GetProperties())
        parameters.push_back(IsKeyColumn(property->name) ? 0 : ++next);
    return parameters;
}

ClassTable::ClassTable(SqliteConnection& connection, TableCatalogue& catalogue, const std::string& name,
                       const CMetaClass& meta_class)
    : parameters_(FindParameters(meta_class)),
      insert_(connection, MakeClassInsert("INSERT OR REPLACE", connection, catalogue, name, meta_class)) {}

void ClassTable::Write(const RowGroup::ClassRows& rows, std::uint32_t data_set) {
    const std::size_t slots = rows.meta_class->GetProperties().size();
    for (RowReader reader(rows); !reader.IsAtEnd();) {
        insert_.Bind(1, ToFileHandle(reader.NextHandle(), data_set));
        insert_.Bind(2, ToFileHandle(reader.NextHandle(), data_set));
        insert_.Bind(3, std::int64_t{data_set});
        for (std::size_t slot = 0; slot < slots; ++slot) {
            const StoredValue value = reader.NextValue();
            if (slot < parameters_.size() && parameters_[slot] != 0) Bind(parameters_[slot], value, data_set);
        }
        insert_.Run();
    }
}

void ClassTable::Bind(int parameter, const StoredValue& value, std::uint32_t data_set) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(value.bytes.data());
    switch (value.kind) {
        case StoredValue::Kind::Null:
            return insert_.BindNull(parameter);
        case StoredValue::Kind::Integer:
            return insert_.Bind(parameter, value.integer);
        case StoredValue::Kind::Real:
            return insert_.Bind(parameter, value.real);
        case StoredValue::Kind::Text:
            return insert_.BindUncopied(parameter, value.bytes);
        case StoredValue::Kind::Handle:
            return insert_.Bind(parameter, ToFileHandle(value.integer, data_set));
        case StoredValue::Kind::Ipv4:
            return insert_.Bind(parameter,
                                framework::CIpAddress(static_cast<std::uint32_t>(value.integer)).ToString());
        case StoredValue::Kind::Ipv6:
            return insert_.Bind(parameter, framework::CIpv6Address(bytes).ToString());
        case StoredValue::Kind::Mac:
            return insert_.Bind(parameter, framework::CMacAddress(bytes).ToString());
        case StoredValue::Kind::Handles:
            break;
    }
    std::string text;
    for (std::size_t at = 0; at < value.bytes.size(); at += sizeof(std::uint32_t)) {
        std::uint32_t handle;
        std::memcpy(&handle, bytes + at, sizeof handle);
        text += (text.empty() ? "" : " ") + std::to_string(ToFileHandle(handle, data_set));
    }
    insert_.Bind(parameter, text);
}

}  // namespace orv::results
