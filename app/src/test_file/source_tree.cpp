#include "source_tree.h"

#include <fmt/format.h>
#include <yaml.h>

#include <algorithm>
#include <new>
#include <optional>
#include <unordered_map>
#include <utility>

#include "text_places.h"
#include "yaml_mistake.h"

namespace orv::app {

namespace {

/// Deeper than any test file; readers go as deep as values lie.
constexpr std::size_t kMostDepth = 200;

/// A parser and its last event.
class EventReader {
  public:
    explicit EventReader(std::string_view text) {
        if (!yaml_parser_initialize(&parser_)) throw std::bad_alloc();
        // Some editors write a byte order mark; other encodings are mistakes.
        yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
        yaml_parser_set_input_string(&parser_, reinterpret_cast<const unsigned char*>(text.data()),
                                     text.size());
    }
    ~EventReader() {
        yaml_event_delete(&event_);
        yaml_parser_delete(&parser_);
    }
    EventReader(const EventReader&) = delete;
    EventReader& operator=(const EventReader&) = delete;

    /// False if the text is not YAML.
    bool Next() {
        yaml_event_delete(&event_);
        if (yaml_parser_parse(&parser_, &event_)) return true;
        if (parser_.error == YAML_MEMORY_ERROR) throw std::bad_alloc();
        return false;
    }
    const yaml_event_t& Event() const { return event_; }
    const yaml_parser_t& Parser() const { return parser_; }

  private:
    yaml_parser_t parser_{};
    yaml_event_t event_{};
};

std::string_view ToText(const yaml_char_t* text) {
    return text ? reinterpret_cast<const char*>(text) : std::string_view();
}

/// Builds the tree from parser events.
class TreeBuilder {
  public:
    TreeBuilder(std::string_view text, MistakeList& mistakes)
        : places_(text), mistakes_(mistakes), events_(text) {}

    SourceNode Read() {
        int documents = 0;
        while (events_.Next()) {
            if (events_.Event().type == YAML_STREAM_END_EVENT) {
                if (documents == 0) mistakes_.Add({{1, 1}}, "the file is empty", "the sections of a test");
                return std::move(root_);
            }
            if (events_.Event().type == YAML_DOCUMENT_START_EVENT && ++documents > 1) {
                mistakes_.Add({GetStart()}, "a second document begins here", "one in a file");
                return std::move(root_);
            }
            RefuseTagDirective(events_.Event());
            OnEvent(events_.Event());
            if (open_.size() > kMostDepth) {
                mistakes_.Add({open_.back().node.at}, "values lie too deep within each other");
                return {};
            }
        }
        ReadSoFar so_far{last_quoted_, {}};
        if (!open_.empty()) so_far.innermost = open_.back().node.at;
        AddYamlMistake(events_.Parser(), places_, so_far, mistakes_);
        return {};
    }

  private:
    struct OpenNode {
        SourceNode node;
        SourceNode key;
        bool has_key = false;
        std::unordered_map<std::string, int> lines;  ///< of the keys
    };

    /// Of the event.
    Position GetStart() const {
        return places_.GetPosition(places_.GetByteOf(events_.Event().start_mark.index));
    }

    void OnEvent(const yaml_event_t& event) {
        switch (event.type) {
            case YAML_ALIAS_EVENT:
                RefuseReference();
                return Close(Make(SourceNode::Kind::Alias));
            case YAML_SCALAR_EVENT:
                return OnScalar(event);
            case YAML_SEQUENCE_START_EVENT:
                return Open(SourceNode::Kind::List, event.data.sequence_start.anchor,
                            event.data.sequence_start.tag);
            case YAML_MAPPING_START_EVENT:
                return Open(SourceNode::Kind::Map, event.data.mapping_start.anchor,
                            event.data.mapping_start.tag);
            case YAML_SEQUENCE_END_EVENT:
            case YAML_MAPPING_END_EVENT:
                return CloseOpen();
            default:
                return;
        }
    }

    void OnScalar(const yaml_event_t& event) {
        const auto& scalar = event.data.scalar;
        RefuseExtras(scalar.anchor, scalar.tag);
        SourceNode node = Make(SourceNode::Kind::Text);
        node.text.assign(reinterpret_cast<const char*>(scalar.value), scalar.length);
        const auto is = [&node](const char* text) { return node.text == text; };
        const bool is_plain = scalar.style == YAML_PLAIN_SCALAR_STYLE && !scalar.tag;
        if (is_plain && (is("") || is("~") || is("null") || is("Null") || is("NULL"))) {
            node.kind = SourceNode::Kind::Nothing;
            node.text.clear();
        }
        PlaceText(event, node);
        CheckStyle(event);
        Close(std::move(node));
    }

    void PlaceText(const yaml_event_t& event, SourceNode& node) const {
        const auto style = event.data.scalar.style;
        const bool is_quoted =
            style == YAML_SINGLE_QUOTED_SCALAR_STYLE || style == YAML_DOUBLE_QUOTED_SCALAR_STYLE;
        const std::size_t begin = places_.GetByteOf(event.start_mark.index) + is_quoted;
        if (places_.GetText().substr(begin).starts_with(node.text))
            node.text_column = node.at.column + is_quoted;
    }

