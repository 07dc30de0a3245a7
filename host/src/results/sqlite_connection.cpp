#include "sqlite_connection.h"

#include <system_error>
#include <utility>

namespace orv::results {

namespace {

std::string DescribeError(sqlite3* connection, int code) {
    std::string text = connection ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
    if (code == SQLITE_READONLY_DBMOVED) return "the file has been removed or replaced";
    const int kind = code & 0xff;
    if (connection && (kind == SQLITE_CANTOPEN || kind == SQLITE_IOERR || kind == SQLITE_FULL)) {
        if (const int reason = sqlite3_system_errno(connection)) {
            text += ": " + std::generic_category().message(reason);
        }
    }
    return text;
}

}  // namespace

SqliteError::SqliteError(sqlite3* connection, int code)
    : std::runtime_error(DescribeError(connection, code)), code_(code) {}

SqliteConnection::SqliteConnection(const std::string& path, Mode mode) {
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    flags |= mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    if (mode == Mode::Create) flags |= SQLITE_OPEN_CREATE;
    const int code = sqlite3_open_v2(path.c_str(), &connection_, flags, nullptr);
    if (code == SQLITE_OK) return;
    const SqliteError error(connection_, code);
    sqlite3_close(connection_);
    throw error;
}

SqliteConnection::~SqliteConnection() {
    sqlite3_close_v2(connection_);
}

void SqliteConnection::SetLockWait(std::chrono::milliseconds wait) {
    sqlite3_busy_timeout(connection_, static_cast<int>(wait.count()));
}

void SqliteConnection::Execute(const std::string& sql) {
    const int code = sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) throw SqliteError(connection_, code);
}

SqliteStatement::SqliteStatement(SqliteConnection& connection, const std::string& sql) {
    const int code = sqlite3_prepare_v3(connection.Get(), sql.c_str(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement_, nullptr);
    if (code != SQLITE_OK) throw SqliteError(connection.Get(), code);
}

SqliteStatement::~SqliteStatement() {
    sqlite3_finalize(statement_);
}

SqliteStatement::SqliteStatement(SqliteStatement&& other) noexcept
    : statement_(std::exchange(other.statement_, nullptr)) {}

bool SqliteStatement::Step() {
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) return true;
    if (code == SQLITE_DONE) return false;
    const SqliteError error(sqlite3_db_handle(statement_), code);
    sqlite3_reset(statement_);
    throw error;
}

void SqliteStatement::Run() {
    while (Step()) {
    }
    sqlite3_reset(statement_);
}

std::string SqliteStatement::GetText(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))) : "";
}

void SqliteStatement::BindText(int index, std::string_view text, sqlite3_destructor_type lifetime) {
    // An empty view may have no address, which SQLite would take for NULL.
    Check(sqlite3_bind_text64(statement_, index, text.data() ? text.data() : "", text.size(), lifetime,
                              SQLITE_UTF8));
}

void SqliteStatement::Check(int code) const {
    if (code != SQLITE_OK) throw SqliteError(sqlite3_db_handle(statement_), code);
}

SqliteTransaction::SqliteTransaction(SqliteConnection& connection, Kind kind) : connection_(connection) {
    connection.Execute(kind == Kind::Immediate ? "BEGIN IMMEDIATE" : "BEGIN");
}

SqliteTransaction::~SqliteTransaction() {
    // Some errors have rolled back already.
    if (open_) sqlite3_exec(connection_.Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqliteTransaction::Commit() {
    connection_.Execute("COMMIT");
    open_ = false;
}

std::string QuoteName(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) {
        if (c == '"') quoted += c;
        quoted += c;
    }
    return quoted + "\"";
}

}  // namespace orv::results
