// What a query selects, as text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "results_viewer/results_database.h"

namespace orv::app {

/// For people. Numbers have at most three decimals. What is wider than `line_width` characters is turned on
/// its side: the first column is the names, and every row is a column; where that is too wide, too, the rows
/// follow each other as lines of "name: value".
void PrintTable(ResultsQuery& query, std::size_t line_width, std::ostream& out);

/// For spreadsheets, as in RFC 4180. Numbers are exact, no value is an empty field.
void PrintCsv(ResultsQuery& query, std::ostream& out);

/// For programs. Numbers are exact, no value is null.
void PrintJson(ResultsQuery& query, const std::string& view, std::uint32_t data_set, std::ostream& out);

/// A field of a CSV file, in quotes where it needs them.
std::string QuoteCsv(const std::string& field);

}  // namespace orv::app
