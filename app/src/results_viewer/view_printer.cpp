#include "results_viewer/view_printer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <vector>

#include "output/text_table.h"

namespace orv::app {

namespace {

/// A table that does not fit by then never will; the rows of a large view need not stay in memory for it.
constexpr std::size_t kRowsToDecide = 256;

bool IsNumber(const ResultValue& value) {
    return std::holds_alternative<std::int64_t>(value) || std::holds_alternative<double>(value);
}

std::string ToExactText(const ResultValue& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) return std::to_string(*number);
    if (const auto* real = std::get_if<double>(&value)) return fmt::format("{}", *real);
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    return {};
}

std::string RoundForPeople(double number) {
    // Beyond that there are no decimals, but hundreds of digits.
    if (!(std::abs(number) < 1e15)) return fmt::format("{:g}", number);
    std::string text = fmt::format("{:.3f}", number);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

std::string ToCell(const ResultValue& value) {
    if (const auto* real = std::get_if<double>(&value)) return RoundForPeople(*real);
    return MakePrintable(ToExactText(value));
}

std::vector<std::string> GetTitles(const ResultsQuery& query) {
    std::vector<std::string> titles;
    for (int i = 0; i < query.GetColumnCount(); ++i) titles.push_back(query.GetTitle(i));
    return titles;
}

using Row = std::vector<std::string>;

class TablePrinter {
  public:
    TablePrinter(std::vector<std::string> titles, std::size_t line_width, std::ostream& out)
        : titles_(std::move(titles)), right_(titles_.size(), true), line_width_(line_width), out_(out) {
        for (std::string& title : titles_) {
            title = MakePrintable(title);
            title_width_ = std::max(title_width_, CountCodePoints(title));
        }
    }

    void Add(const ResultsQuery& query) {
        Row row;
        for (std::size_t i = 0; i < titles_.size(); ++i) {
            const ResultValue value = query.Get(static_cast<int>(i));
            row.push_back(ToCell(value));
            right_[i] = right_[i] && (IsNumber(value) || std::holds_alternative<std::monostate>(value));
        }
        if (one_by_one_) return PrintOne(row);
        rows_.push_back(std::move(row));
        if (rows_.size() == kRowsToDecide && MakeUpright().GetWidth() > line_width_) PrintOneByOne();
    }

    void Finish() {
        if (one_by_one_) return;
        if (rows_.empty()) {
            out_ << "(no rows)\n";
            return;
        }
        if (PrintIfItFits(MakeUpright())) return;
        if (rows_.size() < kRowsToDecide && PrintIfItFits(MakeTurned())) return;
        PrintOneByOne();
    }

  private:
    bool PrintIfItFits(const TextTable& table) {
        const bool fits = table.GetWidth() <= line_width_;
        if (fits) out_ << table.ToString();
        return fits;
    }

    TextTable MakeUpright() const {
        std::vector<TextTable::Column> columns;
        for (std::size_t i = 0; i < titles_.size(); ++i) {
            columns.push_back({titles_[i], right_[i] ? TextTable::Align::Right : TextTable::Align::Left});
        }
        TextTable table(std::move(columns));
        for (const Row& row : rows_) table.AddRow(row);
        return table;
    }

    /// The first column, mostly a name, becomes the header.
    TextTable MakeTurned() const {
        std::vector<TextTable::Column> columns{{titles_.front(), TextTable::Align::Left}};
        for (const Row& row : rows_) columns.push_back({row.front(), TextTable::Align::Right});
        TextTable table(std::move(columns));
        for (std::size_t i = 1; i < titles_.size(); ++i) {
            Row line{titles_[i]};
            for (const Row& row : rows_) line.push_back(row[i]);
            table.AddRow(std::move(line));
        }
        return table;
    }

    void PrintOneByOne() {
        one_by_one_ = true;
        for (const Row& row : rows_) PrintOne(row);
        rows_.clear();
    }

    void PrintOne(const Row& row) {
        out_ << (printed_ == 0 ? "" : "\n") << "Row " << printed_ + 1 << '\n';
        ++printed_;
        for (std::size_t i = 0; i < titles_.size(); ++i) {
            out_ << "  " << titles_[i] << ':';
            if (!row[i].empty()) {
                out_ << std::string(title_width_ - CountCodePoints(titles_[i]) + 1, ' ') << row[i];
            }
            out_ << '\n';
        }
    }

    std::vector<std::string> titles_;
    std::size_t title_width_ = 0;
    std::vector<bool> right_;  ///< the columns of numbers
    std::size_t line_width_;
    std::ostream& out_;
    std::vector<Row> rows_;
    bool one_by_one_ = false;
    std::size_t printed_ = 0;
};

/// The second one of a name is called "name (2)".
std::vector<std::string> MakeUnique(const std::vector<std::string>& titles) {
    std::set<std::string> taken(titles.begin(), titles.end());
    std::set<std::string> used;
    std::vector<std::string> unique;
    for (const std::string& title : titles) {
        std::string name = title;
        if (!used.insert(name).second) {
            for (int n = 2; !taken.insert(name = fmt::format("{} ({})", title, n)).second; ++n) {
            }
        }
        unique.push_back(name);
    }
    return unique;
}

std::string Dump(const nlohmann::json& value) {
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string ToJson(const ResultValue& value) {
    if (const auto* number = std::get_if<std::int64_t>(&value)) return Dump(*number);
    if (const auto* real = std::get_if<double>(&value)) return Dump(*real);
    if (const auto* text = std::get_if<std::string>(&value)) return Dump(*text);
    return "null";
}

void PrintCsvLine(const Row& fields, std::ostream& out) {
    const char* separator = "";
    for (const std::string& field : fields) {
        // A line without anything would be taken for no row.
        out << separator << (fields.size() == 1 && field.empty() ? "\"\"" : QuoteCsv(field));
        separator = ",";
    }
    out << "\r\n";
}

}  // namespace

void PrintTable(ResultsQuery& query, std::size_t line_width, std::ostream& out) {
    TablePrinter printer(GetTitles(query), line_width, out);
    while (query.Next()) printer.Add(query);
    printer.Finish();
}

std::string QuoteCsv(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string quoted = "\"";
    for (const char c : field) {
        if (c == '"') quoted += c;
        quoted += c;
    }
    return quoted + '"';
}

void PrintCsv(ResultsQuery& query, std::ostream& out) {
    PrintCsvLine(GetTitles(query), out);
    while (query.Next()) {
        Row fields;
        for (int i = 0; i < query.GetColumnCount(); ++i) fields.push_back(ToExactText(query.Get(i)));
        PrintCsvLine(fields, out);
    }
}

void PrintJson(ResultsQuery& query, const std::string& view, std::uint32_t data_set, std::ostream& out) {
    // Row by row: a document of all rows would take many times the memory of its text.
    const std::vector<std::string> names = MakeUnique(GetTitles(query));
    out << fmt::format("{{\"view\": {}, \"data_set\": {}, \"columns\": {},\n \"rows\": [", Dump(view),
                       data_set, Dump(names));
    const char* row_separator = "\n";
    while (query.Next()) {
        out << row_separator << "  {";
        row_separator = ",\n";
        for (std::size_t i = 0; i < names.size(); ++i) {
            out << (i == 0 ? "" : ", ") << Dump(names[i]) << ": " << ToJson(query.Get(static_cast<int>(i)));
        }
        out << '}';
    }
    out << "]}\n";
}

}  // namespace orv::app
