// What a results database holds, by a connection of the reader's own. An error is a failure of the test.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

namespace testing_aids {

struct DatabaseReader {
    /// Rows as texts (NULL as "null").
    using Rows = std::vector<std::vector<std::string>>;

    explicit DatabaseReader(const std::string& path) {
        EXPECT_EQ(sqlite3_open_v2(path.c_str(), &connection_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK)
            << path;
    }
    ~DatabaseReader() { sqlite3_close(connection_); }
    DatabaseReader& operator=(DatabaseReader&&) = delete;  // nor is it copied

    /// A parameter @DataSetId gets `data_set`.
    Rows Query(const std::string& sql, int data_set = 1) const {
        Rows rows;
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(connection_) << " in " << sql;
        sqlite3_bind_int(statement, sqlite3_bind_parameter_index(statement, "@DataSetId"), data_set);
        int code = SQLITE_OK;
        while (statement && (code = sqlite3_step(statement)) == SQLITE_ROW) {
            auto& row = rows.emplace_back();
            for (int column = 0; column < sqlite3_column_count(statement); ++column) {
                const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
                row.emplace_back(value ? value : "null");
            }
        }
        EXPECT_EQ(code, SQLITE_DONE) << sqlite3_errmsg(connection_) << " in " << sql;
        sqlite3_finalize(statement);
        return rows;
    }
    /// All values, with blanks between them.
    std::string Get(const std::string& sql, int data_set = 1) const {
        std::string text;
        for (const auto& row : Query(sql, data_set))
            for (const std::string& value : row) text += (text.empty() ? "" : " ") + value;
        return text;
    }

  private:
    sqlite3* connection_ = nullptr;
};

}  // namespace testing_aids
