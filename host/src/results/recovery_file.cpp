#include "recovery_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <system_error>

#include "orv/common/exceptions.h"

namespace orv::results {

namespace fs = boost::filesystem;

namespace {

/// The database that is copied from, as long as it is attached.
class AttachedFile {
  public:
    AttachedFile(SqliteConnection& connection, const std::string& path) : connection_(connection) {
        SqliteStatement attach(connection, "ATTACH ? AS source");
        attach.Bind(1, path);
        attach.Run();
    }
    ~AttachedFile() { sqlite3_exec(connection_.Get(), "DETACH source", nullptr, nullptr, nullptr); }
    AttachedFile(const AttachedFile&) = delete;
    AttachedFile& operator=(const AttachedFile&) = delete;

  private:
    SqliteConnection& connection_;
};

std::vector<std::string> ReadTables(SqliteConnection& connection) {
    SqliteStatement list(
        connection,
        "SELECT t.name FROM source.sqlite_master t JOIN pragma_table_info(t.name, 'source') c "
        "WHERE t.type = 'table' AND c.name = 'DataSetId'");
    std::vector<std::string> tables;
    while (list.Step()) tables.push_back(list.GetText(0));
    return tables;
}

std::vector<Column> ReadColumns(SqliteConnection& connection, const std::string& table) {
    SqliteStatement list(connection, "SELECT name, type, pk FROM pragma_table_info(?, 'source')");
    list.Bind(1, table);
    std::vector<Column> columns;
    while (list.Step())
        columns.push_back({list.GetText(0), list.GetText(1) + (list.GetInteger(2) ? " PRIMARY KEY" : "")});
    return columns;
}

}  // namespace

std::vector<std::string> GetRecoveryFolders(const std::string& path) {
    boost::system::error_code error;
    const std::string temporary = fs::temp_directory_path(error).string();
    std::vector<std::string> folders{fs::path(path).parent_path().string()};
    if (!error) folders.push_back(temporary);
    return folders;
}

std::string MakeRecoveryFile(const std::string& folder, const std::string& path) {
    constexpr int kMostFiles = 10'000;
    for (int n = 1; n <= kMostFiles; ++n) {
        const fs::path name = fs::path(path).stem().string() + ".recovered-" + std::to_string(n) + ".db";
        const std::string file = (fs::path(folder) / name).string();
        // One that is there, also a link to somewhere else, is left alone.
        const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            close(descriptor);
            return file;
        }
        if (errno != EEXIST)
            throw common::COrvRunTimeError(file + ": " + std::generic_category().message(errno));
    }
    throw common::COrvRunTimeError(folder + " is full of recovered results of " + path);
}

void CopyDataSet(SqliteConnection& connection, TableCatalogue& catalogue, const std::string& from,
                 std::uint32_t data_set) {
    const AttachedFile attached(connection, from);
    // Another program may be writing to the source at present.
    SqliteTransaction transaction(connection, SqliteTransaction::Kind::Deferred);
    for (const std::string& table : ReadTables(connection)) {
        const std::vector<Column> columns = ReadColumns(connection, table);
        catalogue.Ensure(table, columns);
        SqliteStatement clear(connection, "DELETE FROM main." + QuoteName(table) + " WHERE DataSetId = ?");
        clear.Bind(1, std::int64_t{data_set});
        clear.Run();
        std::string names;
        for (const Column& column : columns) names += (names.empty() ? "" : ",") + QuoteName(column.name);
        SqliteStatement copy(connection, "INSERT INTO main." + QuoteName(table) + "(" + names + ") SELECT " +
                                             names + " FROM source." + QuoteName(table) +
                                             " WHERE DataSetId = ?");
        copy.Bind(1, std::int64_t{data_set});
        copy.Run();
    }
    transaction.Commit();
}

}  // namespace orv::results
