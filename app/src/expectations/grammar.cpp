#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

#include "expectation.h"
#include "orv/common/text.h"
#include "run/report_of_test.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kSigns = "<>=!";

constexpr Comparison kComparisons[] = {
    {"<=", [](double a, double b) { return a <= b; }}, {"<", [](double a, double b) { return a < b; }},
    {">=", [](double a, double b) { return a >= b; }}, {">", [](double a, double b) { return a > b; }},
    {"=", [](double a, double b) { return a == b; }},  {"==", [](double a, double b) { return a == b; }},
    {"!=", [](double a, double b) { return a != b; }}};

template <class List>
std::vector<std::string> ListNames(const List& list) {
    std::vector<std::string> names;
    for (const auto& one : list) names.emplace_back(one.name);
    return names;
}

/// A part of the text, without blanks around it.
struct Piece {
    std::string_view text;
    std::size_t offset = 0;

    bool IsEmpty() const { return text.empty(); }
    std::size_t GetEnd() const { return offset + text.size(); }

    Piece Cut(std::size_t from, std::size_t length = std::string_view::npos) const {
        Piece part{text.substr(std::min(from, text.size()), length), offset + std::min(from, text.size())};
        const std::size_t blanks = std::min(part.text.find_first_not_of(kBlanks), part.text.size());
        part.text.remove_prefix(blanks);
        part.offset += blanks;
        part.text = part.text.substr(0, part.text.find_last_not_of(kBlanks) + 1);
        return part;
    }
    Piece GetFirstWords(int count) const {
        std::size_t end = 0;
        for (; count > 0 && end < text.size(); --count)
            end = std::min(text.find_first_of(kBlanks, text.find_first_not_of(kBlanks, end)), text.size());
        return Cut(0, end);
    }
    Piece GetLastWord() const { return Cut(text.find_last_of(kBlanks) + 1); }

    /// Where the text goes on after a name of one or more words at its begin, which may be separated by
    /// several blanks, without regard to case. Nothing if it begins otherwise.
    std::optional<std::size_t> FindEndOf(std::string_view name) const {
        std::size_t at = 0;
        for (std::size_t i = 0; i < name.size(); ++i) {
            if (at == text.size()) return std::nullopt;
            if (name[i] == ' ') {
                if (kBlanks.find(text[at]) == kBlanks.npos) return std::nullopt;
                at = text.find_first_not_of(kBlanks, at);
            } else if (!common::EqualIgnoringCase(text.substr(at++, 1), name.substr(i, 1))) {
                return std::nullopt;
            }
        }
        const bool ends = at == text.size() || kBlanks.find(text[at]) != kBlanks.npos;
        return ends ? std::optional(at) : std::nullopt;
    }
    bool Is(std::string_view name) const { return FindEndOf(name) == text.size(); }
};

std::string Quote(const Piece& piece) {
    return fmt::format("\"{}\"", piece.text);
}

class ExpectationParser {
  public:
    ExpectationParser(const std::string& text, std::vector<ExpectationMistake>& mistakes)
        : text_(text), mistakes_(mistakes) {}

    Expectation Parse() {
        const Piece all = Piece{text_}.Cut(0);
        read_.text = all.text;
        // Names may hold colons; what comes after them does not.
        std::size_t colon = all.text.rfind(':');
        while (colon != all.text.npos && colon + 1 < all.text.size() &&
               kBlanks.find(all.text[colon + 1]) == kBlanks.npos)
            colon = colon == 0 ? all.text.npos : all.text.rfind(':', colon - 1);
        if (colon == all.text.npos) {
            const std::size_t joined = all.text.find(':');
            if (joined == all.text.npos)
                Refuse(all, Quote(all) + " is wrong", kExpectationForm);
            else
                Refuse(all.Cut(joined), kMissingBlank);
            return read_;
        }
        ReadSubject(all.Cut(0, colon));
        ReadCondition(all.Cut(colon + 1));
        return read_;
    }

  private:
    void Refuse(const Piece& piece, const std::string& problem, const std::string& expected = {},
                const std::string& nearest = {}) {
        mistakes_.push_back({piece.offset, problem, expected, nearest});
    }

    void ReadSubject(const Piece& piece) {
        static const std::string expected = [] {
            std::vector<std::string> forms;
            for (const Subject& subject : GetSubjects())
                forms.push_back(subject.name + std::string(subject.IsTest() ? "" : " NAME"));
            return JoinNames(forms);
        }();
        for (const Subject& subject : GetSubjects()) {
            const auto end = piece.FindEndOf(subject.name);
            if (!end) continue;
            read_.subject = &subject;
            const Piece name = piece.Cut(*end);
            if (subject.IsTest() != name.IsEmpty()) {
                Refuse(subject.IsTest() ? name : piece,
                       subject.IsTest() ? "the test has no name here" : "the name is missing", expected);
            }
            read_.name = name.text;
            read_.name_offset = name.offset;
            return;
        }
        std::string nearest;
        for (int words = 2; words > 0 && nearest.empty(); --words)
            nearest = FindNearestName(piece.GetFirstWords(words).text, ListNames(GetSubjects()));
        Refuse(piece, piece.IsEmpty() ? "the subject is missing" : Quote(piece) + " names no subject",
               expected, nearest);
    }

