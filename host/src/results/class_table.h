// Tables of a results file, made after the classes of the data model.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "row_group.h"
#include "sqlite_connection.h"

namespace orv::results {

struct Column {
    std::string name;
    std::string type;  ///< SQL type with constraints
};

/// The tables of an open file. Other programs change the file, too, and transactions are rolled back.
class TableCatalogue {
  public:
    explicit TableCatalogue(SqliteConnection& connection) : connection_(connection) {}

    /// Makes the table, or adds the columns that it lacks. In a transaction that writes.
    void Ensure(const std::string& table, const std::vector<Column>& columns);

  private:
    std::int64_t ReadVersion();
    void Read();

    SqliteConnection& connection_;
    std::int64_t version_ = -1;                             ///< of the file's schema, as it was read
    std::map<std::string, std::set<std::string>> columns_;  ///< names in lower case
};

/// Handle, ParentHnd, DataSetId and the properties in the order of their slots.
std::vector<Column> GetColumns(const framework::CMetaClass& meta_class);

/// A statement that stores an object of the class, after making the table with its indexes where the file
/// lacks them. Its parameters are the values of GetColumns. `verb`: "INSERT" with or without "OR REPLACE".
std::string MakeClassInsert(const char* verb, SqliteConnection& connection, TableCatalogue& catalogue,
                            const std::string& table, const framework::CMetaClass& meta_class);

/// The parameters of that statement by the slots of properties; 0 for a property without a column of its own.
std::vector<int> FindParameters(const framework::CMetaClass& meta_class);

/// A handle as a file holds it. Handles of two runs of a program name different objects, and views join
/// tables by handle alone, so the data set is part of it; in a file's first data set handles are the host's.
inline std::int64_t ToFileHandle(std::int64_t handle, std::uint32_t data_set) {
    return handle == 0 ? 0 : handle + (static_cast<std::int64_t>(data_set - 1) << 32);
}

/// Writes the rows of one class. An object has one row: writing it again replaces the row.
class ClassTable {
  public:
    /// Makes the table with its indexes where the file lacks them.
    ClassTable(SqliteConnection& connection, TableCatalogue& catalogue, const std::string& name,
               const framework::CMetaClass& meta_class);

    /// The rows' class is the table's or one derived from it; values that only the derived class has are
    /// left out.
    void Write(const RowGroup::ClassRows& rows, std::uint32_t data_set);

  private:
    void Bind(int parameter, const StoredValue& value, std::uint32_t data_set);

    std::vector<int> parameters_;  ///< by slot
    SqliteStatement insert_;
};

}  // namespace orv::results
