#include "results_viewer/results_database.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cctype>
#include <new>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <system_error>

namespace orv::app {

namespace fs = std::filesystem;

namespace {

/// A test holds its write lock for far less than this.
constexpr int kLockWaitMs = 5000;

/// The URI of an immutable file, for a database whose log SQLite may not create.
std::string MakeImmutableUri(const fs::path& path) {
    std::string uri = "file:";
    for (const char c : fs::absolute(path).string()) {
        const bool plain = std::isalnum(static_cast<unsigned char>(c)) || c == '/' || c == '.' || c == '-';
        uri += plain ? std::string(1, c) : fmt::format("%{:02x}", static_cast<unsigned char>(c));
    }
    return uri + "?immutable=1";
}

fs::path GetLogPath(const fs::path& path) {
    fs::path log = path;
    log += "-wal";
    return log;
}

bool HasLog(const fs::path& path) {
    std::error_code error;
    const auto size = fs::file_size(GetLogPath(path), error);
    return !error && size > 0;
}

int AllowSelecting(void*, int action, const char*, const char*, const char*, const char*) {
    switch (action) {
        case SQLITE_SELECT:
        case SQLITE_READ:
        case SQLITE_FUNCTION:
        case SQLITE_RECURSIVE:
            return SQLITE_OK;
        default:
            return SQLITE_DENY;
    }
}

/// While it lives, only what selects can be prepared.
class SelectingOnly {
  public:
    explicit SelectingOnly(sqlite3* connection) : connection_(connection) {
        sqlite3_set_authorizer(connection_, AllowSelecting, nullptr);
        // Otherwise a misspelt column would be a string literal.
        sqlite3_db_config(connection_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    }
    ~SelectingOnly() { sqlite3_set_authorizer(connection_, nullptr, nullptr); }
    SelectingOnly(const SelectingOnly&) = delete;
    SelectingOnly& operator=(const SelectingOnly&) = delete;

  private:
    sqlite3* connection_;
};

std::string MakeValid(std::string text) {
    using nlohmann::json;
    const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (std::all_of(text.begin(), text.end(), is_ascii)) return text;
    const json quoted = std::move(text);
    return json::parse(quoted.dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

}  // namespace

fs::path FindDatabase(const fs::path& name) {
    constexpr std::string_view kEnding = ".db";
    if (name.string().ends_with(kEnding)) return name;
    fs::path with_ending = name;
    with_ending += kEnding;
    std::error_code error;
    return fs::exists(with_ending, error) ? with_ending : name;
}

void ResultsDatabase::Closer::operator()(sqlite3* connection) const {
    sqlite3_close(connection);
}

std::string QuoteName(const std::string& name) {
    return "\"" + boost::algorithm::replace_all_copy(name, "\"", "\"\"") + "\"";
}

ResultsDatabase::ResultsDatabase(const fs::path& path) : path_(path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        throw ResultsError(fmt::format("{}: there is no such file", path.string()));
    }
    if (error) throw ResultsError(fmt::format("{}: {}", path.string(), error.message()));
    if (fs::is_directory(status)) throw ResultsError(fmt::format("{} is a folder", path.string()));

    // A relative path could begin with "file:", which SQLite parses as a URI.
    Open(fs::absolute(path).string(), SQLITE_OPEN_READONLY);
    int code = BeginReading();
    const int kind = code & 0xff;
    if ((kind == SQLITE_READONLY || kind == SQLITE_CANTOPEN) && !HasLog(path)) {
        // A file in WAL mode needs a log beside it, which cannot be created in a read-only folder. Where
        // there is none, no test is writing the file, and it is complete.
        Open(MakeImmutableUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
        code = BeginReading();
    }
    if (code != SQLITE_OK) ThrowUnreadable(code);
    CheckTables();
}

void ResultsDatabase::Open(const std::string& name, int flags) {
    sqlite3* connection = nullptr;
    const int code = sqlite3_open_v2(name.c_str(), &connection, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    connection_.reset(connection);
    if (code == SQLITE_NOMEM) throw std::bad_alloc();
    if (code != SQLITE_OK) ThrowUnreadable(code);
    sqlite3_busy_timeout(connection, kLockWaitMs);
}

int ResultsDatabase::BeginReading() {
    // BEGIN alone does not read the file.
    return sqlite3_exec(connection_.get(), "BEGIN; SELECT count(*) FROM sqlite_master", nullptr, nullptr,
                        nullptr);
}

void ResultsDatabase::ThrowUnreadable(int code) const {
    const int kind = code & 0xff;
    const std::string file = path_.string();
    if (kind == SQLITE_NOTADB) throw ResultsError(file + " is no SQLite database");
    std::string why = connection_ ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(code);
    if (kind == SQLITE_READONLY || kind == SQLITE_CANTOPEN) {
        if (HasLog(path_)) {
            throw ResultsError(fmt::format(
                "{} cannot be read together with {}: files cannot be made in its folder, and the test that "
                "wrote it did not end in order; copy both files into a folder of your own",
                file, GetLogPath(path_).filename().string()));
        }
        const int reason = connection_ ? sqlite3_system_errno(connection_.get()) : 0;
        if (reason != 0) why += ": " + std::generic_category().message(reason);
    }
    throw ResultsError(fmt::format("{} cannot be read: {}", file, why));
}

void ResultsDatabase::CheckTables() {
    for (const char* table : {"DataSets", "EotResultNode", "EotResultViewDefinition", "IterationDatabases"}) {
        if (!HasTable(table)) {
            throw ResultsError(
                fmt::format("{} is no results database: it has no table {}", path_.string(), table));
        }
    }
}

bool ResultsDatabase::HasTable(const std::string& name) const {
    ResultsQuery query(*this,
                       "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = @Name COLLATE NOCASE");
    query.Bind("@Name", name);
    return query.Next();
}

void ResultsQuery::Finalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

ResultsQuery::ResultsQuery(const ResultsDatabase& database, const std::string& sql, Kind kind)
    : database_(database) {
    std::optional<SelectingOnly> guard;
    if (kind == Kind::View) guard.emplace(database.Get());
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(database.Get(), sql.c_str(), static_cast<int>(sql.size()) + 1,
                                        &statement, nullptr);
    statement_.reset(statement);
    Check(code);
    if (!statement) throw ResultsError(database.GetPath().string() + ": the query is empty");
}

void ResultsQuery::Check(int code) const {
    if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
    const int kind = code & 0xff;
    if (kind == SQLITE_NOMEM) throw std::bad_alloc();
    const auto text = fmt::format("{}: {}", database_.GetPath().string(), sqlite3_errmsg(database_.Get()));
    // SQLite sorts in temporary files.
    if (kind == SQLITE_FULL || kind == SQLITE_IOERR) throw ResultsFailure(text);
    throw ResultsError(text);
}

void ResultsQuery::Bind(const std::string& parameter, const ResultValue& value) {
    const int index = sqlite3_bind_parameter_index(statement_.get(), parameter.c_str());
    if (index == 0) return;
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        Check(sqlite3_bind_int64(statement_.get(), index, *number));
    } else if (const auto* real = std::get_if<double>(&value)) {
        Check(sqlite3_bind_double(statement_.get(), index, *real));
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        Check(sqlite3_bind_text64(statement_.get(), index, text->data(), text->size(), SQLITE_TRANSIENT,
                                  SQLITE_UTF8));
    } else {
        Check(sqlite3_bind_null(statement_.get(), index));
    }
}

bool ResultsQuery::Next() {
    const int code = sqlite3_step(statement_.get());
    Check(code);
    return code == SQLITE_ROW;
}

int ResultsQuery::GetColumnCount() const {
    return sqlite3_column_count(statement_.get());
}

std::string ResultsQuery::GetTitle(int column) const {
    const char* title = sqlite3_column_name(statement_.get(), column);
    if (!title) throw std::bad_alloc();
    return MakeValid(title);
}

ResultValue ResultsQuery::Get(int column) const {
    sqlite3_stmt* statement = statement_.get();
    switch (sqlite3_column_type(statement, column)) {
        case SQLITE_NULL:
            return std::monostate();
        case SQLITE_INTEGER:
            return std::int64_t{sqlite3_column_int64(statement, column)};
        case SQLITE_FLOAT:
            return sqlite3_column_double(statement, column);
        case SQLITE_BLOB: {
            const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(statement, column));
            std::string digits;
            for (int i = 0; i < sqlite3_column_bytes(statement, column); ++i)
                digits += fmt::format("{:02x}", bytes[i]);
            return digits;
        }
        default:
            return GetText(column);
    }
}

std::int64_t ResultsQuery::GetInteger(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::string ResultsQuery::GetText(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
    if (text)
        return MakeValid({text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))});
    if (sqlite3_errcode(database_.Get()) == SQLITE_NOMEM) throw std::bad_alloc();
    return "";
}

}  // namespace orv::app
