// Reading a results database that a test may be writing.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>

struct sqlite3;
struct sqlite3_stmt;

namespace orv::app {

/// An error of the database or of the query, as shown to users.
class ResultsError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Thrown when memory or disk space runs out, or when the output cannot be written.
class ResultsFailure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// No value, a whole number, a number, or a text.
using ResultValue = std::variant<std::monostate, std::int64_t, double, std::string>;

/// The path of a database for a name, as for runs: NAME.db, unless the name has that ending. If there is no
/// such file, the name as given.
std::filesystem::path FindDatabase(const std::filesystem::path& name);

/// A name quoted for SQL.
std::string QuoteName(const std::string& name);

/// A results database, opened to be read. Everything read through one object is one snapshot.
class ResultsDatabase {
  public:
    /// Throws a ResultsError that names the file if it cannot be read or is not a results database.
    explicit ResultsDatabase(const std::filesystem::path& path);

    const std::filesystem::path& GetPath() const { return path_; }
    /// Case-insensitive.
    bool HasTable(const std::string& name) const;
    sqlite3* Get() const { return connection_.get(); }

  private:
    struct Closer {
        void operator()(sqlite3* connection) const;
    };

    void Open(const std::string& name, int flags);
    int BeginReading();
    [[noreturn]] void ThrowUnreadable(int code) const;
    void CheckTables();

    std::filesystem::path path_;
    std::unique_ptr<sqlite3, Closer> connection_;
};

/// One query, read row by row. The database must live longer. All operations throw ResultsError with SQLite's
/// reason, or ResultsFailure. Texts are UTF-8: invalid bytes are returned as U+FFFD.
class ResultsQuery {
  public:
    /// Views may only select; a name in double quotes is a column.
    enum class Kind { Own, View };

    ResultsQuery(const ResultsDatabase& database, const std::string& sql, Kind kind = Kind::Own);

    /// Binds the parameter of that name ("@DataSetId"), if the SQL has it.
    void Bind(const std::string& parameter, const ResultValue& value);
    /// True when there is a row.
    bool Next();

    int GetColumnCount() const;
    std::string GetTitle(int column) const;
    /// A value of the row; values other than numbers and texts as hexadecimal digits.
    ResultValue Get(int column) const;
    /// The same; 0 or empty if there is no value.
    std::int64_t GetInteger(int column) const;
    std::string GetText(int column) const;

  private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };

    void Check(int code) const;

    const ResultsDatabase& database_;
    std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
};

}  // namespace orv::app
