// The command "iptvtest results".
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "results_viewer/view_rows.h"

namespace orv::app {

enum class ResultsFormat { Table, Csv, Json };

struct ResultsRequest {
    std::filesystem::path database;  ///< or its path without ".db"
    /// Name of a view without regard to case, or the end of its path: "Parent/Child". Empty: the tree of
    /// views.
    std::string view;
    ResultsFormat format = ResultsFormat::Table;
    /// Empty: the latest one with views.
    std::optional<std::uint32_t> data_set;
    /// Print only the names that `view` accepts, one per line.
    bool list = false;
    /// What to print of a view.
    Selection selection = {};
    /// Print only the text of the test file of the data set.
    bool test_file = false;
    /// Characters per line. A wider table is printed with its columns as lines: rows side by side if they
    /// fit, otherwise one below the other.
    std::size_t line_width = 120;
    bool is_terminal = false;  ///< if so, no control characters are written in any format
};

/// Prints to `out`; errors, and a note about a data set without an end, go to `err`. Returns the exit status:
/// 0; 2 when there is nothing to print (in most cases nothing has been written to `out` then); 3 when there
/// is not enough memory or disk space, or `out` cannot be written.
///
/// The database is only read, row by row, also while a test writes it. A view name that fits several views
/// prints each of them under its path as tables; for CSV and JSON it is an error that names the paths. CSV is
/// as in RFC 4180. JSON: {"view": name, "data_set": n, "columns": [...], "rows": [{column: value}, ...]},
/// where of columns with the same name the second is "name (2)" and so on. The tree in JSON: {"data_set": n,
/// "data_sets": [...], "views": [{"name", "path", "kind", ...}, ...]}.
int ShowResults(const ResultsRequest& request, std::ostream& out, std::ostream& err);

/// The same for a file descriptor. On a terminal, lines are as wide as the terminal. Output is spooled
/// (SpooledOutput), so that the database does not stay open while a user reads in a pager. If the reader of a
/// pipe ends early, SIGPIPE ends the process.
int ShowResults(ResultsRequest request, int out_descriptor, std::ostream& err);

}  // namespace orv::app