    /// Records the positions of quotes, and rejects features that the parser accepts but test files do not.
    void CheckStyle(const yaml_event_t& event) {
        const auto style = event.data.scalar.style;
        const std::size_t begin = places_.GetByteOf(event.start_mark.index);
        if (style == YAML_LITERAL_SCALAR_STYLE || style == YAML_FOLDED_SCALAR_STYLE) {
            const std::size_t end = places_.GetText().find_first_not_of("|>+-0123456789", begin);
            if (end != std::string_view::npos && places_.GetText()[end] == '#')
                mistakes_.Add({places_.GetPosition(end)}, "a blank is missing before the comment");
        }
        if (style != YAML_SINGLE_QUOTED_SCALAR_STYLE && style != YAML_DOUBLE_QUOTED_SCALAR_STYLE) return;
        last_quoted_ = {begin, places_.GetByteOf(event.end_mark.index)};
        if (event.start_mark.line == event.end_mark.line) return;
        // A text with a missing quote would end at the next quote, many lines later, and swallow what is
        // between.
        mistakes_.Add({GetStart()}, "the quote that opens here is not closed in its line",
                      "a quote at the end of the text; a longer text stands behind | or >");
        mistakes_.Settle(GetStart());
    }

    SourceNode Make(SourceNode::Kind kind) const {
        SourceNode node;
        node.kind = kind;
        node.at = GetStart();
        return node;
    }

    void RefuseReference() {
        mistakes_.Add({GetStart()}, "anchors and aliases are not known here", "the value itself");
        mistakes_.Settle(GetStart());
    }

    void RefuseExtras(const yaml_char_t* anchor, const yaml_char_t* tag) {
        if (anchor) RefuseReference();
        if (!tag) return;
        mistakes_.Add({GetStart()}, fmt::format("the tag {} is not known here", ToText(tag)),
                      "the value without a tag");
        mistakes_.Settle(GetStart());
    }

    void RefuseTagDirective(const yaml_event_t& event) {
        if (event.type != YAML_DOCUMENT_START_EVENT) return;
        const auto& directives = event.data.document_start.tag_directives;
        if (directives.start == directives.end) return;
        // Its position among the directives of the document is unknown.
        const std::size_t begin = places_.GetByteOf(event.start_mark.index);
        const std::size_t at = places_.GetText().find("%TAG", begin);
        mistakes_.Add({places_.GetPosition(at)}, "directives of tags are not known here",
                      "values without tags");
    }

    void Open(SourceNode::Kind kind, const yaml_char_t* anchor, const yaml_char_t* tag) {
        RefuseExtras(anchor, tag);
        open_.push_back({Make(kind), {}, false, {}});
    }

    void CloseOpen() {
        SourceNode node = std::move(open_.back().node);
        open_.pop_back();
        Close(std::move(node));
    }

    /// Adds a complete value to its parent.
    void Close(SourceNode node) {
        if (open_.empty()) {
            root_ = std::move(node);
            return;
        }
        OpenNode& outer = open_.back();
        if (outer.node.IsList()) {
            outer.node.items.push_back(std::move(node));
        } else if (!outer.has_key) {
            outer.key = std::move(node);
            outer.has_key = true;
        } else {
            outer.has_key = false;
            CloseEntry(outer, std::move(node));
        }
    }

    void CloseEntry(OpenNode& outer, SourceNode value) {
        SourceNode& key = outer.key;
        if (value.IsNothing()) value.at = key.at;
        if (!key.IsText()) {
            mistakes_.Add({key.at}, key.Describe() + " cannot be a key", "a name");
            return;
        }
        const auto [first, is_new] = outer.lines.emplace(key.text, key.at.line);
        if (!is_new) {
            mistakes_.Add({key.at, {}, key.text},
                          fmt::format("the key is given twice, first in line {}", first->second));
            return;
        }
        outer.node.entries.push_back({std::move(key), std::move(value)});
    }

    TextPlaces places_;
    MistakeList& mistakes_;
    EventReader events_;
    SourceNode root_;
    std::vector<OpenNode> open_;
    std::optional<QuotedText> last_quoted_;
};

/// A text in quotes, on one line.
std::string Shorten(std::string text) {
    constexpr std::size_t kMost = 60;
    std::replace(text.begin(), text.end(), '\n', ' ');
    if (text.size() > kMost) {
        std::size_t end = kMost;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
            --end;  // not within a UTF-8 character
        text = text.substr(0, end) + "...";
    }
    return "\"" + text + "\"";
}

}  // namespace

Position SourceNode::GetPosition(std::size_t offset) const {
    Position place = at;
    if (text_column > 0) place.column = text_column + static_cast<int>(std::min(offset, text.size()));
    return place;
}

std::string SourceNode::Describe() const {
    switch (kind) {
        case Kind::Nothing:
            return "nothing";
        case Kind::Text:
            return Shorten(text);
        case Kind::List:
            return "a list";
        case Kind::Alias:
            return "an alias";
        case Kind::Map:
            break;
    }
    return "keys and values";
}

std::string SourceNode::DescribeWrong() const {
    if (IsText()) return Describe() + " is wrong";
    return (IsMap() ? "there are " : "there is ") + Describe();
}

SourceNode ReadSourceTree(std::string_view text, MistakeList& mistakes) {
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    return TreeBuilder(text, mistakes).Read();
}

}  // namespace orv::app
