// SQLite with exceptions for return codes and with destructors.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace orv::results {

/// What SQLite reports, with the operating system's reason where there is one.
class SqliteError : public std::runtime_error {
  public:
    SqliteError(sqlite3* connection, int code);
    /// Another connection holds a lock.
    bool IsBusy() const {
        const int kind = code_ & 0xff;
        return kind == SQLITE_BUSY || kind == SQLITE_LOCKED || kind == SQLITE_PROTOCOL;
    }
    bool IsDamage() const { return (code_ & 0xff) == SQLITE_CORRUPT; }
    /// The file is none of SQLite's.
    bool IsNoDatabase() const { return (code_ & 0xff) == SQLITE_NOTADB; }
    /// The disk is full, or the file as large as it may become.
    bool IsOutOfRoom() const { return (code_ & 0xff) == SQLITE_FULL || code_ == SQLITE_IOERR_WRITE; }

  private:
    int code_;
};

/// One database. Used by one thread at a time. All operations throw SqliteError.
class SqliteConnection {
  public:
    enum class Mode { ReadOnly, Existing, Create };

    SqliteConnection(const std::string& path, Mode mode);
    ~SqliteConnection();
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    /// How long an operation waits for another connection's lock before it fails.
    void SetLockWait(std::chrono::milliseconds wait);
    /// Runs statements without parameters.
    void Execute(const std::string& sql);
    sqlite3* Get() const { return connection_; }

  private:
    sqlite3* connection_ = nullptr;
};

/// One prepared statement. Parameters and columns count as in SQLite: from 1 and from 0.
class SqliteStatement {
  public:
    SqliteStatement(SqliteConnection& connection, const std::string& sql);
    ~SqliteStatement();
    SqliteStatement(SqliteStatement&& other) noexcept;
    SqliteStatement& operator=(SqliteStatement&&) = delete;

    void BindNull(int index) { Check(sqlite3_bind_null(statement_, index)); }
    void Bind(int index, std::int64_t value) { Check(sqlite3_bind_int64(statement_, index, value)); }
    /// SQLite's integers are signed. A larger number is stored as a double: about right is better than
    /// negative.
    void Bind(int index, std::uint64_t value) {
        if (value > static_cast<std::uint64_t>(INT64_MAX)) return Bind(index, static_cast<double>(value));
        Bind(index, static_cast<std::int64_t>(value));
    }
    void Bind(int index, double value) { Check(sqlite3_bind_double(statement_, index, value)); }
    void Bind(int index, std::string_view text) { BindText(index, text, SQLITE_TRANSIENT); }
    /// The text must stay until the statement has run.
    void BindUncopied(int index, std::string_view text) { BindText(index, text, SQLITE_STATIC); }

    /// True when there is a row.
    bool Step();
    /// Runs the statement to its end and makes it ready for the next time.
    void Run();

    std::int64_t GetInteger(int column) const { return sqlite3_column_int64(statement_, column); }
    std::string GetText(int column) const;

  private:
    void BindText(int index, std::string_view text, sqlite3_destructor_type lifetime);
    void Check(int code) const;

    sqlite3_stmt* statement_ = nullptr;
};

/// Rolls back unless it is committed.
class SqliteTransaction {
  public:
    /// Immediate: every database of the connection is locked for writing from the beginning. Deferred: each
    /// is locked as it is used.
    enum class Kind { Immediate, Deferred };

    explicit SqliteTransaction(SqliteConnection& connection, Kind kind = Kind::Immediate);
    ~SqliteTransaction();
    SqliteTransaction(const SqliteTransaction&) = delete;
    SqliteTransaction& operator=(const SqliteTransaction&) = delete;
    void Commit();

  private:
    SqliteConnection& connection_;
    bool open_ = true;
};

/// A name as it stands in SQL.
std::string QuoteName(std::string_view name);

}  // namespace orv::results
