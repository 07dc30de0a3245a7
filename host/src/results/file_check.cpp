// Checks whether a file can take results before there are any.
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <cstdint>
#include <vector>

#include "orv/core/test_result_manager.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/ids/core_ids.h"
#include "results_file.h"
#include "snapshot.h"

namespace orv::results {

namespace fs = boost::filesystem;

namespace {

/// A commit takes less.
constexpr std::chrono::milliseconds kLockWait{1000};

std::uintmax_t GetSize(const std::string& path) {
    boost::system::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

/// The log of a file in WAL mode: another process writes the file, or was killed.
bool HasLog(const std::string& path) {
    return GetSize(path + "-wal") > 0;
}

std::int64_t Get(SqliteConnection& connection, const char* sql) {
    SqliteStatement statement(connection, sql);
    statement.Step();
    return statement.GetInteger(0);
}

/// Tables before what belongs to them. SQLite makes its own ones itself.
std::vector<std::string> ReadSchema(SqliteConnection& connection) {
    SqliteStatement list(connection,
                         "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL AND name NOT LIKE 'sqlite\\_%' "
                         "ESCAPE '\\' ORDER BY type <> 'table', rowid");
    std::vector<std::string> schema;
    while (list.Step()) schema.push_back(list.GetText(0));
    return schema;
}

/// Other programs' tables would stay as they are, but nobody means to have results among them.
bool IsOthers(SqliteConnection& connection) {
    return Get(connection, "SELECT count(*) FROM sqlite_master") > 0 &&
           Get(connection, "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'DataSets'") ==
               0;
}

/// Throws SqliteError where the file cannot be read.
std::string FindProblem(const std::string& path) {
    // A file that another process writes, or whose writer was killed, is not changed. Any other is opened as
    // the run will open it, because SQLite leaves files beside one in WAL mode when it may only read it.
    SqliteConnection connection(
        path, HasLog(path) ? SqliteConnection::Mode::ReadOnly : SqliteConnection::Mode::Existing);
    connection.SetLockWait(kLockWait);
    // The file is not truncated meanwhile.
    const SqliteTransaction reading(connection, SqliteTransaction::Kind::Deferred);
    if (IsOthers(connection)) return "it is no results database: it has no table DataSets";
    const std::vector<std::string> schema = ReadSchema(connection);
    const auto expected = static_cast<std::uintmax_t>(Get(connection, "PRAGMA page_count") *
                                                      Get(connection, "PRAGMA page_size"));
    if (const std::uintmax_t size = GetSize(path); size < expected && !HasLog(path)) {
        return "it is a damaged database: of its " + std::to_string(expected) + " bytes there are " +
               std::to_string(size);
    }
    NewDataSet data_set;
    data_set.classes = GetStoredClasses();
    data_set.device_class = framework::CMetaClassManager::Instance().GetClass(ids::EmulatedDevice::CLASS);
    try {
        ResultsFile::Rehearse(std::move(data_set), schema);
    } catch (const std::exception& error) {
        return std::string("it is no results database: ") + error.what();
    }
    return {};
}

}  // namespace

}  // namespace orv::results

namespace orv::core {

std::string FindResultsFileProblem(const std::string& path) {
    if (results::GetSize(path) == 0) return {};
    try {
        return results::FindProblem(path);
    } catch (const results::SqliteError& error) {
        if (error.IsNoDatabase()) return "it is no database";
        if (error.IsDamage())
            return std::string("it is a damaged database, or one that was cut off: ") + error.what();
        // A lock ends, and other errors show later: the results go to another file then.
        return {};
    }
}

}  // namespace orv::core
