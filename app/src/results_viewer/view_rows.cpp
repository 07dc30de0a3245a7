#include "results_viewer/view_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>
#include <boost/tokenizer.hpp>
#include <charconv>
#include <numeric>
#include <utility>

#include "orv/common/text.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

/// The value of a node's parameter: numbers are compared with numbers.
ResultValue ToParameter(const std::string& text) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && rest == end) return number;
    return text;
}

/// The view of port results identifies ports by location; users know them by name.
std::string AddPortName(const std::string& sql) {
    constexpr std::string_view kBegin = "SELECT Port.Location as ";
    if (!boost::algorithm::istarts_with(sql, kBegin)) return sql;
    return "SELECT Port.Name as 'Port Name', " + sql.substr(std::string_view("SELECT ").size());
}

std::vector<std::string> MakeUnique(const std::vector<std::string>& titles) {
    std::vector<std::string> unique;
    const auto is_taken = [](const std::vector<std::string>& names, const std::string& name) {
        return std::any_of(names.begin(), names.end(),
                           [&](const auto& other) { return common::EqualIgnoringCase(other, name); });
    };
    for (const std::string& title : titles) {
        std::string name = title;
        for (int n = 2; is_taken(unique, name) || (n > 2 && is_taken(titles, name)); ++n)
            name = fmt::format("{} ({})", title, n);
        unique.push_back(name);
    }
    return unique;
}

std::string DescribeColumns(const std::string& name, const std::vector<std::string>& names) {
    const std::string nearest = FindNearestName(name, names);
    std::string text;
    if (!nearest.empty()) text = fmt::format("; did you mean \"{}\"?", nearest);
    text += "\nIts columns are:";
    for (const std::string& known : names) text += "\n  " + known;
    return text;
}

/// Where a text, a name or a comment that begins at a place of an SQL expression ends.
std::size_t SkipQuoted(const std::string& sql, std::size_t at) {
    const std::string two = sql.substr(at, 2);
    const auto behind = [&](const std::string& mark, std::size_t from) {
        const std::size_t end = sql.find(mark, from);
        return end == std::string::npos ? sql.size() : end + mark.size();
    };
    if (two == "--") return behind("\n", at);
    if (two == "/*") return behind("*/", at + 2);
    if (sql[at] == '[') return behind("]", at);
    if (sql[at] == '\'' || sql[at] == '"' || sql[at] == '`') return behind(std::string(1, sql[at]), at + 1);
    return at + 1;
}

/// The expression stands in parentheses, and must not leave them.
void CheckExpression(const std::string& where) {
    int depth = 0;
    bool leaves = false;
    for (std::size_t at = 0; at < where.size(); at = SkipQuoted(where, at)) {
        if (where[at] == '(') ++depth;
        if (where[at] == ')') --depth;
        leaves = leaves || depth < 0 || where[at] == ';';
    }
    if (depth == 0 && !leaves) return;
    throw ResultsError(fmt::format(
        "--where \"{}\" is no SQL expression: a parenthesis too many or too few, or a semicolon", where));
}

}  // namespace

ViewRows::ViewRows(std::shared_ptr<const ResultsDatabase> database, const ViewNode& view,
                   std::uint32_t data_set, const Selection& selection)
    : database_(std::move(database)), left_(selection.limit) {
    const std::string sql = AddPortName(view.sql);
    query_ = std::make_unique<ResultsQuery>(*database_, sql, ResultsQuery::Kind::View);
    if (query_->GetColumnCount() == 0) throw ResultsError("its SQL selects nothing");
    for (int i = 0; i < query_->GetColumnCount(); ++i) titles_.push_back(query_->GetTitle(i));
    names_ = MakeUnique(titles_);
    columns_.resize(names_.size());
    std::iota(columns_.begin(), columns_.end(), 0);
    if (!selection.where.empty()) Restrict(selection.where, sql);
    if (!selection.columns.empty()) Choose(selection.columns);
    query_->Bind("@DataSetId", std::int64_t{data_set});
    for (const auto& [name, value] : view.parameters) query_->Bind(name, ToParameter(value));
    has_row_ = Step();
}

void ViewRows::Restrict(const std::string& where, const std::string& sql) {
    CheckExpression(where);
    std::string names;
    for (const std::string& name : names_) names += (names.empty() ? "" : ",") + QuoteName(name);
    const std::string view = boost::algorithm::trim_right_copy_if(sql, boost::algorithm::is_any_of("; \n"));
    try {
        query_ = std::make_unique<ResultsQuery>(*database_,
                                                "WITH \"view\"(" + names + ") AS (\n" + view +
                                                    "\n) SELECT * FROM \"view\" WHERE (\n" + where + "\n)",
                                                ResultsQuery::Kind::View);
    } catch (const ResultsError& error) {
        constexpr std::string_view kNoColumn = "no such column: ";
        const std::string why = error.what();
        const std::size_t at = why.find(kNoColumn);
        throw ResultsError(fmt::format(
            "--where \"{}\": {}{}", where, why,
            at == std::string::npos ? "" : DescribeColumns(why.substr(at + kNoColumn.size()), names_)));
    }
}

void ViewRows::Choose(const std::string& columns) {
    std::vector<std::string> titles, names;
    std::vector<int> chosen;
    try {
        using Quoted = boost::escaped_list_separator<char>;
        // No escape character: names hold backslashes as they are.
        for (std::string wanted : boost::tokenizer<Quoted>(columns, Quoted("", ",", "\""))) {
            boost::algorithm::trim(wanted);
            const auto is_it = [&wanted](const std::string& name) {
                return common::EqualIgnoringCase(name, wanted);
            };
            const auto found = std::find_if(names_.begin(), names_.end(), is_it);
            if (found == names_.end()) {
                throw ResultsError(fmt::format("--columns: the view has no column \"{}\"{}", wanted,
                                               DescribeColumns(wanted, names_)));
            }
            const auto index = found - names_.begin();
            titles.push_back(titles_[static_cast<std::size_t>(index)]);
            names.push_back(*found);
            chosen.push_back(static_cast<int>(index));
        }
    } catch (const boost::escaped_list_error& error) {
        throw ResultsError(fmt::format("--columns \"{}\": {}", columns, error.what()));
    }
    titles_ = titles;
    // A column may be requested twice.
    names_ = MakeUnique(names);
    columns_ = chosen;
}

bool ViewRows::Step() {
    if (left_ && (*left_)-- == 0) {
        left_ = 0;
        return false;
    }
    return query_->Next();
}

bool ViewRows::Next(std::vector<ResultValue>& row) {
    if (!std::exchange(is_first_, false)) has_row_ = has_row_ && Step();
    if (!has_row_) return false;
    row.clear();
    for (const int column : columns_) row.push_back(query_->Get(column));
    return true;
}

}  // namespace orv::app