    void ReadCondition(const Piece& piece) {
        const std::size_t sign = std::min(piece.text.find_first_of(kSigns), piece.text.size());
        const std::size_t behind = std::min(piece.text.find_first_not_of(kSigns, sign), piece.text.size());
        const Piece comparison = piece.Cut(sign, behind - sign);
        const auto found = std::ranges::find(kComparisons, comparison.text, &Comparison::name);
        if (found == std::end(kComparisons)) {
            const std::string problem =
                comparison.IsEmpty() ? "the comparison is missing" : Quote(comparison) + " is no comparison";
            return Refuse(comparison.IsEmpty() ? piece : comparison, problem,
                          JoinNames(ListNames(kComparisons)));
        }
        read_.comparison = &*found;
        if (ReadFigure(piece.Cut(0, sign))) ReadBound(piece.Cut(behind), comparison);
    }

    /// False if there is none whose unit could be checked.
    bool ReadFigure(const Piece& piece) {
        std::size_t end = 0;
        for (const char* name : GetLatencies()) {
            const auto found = piece.FindEndOf(name);
            if (found && *found > end) {
                end = *found;
                read_.latency = name;
            }
        }
        for (const Count& count : GetCounts()) {
            const auto found = piece.FindEndOf(count.name);
            if (found && *found > end) {
                end = *found;
                read_.count = &count;
            }
        }
        if (end == 0) return RefuseFigure(piece);
        const Subject* subject = read_.subject;
        if (subject && read_.count && !read_.count->IsKnownOf(*subject)) {
            Refuse(piece, fmt::format("{} has no {}", subject->called, read_.count->name),
                   JoinNames(GetFigureNames(*subject)));
            return true;
        }
        ReadStatistic(piece, piece.Cut(end));
        return true;
    }

    bool RefuseFigure(const Piece& piece) {
        const auto names = GetFigureNames(read_.subject ? *read_.subject : GetSubjects().front());
        Piece figure = piece;
        const Piece last = piece.GetLastWord();
        const bool has_statistic =
            std::ranges::any_of(kStatistics, [&last](const Statistic& one) { return last.Is(one.name); });
        if (has_statistic) figure = piece.Cut(0, last.offset - piece.offset);
        Refuse(piece, figure.IsEmpty() ? "the figure is missing" : Quote(figure) + " is no figure",
               JoinNames(names), FindNearestName(figure.text, names));
        return false;
    }

    void ReadStatistic(const Piece& figure, const Piece& statistic) {
        if (read_.count) {
            if (!statistic.IsEmpty())
                Refuse(statistic,
                       fmt::format("{} does not belong here: \"{}\" is a count", Quote(statistic),
                                   read_.count->name),
                       "a comparison");
            return;
        }
        const auto names = ListNames(kStatistics);
        for (const Statistic& one : kStatistics) {
            if (statistic.Is(one.name)) read_.statistic = &one;
        }
        if (read_.statistic) return;
        if (statistic.IsEmpty())
            Refuse(figure, fmt::format("the statistic of the {} is missing", read_.latency),
                   JoinNames(names));
        else
            Refuse(statistic, Quote(statistic) + " is no statistic", JoinNames(names),
                   FindNearestName(statistic.text, names));
    }

    void ReadBound(const Piece& piece, const Piece& comparison) {
        constexpr std::string_view kDigits = "0123456789.,+-";
        std::size_t end = std::min(piece.text.find_first_not_of(kDigits), piece.text.size());
        if (end == 0) end = piece.GetFirstWords(1).text.size();
        const Piece number = piece.Cut(0, end);
        const char* const last = number.text.data() + number.text.size();
        // Digits at both sides of a point, as elsewhere in the file.
        const auto [stop, error] =
            std::from_chars(number.text.data(), last, read_.bound, std::chars_format::fixed);
        const bool is_plain = !number.IsEmpty() && number.text.front() >= '0' && number.text.front() <= '9' &&
                              number.text.back() != '.';
        if (error != std::errc() || stop != last || !is_plain) {
            return Refuse(number.IsEmpty() ? comparison : number,
                          number.IsEmpty() ? "the number is missing" : Quote(number) + " is wrong",
                          "a number from 0 in decimal");
        }
        ReadUnit(piece.Cut(end), number);
    }

    void ReadUnit(const Piece& unit, const Piece& number) {
        if (read_.count) {
            const bool has_share = read_.count->share != Count::Share::None;
            read_.is_percentage = has_share && unit.text == "%";
            if (!unit.IsEmpty() && !read_.is_percentage)
                Refuse(unit, fmt::format("{} is no unit of \"{}\"", Quote(unit), read_.count->name),
                       has_share ? "%, or none" : "none");
            return;
        }
        // The micro sign and the Greek letter look the same.
        const std::string name = unit.text == "\u03bcs" ? "\u00b5s" : std::string(unit.text);
        for (const TimeUnit& one : GetTimeUnits()) {
            if (common::EqualIgnoringCase(name, one.name)) read_.unit = &one;
        }
        if (read_.unit) return;
        // A default would be taken for another one by some reader.
        const auto names = ListNames(GetTimeUnits());
        if (unit.IsEmpty())
            Refuse(number, fmt::format("the unit of the {} is missing", read_.latency), JoinNames(names));
        else
            Refuse(unit, Quote(unit) + " is no unit of a latency", JoinNames(names),
                   FindNearestName(unit.text, names));
    }

    const std::string& text_;
    std::vector<ExpectationMistake>& mistakes_;
    Expectation read_;
};

}  // namespace

Expectation ParseExpectation(const std::string& text, std::vector<ExpectationMistake>& mistakes) {
    return ExpectationParser(text, mistakes).Parse();
}

}  // namespace orv::app
