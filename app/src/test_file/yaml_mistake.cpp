#include "yaml_mistake.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "names.h"

namespace orv::app {

namespace {

constexpr const char* kNeighbours = "a key below the other keys, with as many blanks before it";

/// Messages of the parser and the texts shown to users. "{line}" is where that begins which the parser was
/// reading.
struct Wording {
    const char* problem;
    const char* text;
    const char* expected;
    bool at_begin = false;  ///< the mistake is at its beginning
    bool unclosed = false;  ///< when the text ends instead, a bracket is not closed
};

constexpr Wording kWordings[] = {
    {"found unexpected end of stream", "the quote that opens here is not closed",
     "a quote at the end of the text", true},
    {"found unexpected document indicator",
     "the quote that opens here is not closed before the document ends", "a quote at the end of the text",
     true},
    {"found unknown escape character", "a text in double quotes has no such escape",
     "\\\\ for a backslash, or the text in single quotes"},
    {"did not find expected hexdecimal number", "an escape of a text in double quotes lacks digits",
     "\\x and two, \\u and four or \\U and eight hexadecimal digits"},
    {"found invalid Unicode character escape code", "an escape of a text in double quotes is no character",
     "the number of a Unicode character"},
    {"found unexpected ':'", kMissingBlank, "\"key: value\""},
    {"could not find expected ':'", "this is no key: a colon and a blank are missing", "\"key: value\"",
     true},
    {"mapping values are not allowed in this context", "no key can stand here",
     "one key in a line, below the other keys; \": \" within a text in quotes"},
    {"mapping keys are not allowed in this context", "no key can stand here", kNeighbours},
    {"block sequence entries are not allowed in this context", "no item of a list can stand here",
     "\"- \" in lines of their own; a text that begins so in quotes"},
    {"did not find expected key", "this is no part of the keys that begin in line {line}", kNeighbours},
    {"did not find expected '-' indicator", "this is no part of the list that begins in line {line}",
     "\"- \" below the other items, or a key of the last one, with as many blanks before it as its "
     "neighbours"},
    {"did not find expected ',' or ']'", "this is no part of the list that begins in line {line}",
     "\",\" or \"]\"", false, true},
    {"did not find expected ',' or '}'", "this is no part of the keys that begin in line {line}",
     "\",\" or \"}\"", false, true},
    {"did not find expected node content", "no value can begin with this",
     "a value; in quotes, if it is a text"},
    {"did not find expected <document start>", "this is no part of what stands above", kNeighbours},
    {"found a tab character where an indentation space is expected", "there is a tab", "blanks"},
    {"found a tab character that violates indentation", "there is a tab", "blanks"},
};

Mistake MakeMistake(Position at, std::string problem, std::string expected) {
    return {{}, at, {}, {}, std::move(problem), std::move(expected), {}};
}

/// Bytes that are not UTF-8, and characters that YAML does not have.
Mistake DescribeBytes(const yaml_parser_t& parser, const TextPlaces& places) {
    std::size_t byte = std::min(parser.problem_offset, places.GetText().size());
    if (std::strcmp(parser.problem, "control characters are not allowed") == 0) {
        const bool is_control = parser.problem_value < 0xa0;
        return MakeMistake(places.GetPosition(byte),
                           fmt::format("the {}character U+{:04X} is not allowed in a file",
                                       is_control ? "control " : "", parser.problem_value),
                           "text");
    }
    // For an incomplete character, the parser reports the position.
    const auto is_inside = [&](std::size_t at) {
        return (static_cast<unsigned char>(places.GetText()[at]) & 0xc0) != 0xc0;
    };
    if (std::strcmp(parser.problem, "invalid trailing UTF-8 octet") == 0) {
        const std::size_t first = byte - std::min<std::size_t>(byte, 3);
        while (byte > first && is_inside(byte - 1)) --byte;
        if (byte > 0) --byte;
    }
    return MakeMistake(places.GetPosition(byte), "this is not UTF-8", "a file in UTF-8");
}

/// What cannot begin a value.
Mistake DescribeStart(const TextPlaces& places, std::size_t byte) {
    const char start = byte < places.GetText().size() ? places.GetText()[byte] : ' ';
    if (start == '\t') return MakeMistake(places.GetPosition(byte), "there is a tab", "blanks");
    return MakeMistake(places.GetPosition(byte), fmt::format("no value can begin with {}", start),
                       "the text in quotes");
}

/// A key whose colon has no blank behind it, in the line of a byte or the one above: what follows is then
/// misread.
std::optional<Mistake> FindKeyWithoutBlank(const TextPlaces& places, std::size_t byte) {
    for (int i = 0; i < 2; ++i) {
        std::string_view line = places.GetLine(byte);
        const auto start = static_cast<std::size_t>(line.data() - places.GetText().data());
        std::size_t skipped = 0;
        while (skipped < line.size() && std::strchr(" -{[,", line[skipped])) ++skipped;
        line.remove_prefix(skipped);
        if (const std::string meant = InsertMissingBlank(line); !meant.empty()) {
            return MakeMistake(places.GetPosition(start + skipped + line.find(':') + 1), kMissingBlank,
                               "\"" + meant + "\"");
        }
        if (start == 0) break;
        byte = start - 1;
    }
    return std::nullopt;
}

/// Text right behind a closing quote, or behind one in a later line than its opening one.
std::optional<Mistake> FindQuote(const TextPlaces& places, const std::optional<QuotedText>& quoted,
                                 std::size_t byte) {
    if (!quoted || byte < quoted->end) return std::nullopt;
    const Position begin = places.GetPosition(quoted->begin), end = places.GetPosition(quoted->end),
                   at = places.GetPosition(byte);
    const bool is_meant_longer = byte == quoted->end || (begin.line != end.line && end.line == at.line);
    if (!is_meant_longer) return std::nullopt;
    return MakeMistake(
        begin,
        fmt::format("the text in quotes that begins here is closed in line {}, column {}, and more "
                    "stands behind it",
                    end.line, std::max(end.column - 1, 1)),
        "a quote at the end of the text; within it, '' between single and \\\" between double quotes");
}

Mistake Describe(const yaml_parser_t& parser, const TextPlaces& places, const ReadSoFar& so_far) {
    if (parser.error == YAML_READER_ERROR) return DescribeBytes(parser, places);
    const std::size_t byte = places.GetByteOf(parser.problem_mark.index);
    const std::size_t begin = parser.context ? places.GetByteOf(parser.context_mark.index) : byte;
    const std::string_view problem = parser.problem ? parser.problem : "";
    if (problem == "found character that cannot start any token") return DescribeStart(places, byte);
    const auto* known = std::find_if(std::begin(kWordings), std::end(kWordings),
                                     [problem](const Wording& one) { return problem == one.problem; });
    if (known == std::end(kWordings)) {
        return MakeMistake(places.GetPosition(byte),
                           fmt::format("this is no YAML: {}{}{}", problem, parser.context ? " " : "",
                                       parser.context ? parser.context : ""),
                           {});
    }
    const bool is_in_quotes = parser.context && std::strstr(parser.context, "quoted scalar");
    if (!is_in_quotes) {
        if (auto mistake = FindKeyWithoutBlank(places, known->at_begin ? begin : byte)) return *mistake;
        if (auto mistake = FindQuote(places, so_far.last_quoted, byte)) return *mistake;
    }
    const bool is_end = places.GetText().find_first_not_of(" \r\n", byte) == std::string_view::npos;
    const bool is_in_flow = known->unclosed || (parser.context && std::strstr(parser.context, "flow node"));
    if (is_end && is_in_flow) {
        return MakeMistake(so_far.innermost.value_or(places.GetPosition(begin)),
                           "the list or the keys that begin here are not closed", "\"]\" or \"}\"");
    }
    return MakeMistake(
        places.GetPosition(known->at_begin ? begin : byte),
        fmt::format(fmt::runtime(known->text), fmt::arg("line", places.GetPosition(begin).line)),
        known->expected);
}

}  // namespace

void AddYamlMistake(const yaml_parser_t& parser, const TextPlaces& places, const ReadSoFar& so_far,
                    MistakeList& mistakes) {
    const Mistake mistake = Describe(parser, places, so_far);
    mistakes.Add({mistake.at}, mistake.problem, mistake.expected);
}

}  // namespace orv::app
