#include <fmt/format.h>

#include <array>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "fuzz/byte_reader.h"
#include "fuzz/program_check.h"
#include "output/outcome_json.h"
#include "report/page.h"
#include "results_viewer/results_database.h"
#include "results_viewer/show_results.h"

namespace testing_aids {

namespace {

using namespace orv::app;  // NOLINT

/// A results database as this program writes it.
const std::string& GetGoodDatabase() {
    static const std::string bytes = [] {
        TestText text{
            .type = "FCC_WITH_RRR", .environment = "TESTING", .seconds = 3, .stbs = 2, .channels = 2};
        text.profile = {"Interval: 500", "SetTopLeaveJoinDelay: 100", "JoinLatencyThreshold: 200",
                        "LeaveLatencyThreshold: 500"};
        text.block = {"RtpNackEnable: true", "SaveTimeStamps: true"};
        RunOptions options;
        options.database = GetScratchFolder() / "good.db";
        SilentObserver observer;
        Session& session = GetSession();
        const auto outcome = session.Run(TestFile::Parse(text.ToString(), "test.yaml"), options, observer);
        if (outcome.tests.size() != 1)
            throw std::runtime_error("the good test is not one: " + Mistakes(outcome));
        session.Conclude(outcome.end, MakeOutcomeDetails(outcome));
        return ReadFile(options.database);
    }();
    return bytes;
}

struct Column {
    std::string table, name;
};

const std::vector<Column>& GetColumns(sqlite3* database) {
    static const std::vector<Column> columns = [database] {
        std::vector<Column> all;
        sqlite3_exec(
            database,
            "SELECT t.name, c.name FROM sqlite_master t, pragma_table_info(t.name) c WHERE t.type = 'table'",
            [](void* to, int, char** values, char**) {
                static_cast<std::vector<Column>*>(to)->push_back({values[0], values[1]});
                return 0;
            },
            &all, nullptr);
        return all;
    }();
    return columns;
}

/// What readers may stumble over, as SQL.
constexpr std::array kValues{"NULL",
                             "-1",
                             "0",
                             "1",
                             "2",
                             "3",
                             "4294967296",
                             "9223372036854775807",
                             "-9223372036854775808",
                             "1e308",
                             "9e999",
                             "-9e999",
                             "0.1",
                             "''",
                             "'x'",
                             "x'00ff'",
                             "CAST(x'ff80c3' AS TEXT)",
                             "zeroblob(70000)",
                             "hex(zeroblob(50000))",
                             "'SELECT 1'",
                             "'SELECT * FROM DataSets'",
                             "'SELECT @DataSetId, *'",
                             "'[]'",
                             "'{\"tests\":[{}]}'",
                             "'2026-11-22 10:00:00'",
                             "'../../other.db'",
                             "'results.db'",
                             "'</script>'",
                             "char(27) || '[2J'",
                             "'a,b,c'",
                             "'nan'",
                             "printf('%0999d', 1)"};

/// Changes the database as the bytes say. Statements that SQLite refuses do nothing.
void Change(sqlite3* database, ByteReader& reader) {
    const auto& columns = GetColumns(database);
    while (!reader.IsAtEnd()) {
        const unsigned kind = reader.Take(), place = reader.Take() * 256 + reader.Take();
        const Column& column = columns[place % columns.size()];
        const std::string table = '"' + column.table + '"', name = '"' + column.name + '"';
        const std::string rows = kind & 0x80 ? "" : fmt::format(" WHERE rowid % 3 = {}", reader.Take() % 3);
        std::string sql;
        switch (kind % 8) {
            case 0:
                sql = fmt::format("DELETE FROM {}{}", table, rows);
                break;
            case 1:
                sql = kind & 0x40 ? fmt::format("DROP TABLE {}", table)
                                  : fmt::format("ALTER TABLE {} DROP COLUMN {}", table, name);
                break;
            case 2:
                sql = fmt::format("INSERT INTO {0} SELECT * FROM {0}", table);
                break;
            case 3: {  // what another column has
                const Column& other = columns[(reader.Take() * 256 + reader.Take()) % columns.size()];
                sql = fmt::format("UPDATE {} SET {} = (SELECT \"{}\" FROM \"{}\"){}", table, name, other.name,
                                  other.table, rows);
                break;
            }
            default:
                sql = fmt::format("UPDATE {} SET {} = {}{}", table, name,
                                  kValues[reader.Take() % kValues.size()], rows);
        }
        sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
    }
}

void Expect(int status) {
    if (status != 0 && status != 2) throw std::logic_error(fmt::format("exit status {}", status));
}

}  // namespace

bool check_database_bytes(Bytes bytes) {
    ByteReader reader(bytes);
    const unsigned what = reader.Take();
    const auto path = GetScratchFolder() / "results.db";
    WriteFile(path, GetGoodDatabase());
    {
        const auto database = Execute(path, "PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY");
        Change(database.get(), reader);
    }
    ResultsRequest request;
    request.database = path;
    request.format = static_cast<ResultsFormat>(what % 3);
    std::ostringstream tree, names, view, errors;
    Expect(ShowResults(request, tree, errors));
    request.list = true;
    Expect(ShowResults(request, names, errors));
    request.list = false;
    // One view, another one with each input.
    std::istringstream lines(names.str());
    for (unsigned left = what / 3; std::getline(lines, request.view) && left > 0; --left) {
    }
    Expect(ShowResults(request, view, errors));
    try {
        const std::string page = MakeReport({path});
        return page.ends_with("</html>\n");
    } catch (const ResultsError&) {
        return false;
    }
}

}  // namespace testing_aids
