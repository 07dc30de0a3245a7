#include "results_viewer/view_printer.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

#include "output/text_table.h"

namespace orv::app {

namespace {

/// The rows by which a table's form and the widths of its columns are chosen.
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
    // Larger numbers have no decimals, but up to hundreds of digits.
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

    void Add(const std::vector<ResultValue>& values) {
        Row row;
        for (std::size_t i = 0; i < titles_.size(); ++i) {
            const ResultValue& value = values[i];
            row.push_back(ToCell(value));
            if (!upright_)
                right_[i] = right_[i] && (IsNumber(value) || std::holds_alternative<std::monostate>(value));
        }
        if (one_by_one_) return PrintOne(row);
        if (upright_) {
            out_ << upright_->FormatRow(row);
            return;
        }
        rows_.push_back(std::move(row));
        if (rows_.size() < kRowsToDecide) return;
        if (!PrintUpright()) PrintOneByOne();
        rows_.clear();
    }

    void Finish() {
        if (one_by_one_ || upright_) return;
        if (rows_.empty()) {
            out_ << "(no rows)\n";
            return;
        }
        if (PrintUpright()) return;
        const TextTable turned = MakeTurned();
        if (turned.GetWidth() > line_width_) return PrintOneByOne();
        out_ << turned.ToString();
    }

  private:
    /// False if it would be too wide.
    bool PrintUpright() {
        TextTable table = MakeUpright();
        if (table.GetWidth() > line_width_) return false;
        out_ << table.ToString();
        upright_ = std::move(table);
        return true;
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
    std::optional<TextTable> upright_;  ///< after printing, further rows use its widths
    bool one_by_one_ = false;
    std::size_t printed_ = 0;
};

std::string Dump(const nlohmann::json& value) {
    return MakePrintableJson(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
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
        // An empty line would look like no row.
        out << separator << (fields.size() == 1 && field.empty() ? "\"\"" : QuoteCsv(field));
        separator = ",";
    }
    out << "\r\n";
}

/// A reader sees the first row at once; of those behind it, as many as fit into a buffer.
void FlushFirst(std::ostream& out, bool& is_first) {
    if (std::exchange(is_first, false)) out.flush();
    CheckOutput(out);
}

}  // namespace

void CheckOutput(const std::ostream& out) {
    if (out) return;
    const std::string why = errno == 0 ? "" : fmt::format(": {}", std::strerror(errno));
    throw ResultsFailure("the output cannot be written" + why);
}

void PrintTable(RowSource& rows, std::size_t line_width, std::ostream& out) {
    TablePrinter printer(rows.GetTitles(), line_width, out);
    for (std::vector<ResultValue> row; rows.Next(row);) {
        printer.Add(row);
        CheckOutput(out);
    }
    printer.Finish();
    CheckOutput(out);
}

std::string QuoteCsv(const std::string& field) {
    if (field.find('\0') != std::string::npos)
        return QuoteCsv(boost::algorithm::replace_all_copy(field, std::string(1, '\0'), "\ufffd"));
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    return "\"" + boost::algorithm::replace_all_copy(field, "\"", "\"\"") + "\"";
}

void PrintCsv(RowSource& rows, bool is_terminal, std::ostream& out) {
    PrintCsvLine(rows.GetTitles(), out);
    bool is_first = true;
    for (std::vector<ResultValue> row; rows.Next(row);) {
        Row fields;
        for (const ResultValue& value : row)
            fields.push_back(is_terminal ? MakePrintable(ToExactText(value)) : ToExactText(value));
        PrintCsvLine(fields, out);
        FlushFirst(out, is_first);
    }
    CheckOutput(out);
}

void PrintJson(RowSource& rows, const std::string& view, std::uint32_t data_set, std::ostream& out) {
    // Row by row: a JSON document of all rows would take many times the memory of its text.
    out << fmt::format("{{\"view\": {}, \"data_set\": {}, \"columns\": {},\n \"rows\": [", Dump(view),
                       data_set, Dump(rows.GetNames()));
    std::vector<std::string> keys;
    for (const std::string& name : rows.GetNames())
        keys.push_back((keys.empty() ? "" : ", ") + Dump(name) + ": ");
    bool is_first = true;
    for (std::vector<ResultValue> row; rows.Next(row);) {
        out << (is_first ? "\n  {" : ",\n  {");
        for (std::size_t i = 0; i < keys.size(); ++i) out << keys[i] << ToJson(row[i]);
        out << '}';
        FlushFirst(out, is_first);
    }
    out << "]}\n";
    CheckOutput(out);
}

}  // namespace orv::app
