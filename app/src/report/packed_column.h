// Columns of numbers, written so that a page of many thousand rows stays small.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "results_viewer/results_database.h"

namespace orv::app {

/// The data of the page.
using PageJson = nlohmann::ordered_json;

/// Nothing where nothing was measured.
using Number = std::optional<double>;

/// A number of a row; nothing for NULL and texts.
Number GetNumber(const ResultsQuery& query, int column);

/// With so many significant digits, and all digits before the decimal point from 1000 on. Percentiles are
/// accurate to 1 %.
double RoundFigure(double value, int digits = 4);

/// null, a whole number without a decimal point, or a number. NaN and infinity are null.
PageJson ToJson(const Number& number);

/// An array of numbers and nulls, or, where that is shorter, {"v": different values, "w": characters per row,
/// "s": indices}: row i has the value v[n], where n is the number that the characters i * w to (i + 1) * w -
/// 1 of s stand for, most significant first. The digits are the printable ASCII characters from '#' on,
/// without
/// &, <, > and \.
PageJson PackColumn(const std::vector<Number>& column);

/// An array of texts, or, of many, {"front": [...]}: a digit as above for how many ASCII characters a text
/// begins with that the one before begins with, too, and the rest of it.
PageJson PackTexts(const std::vector<std::string>& texts);

}  // namespace orv::app
