#include "source_tree.h"

#include <fmt/format.h>
#include <yaml-cpp/depthguard.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <sstream>
#include <unordered_map>
#include <utility>

namespace orv::app {

namespace {

/// Builds the tree from what the parser meets.
class TreeBuilder : public YAML::EventHandler {
  public:
    explicit TreeBuilder(MistakeList& mistakes) : mistakes_(mistakes) {}

    SourceNode TakeRoot() { return std::move(root_); }
    /// Of the lists and maps that are not read to the end.
    Position GetInnermost() const { return open_.empty() ? Position{1, 1} : open_.back().node.at; }

    void OnDocumentStart(const YAML::Mark&) override {}
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark& mark, YAML::anchor_t anchor) override {
        RefuseExtras(mark, "", anchor);
        Close(Make(SourceNode::Kind::Nothing, mark));
    }
    void OnAlias(const YAML::Mark& mark, YAML::anchor_t) override {
        RefuseReference(mark);
        Close(Make(SourceNode::Kind::Alias, mark));
    }
    void OnScalar(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                  const std::string& value) override {
        RefuseExtras(mark, tag, anchor);
        SourceNode node = Make(SourceNode::Kind::Text, mark);
        node.text = value;
        Close(std::move(node));
    }
    void OnSequenceStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                         YAML::EmitterStyle::value) override {
        Open(SourceNode::Kind::List, mark, tag, anchor);
    }
    void OnSequenceEnd() override { CloseOpen(); }
    void OnMapStart(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor,
                    YAML::EmitterStyle::value) override {
        Open(SourceNode::Kind::Map, mark, tag, anchor);
    }
    void OnMapEnd() override { CloseOpen(); }

    static Position ToPosition(const YAML::Mark& mark) { return {mark.line + 1, mark.column + 1}; }

  private:
    struct OpenNode {
        SourceNode node;
        SourceNode key;
        bool has_key = false;
        std::unordered_map<std::string, int> lines;  ///< of the keys
    };

    static SourceNode Make(SourceNode::Kind kind, const YAML::Mark& mark) {
        SourceNode node;
        node.kind = kind;
        node.at = ToPosition(mark);
        return node;
    }

    void RefuseReference(const YAML::Mark& mark) {
        mistakes_.Add({ToPosition(mark)}, "anchors and aliases are not known here", "the value itself");
        mistakes_.Settle(ToPosition(mark));
    }

    void RefuseExtras(const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor) {
        if (anchor != 0) RefuseReference(mark);
        // "?" and "!" are how the parser says plain and quoted.
        if (tag.empty() || tag == "?" || tag == "!") return;
        mistakes_.Add({ToPosition(mark)}, "the tag " + tag + " is not known here", "the value without a tag");
        mistakes_.Settle(ToPosition(mark));
    }

    void Open(SourceNode::Kind kind, const YAML::Mark& mark, const std::string& tag, YAML::anchor_t anchor) {
        RefuseExtras(mark, tag, anchor);
        open_.push_back({Make(kind, mark), {}, false, {}});
    }

    void CloseOpen() {
        SourceNode node = std::move(open_.back().node);
        open_.pop_back();
        Close(std::move(node));
    }

    /// A value is complete: hands it to what it is part of.
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
        // The parser sees that there is no value only where the next thing begins.
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

    MistakeList& mistakes_;
    SourceNode root_;
    std::vector<OpenNode> open_;
};

/// A text in quotes, on one line.
std::string Shorten(std::string text) {
    constexpr std::size_t kMost = 60;
    std::replace(text.begin(), text.end(), '\n', ' ');
    if (text.size() > kMost) {
        std::size_t end = kMost;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
            --end;  // not within a letter
        text = text.substr(0, end) + "...";
    }
    return "\"" + text + "\"";
}

/// The parser places some errors nowhere, or behind the end.
Position MoveInside(Position at, const std::string& text) {
    const int lines = 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    at.line = std::clamp(at.line, 1, lines);
    std::size_t start = 0;
    for (int line = 1; line < at.line; ++line) start = text.find('\n', start) + 1;
    const std::size_t end = std::min(text.find('\n', start), text.size());
    at.column = std::clamp(at.column, 1, static_cast<int>(end - start) + 1);
    return at;
}

}  // namespace

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

SourceNode ReadSourceTree(const std::string& text, MistakeList& mistakes) {
    TreeBuilder builder(mistakes);
    try {
        std::istringstream stream(text);
        YAML::Parser parser(stream);
        if (!parser.HandleNextDocument(builder)) {
            mistakes.Add({{1, 1}}, "the file is empty", "the sections of a test");
            return {};
        }
        SourceNode root = builder.TakeRoot();
        if (parser.HandleNextDocument(builder)) {
            mistakes.Add({builder.TakeRoot().at}, "a second document begins here", "one in a file");
        }
        return root;
    } catch (const YAML::DeepRecursion&) {
        mistakes.Add({builder.GetInnermost()}, "values lie too deep within each other");
    } catch (const YAML::Exception& error) {
        const Position at = error.mark.is_null() ? Position{1, 1} : TreeBuilder::ToPosition(error.mark);
        mistakes.Add({MoveInside(at, text)}, "this is no YAML: " + error.msg);
    }
    return {};
}

}  // namespace orv::app
