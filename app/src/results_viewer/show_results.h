// The command "iptvtest results".
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

namespace orv::app {

enum class ResultsFormat { Table, Csv, Json };

struct ResultsRequest {
    std::filesystem::path database;
    /// Name of a view without regard to case, or the end of its path: "Parent/Child". Empty: the tree of
    /// views.
    std::string view;
    ResultsFormat format = ResultsFormat::Table;
    /// Empty: the latest one with views.
    std::optional<std::uint32_t> data_set;
    /// Instead of anything else, names by which `view` can be given, one per line.
    bool list = false;
    /// Characters of a line. A wider table is printed with its columns as lines, next to each other where
    /// the rows fit, otherwise one row below the other.
    std::size_t line_width = 120;
};

/// What a user should know of the output, for the command's help.
inline constexpr const char* kResultsHelp =
    "Without VIEW: the tree of views. A view is given by its name, without regard to case, or by the end of "
    "its\n"
    "path (\"Port Config/Port Result\").\n"
    "A table that is too wide for a line is turned on its side: its columns become lines, each row a column. "
    "If\n"
    "that is too wide, too, each row is printed as lines of \"name: value\". Tables round to three "
    "decimals;\n"
    "--csv and --json are exact.\n";

/// Prints to `out`; what is wrong, and that a data set has no end yet, goes to `err`. Returns the exit
/// status: 0, or 2 when there is nothing to print (then nothing has been written to `out`).
///
/// The database is only read, also while a test writes it, and is closed again before anything is printed,
/// so that an output that somebody pages through holds up no test.
///
/// A view name that fits several views prints each of them under its path as tables; for CSV and JSON it is
/// an error that names the paths. CSV is as in RFC 4180. JSON: {"view": name, "data_set": n, "columns":
/// [...], "rows": [{column: value}, ...]}, where of columns with the same name the second is "name (2)" and
/// so on. The tree in JSON: {"data_set": n, "data_sets": [...], "views": [{"name", "path", "kind", ...},
/// ...]}.
int ShowResults(const ResultsRequest& request, std::ostream& out, std::ostream& err);

}  // namespace orv::app
