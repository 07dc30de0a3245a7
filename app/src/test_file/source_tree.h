// The text of a test file as a tree of values with their positions.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "mistake.h"

namespace orv::app {

struct SourceEntry;

/// One YAML value.
struct SourceNode {
    enum class Kind { Nothing, Text, List, Map, Alias };
    Kind kind = Kind::Nothing;
    Position at;
    std::string text;                  ///< Kind::Text, without quotes
    int text_column = 0;               ///< of the first byte of a text that stands as it is in one line, or 0
    std::vector<SourceNode> items;     ///< Kind::List
    std::vector<SourceEntry> entries;  ///< Kind::Map, in the order of the file, each key once

    bool IsNothing() const { return kind == Kind::Nothing; }
    bool IsText() const { return kind == Kind::Text; }
    bool IsList() const { return kind == Kind::List; }
    bool IsMap() const { return kind == Kind::Map; }
    /// Of the byte of the text with that offset; where escapes or line ends are in between, of the value.
    Position GetPosition(std::size_t offset) const;
    /// The kind of value, for texts of mistakes: `"text"`, "a list", "keys and values", "nothing" or "an
    /// alias".
    std::string Describe() const;
    /// The text of a mistake about it: `"text" is wrong`, "there is a list".
    std::string DescribeWrong() const;
};

/// The key is a text. An empty value has the position of its key.
struct SourceEntry {
    SourceNode key;
    SourceNode value;
};

/// Reads YAML strictly: UTF-8 (with or without byte order mark), one document, unique keys. Anchors, aliases
/// and tags are rejected, because readers of a test file need not know what they do. Mistakes are added to
/// `mistakes`; the tree holds what could be read, and is empty after a syntax error.
SourceNode ReadSourceTree(std::string_view text, MistakeList& mistakes);

}  // namespace orv::app
