// The event rows of a results file, to be inserted into another one by the simplest means.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

/// Closes with the object. Every error is an exception.
class Database {
  public:
    explicit Database(const std::string& path) { Check(sqlite3_open(path.c_str(), &connection_)); }
    ~Database() { sqlite3_close_v2(connection_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void Check(int code) const {
        if (code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(connection_));
    }
    void Execute(const std::string& sql) {
        Check(sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr));
    }
    /// The caller finalises it.
    sqlite3_stmt* Prepare(const std::string& sql) {
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr));
        return statement;
    }

  private:
    sqlite3* connection_ = nullptr;
};

class RawRows {
  public:
    /// Reads at most `most` rows.
    RawRows(const std::string& path, std::int64_t most) {
        Database database(path);
        sqlite3_stmt* schema =
            database.Prepare("SELECT sql FROM sqlite_master WHERE name = 'IptvEventResults'");
        database.Check(sqlite3_step(schema));
        create_ = reinterpret_cast<const char*>(sqlite3_column_text(schema, 0));
        sqlite3_finalize(schema);
        sqlite3_stmt* count = database.Prepare("SELECT count(*) FROM IptvEventResults");
        sqlite3_step(count);
        count_ = sqlite3_column_int64(count, 0);
        sqlite3_finalize(count);
        sqlite3_stmt* rows = database.Prepare("SELECT * FROM IptvEventResults LIMIT " + std::to_string(most));
        columns_ = sqlite3_column_count(rows);
        for (int i = 0; i < columns_; ++i) {
            if (sqlite3_column_name(rows, i) == std::string("Name")) name_ = i;
        }
        while (sqlite3_step(rows) == SQLITE_ROW) {
            for (int i = 0; i < columns_; ++i) values_.push_back(Read(rows, i));
        }
        sqlite3_finalize(rows);
    }
    /// Of the file.
    std::int64_t GetCount() const { return count_; }

    /// Inserts as many rows as the file has into the table of a new file, in groups of 4,000 as the program
    /// does: those that were read, over and over again, with ascending handles.
    void Insert(const std::string& path) const {
        constexpr std::int64_t kGroup = 4000;
        Database database(path);
        database.Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
        database.Execute(create_);
        std::string marks = "?";
        for (int i = 1; i < columns_; ++i) marks += ",?";
        sqlite3_stmt* insert = database.Prepare("INSERT INTO IptvEventResults VALUES(" + marks + ")");
        const auto read = static_cast<std::int64_t>(values_.size()) / columns_;
        const std::int64_t first = values_.front().integer;
        for (std::int64_t row = 0; row < count_; ++row) {
            if (row % kGroup == 0) database.Execute("BEGIN");
            const Value* values = &values_[static_cast<std::size_t>(row % read * columns_)];
            for (int i = 1; i < columns_; ++i) Bind(insert, i + 1, values[i]);
            const std::int64_t handle = first + row;
            sqlite3_bind_int64(insert, 1, handle);
            const std::string name = "IptvEventResults " + std::to_string(handle);
            sqlite3_bind_text(insert, name_ + 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
            database.Check(sqlite3_step(insert));
            sqlite3_reset(insert);
            if ((row + 1) % kGroup == 0 || row + 1 == count_) database.Execute("COMMIT");
        }
        sqlite3_finalize(insert);
    }

  private:
    struct Value {
        int type;
        std::int64_t integer = 0;
        double real = 0;
        std::string text;
    };

    static Value Read(sqlite3_stmt* row, int column) {
        Value value{sqlite3_column_type(row, column), sqlite3_column_int64(row, column),
                    sqlite3_column_double(row, column), ""};
        if (value.type == SQLITE_TEXT) {
            value.text.assign(reinterpret_cast<const char*>(sqlite3_column_text(row, column)),
                              static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
        }
        return value;
    }
    static void Bind(sqlite3_stmt* insert, int parameter, const Value& value) {
        switch (value.type) {
            case SQLITE_INTEGER:
                sqlite3_bind_int64(insert, parameter, value.integer);
                break;
            case SQLITE_FLOAT:
                sqlite3_bind_double(insert, parameter, value.real);
                break;
            case SQLITE_TEXT:
                sqlite3_bind_text(insert, parameter, value.text.data(), static_cast<int>(value.text.size()),
                                  SQLITE_STATIC);
                break;
            default:
                sqlite3_bind_null(insert, parameter);
        }
    }

    std::string create_;
    std::int64_t count_ = 0;
    int columns_ = 0;
    int name_ = 0;
    std::vector<Value> values_;  ///< row by row
};

}  // namespace bench
