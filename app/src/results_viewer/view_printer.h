// Rows as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "results_viewer/view_rows.h"

namespace orv::app {

/// All of them print row by row, in memory that does not grow with the rows, and throw ResultsFailure when
/// the output cannot be written.

/// For people. Numbers have at most three decimals. Columns are as wide as the first rows need; a wider cell
/// in a later row is not cut. A table wider than `line_width` characters is transposed: the column names
/// become the first column, and each row a column. If that is too wide, too, each row is printed as lines of
/// "name: value".
void PrintTable(RowSource& rows, std::size_t line_width, std::ostream& out);

/// For spreadsheets, as in RFC 4180. Numbers are exact, no value is an empty field, and U+FFFD replaces a
/// NUL, at which many readers stop.
void PrintCsv(RowSource& rows, bool is_terminal, std::ostream& out);

/// For programs. Numbers are exact, no value is null.
void PrintJson(RowSource& rows, const std::string& view, std::uint32_t data_set, std::ostream& out);

/// A field of a CSV file, in quotes where it needs them.
std::string QuoteCsv(const std::string& field);

/// Throws ResultsFailure with the text of errno when a write failed.
void CheckOutput(const std::ostream& out);

}  // namespace orv::app
