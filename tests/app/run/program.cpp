#include "program.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

namespace testing_aids {

namespace {

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;

Database Open(const std::filesystem::path& path) {
    sqlite3* database = nullptr;
    sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
    return {database, &sqlite3_close};
}

using Row = std::vector<std::pair<std::string, std::string>>;  ///< column, value

std::vector<Row> ReadRows(sqlite3* database, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
    std::vector<Row> rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
        Row& row = rows.emplace_back();
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
            row.emplace_back(sqlite3_column_name(statement, i), text ? text : "NULL");
        }
    }
    sqlite3_finalize(statement);
    return rows;
}

}  // namespace

ProgramRun RunIptvtest(const std::string& arguments) {
    const TemporaryFolder folder;
    WriteFile(folder / "command", std::string(PROGRAM_PATH) + " " + arguments);
    const std::string command = "bash " + (folder / "command").string() + " >" + (folder / "out").string() +
                                " 2>" + (folder / "err").string();
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadFile(folder / "out"),
            ReadFile(folder / "err")};
}

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "iptvtestXXXXXX").string();
    path_ = mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder() {
    std::filesystem::remove_all(path_);
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string DumpDatabase(const std::filesystem::path& path) {
    static const std::set<std::string> left_out{"StartTime",      "EndTime",          "TestStartTime",
                                                "TestEndTime",    "DatabaseFileName", "Path",
                                                "LastUpdateTime", "TestFile"};
    const Database database = Open(path);
    std::string dump;
    for (const Row& table :
         ReadRows(database.get(), "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
        const std::string& name = table.front().second;
        for (const Row& row : ReadRows(database.get(), "SELECT * FROM \"" + name + "\"")) {
            if (name == "DataSetDescriptions" && left_out.contains(row[1].second)) continue;
            dump += name;
            for (const auto& [column, value] : row) {
                if (!left_out.contains(column)) dump += "|" + column + "=" + value;
            }
            dump += '\n';
        }
    }
    return dump;
}

std::string FirstDifference(const std::string& a, const std::string& b) {
    std::istringstream left(a), right(b);
    std::string left_line, right_line;
    for (;;) {
        const bool has_left = static_cast<bool>(std::getline(left, left_line));
        const bool has_right = static_cast<bool>(std::getline(right, right_line));
        if (!has_left && !has_right) return {};
        if (has_left != has_right || left_line != right_line)
            return (has_left ? left_line : "(end)") + "\n  against\n" + (has_right ? right_line : "(end)");
    }
}

std::string Query(const std::filesystem::path& path, const std::string& sql) {
    const Database database = Open(path);
    const std::vector<Row> rows = ReadRows(database.get(), sql);
    return rows.empty() ? "" : rows.front().front().second;
}

std::vector<std::filesystem::path> FindExamples() {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES_PATH)) {
        if (entry.path().extension() == ".yaml") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace testing_aids
