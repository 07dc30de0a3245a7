#include "strict_yaml.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>

#include "orv/common/exceptions.h"
#include "orv/common/text.h"

namespace orv::framework {

using common::HasLeadingZero;

namespace {

std::optional<std::int64_t> ParseWhole(std::string_view text) {
    if (HasLeadingZero(text)) return std::nullopt;
    const bool negative = text.starts_with('-');
    if (negative) text.remove_prefix(1);
    const bool hex = text.starts_with("0x");
    if (hex) text.remove_prefix(2);
    std::int64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value, hex ? 16 : 10);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || value < 0) return std::nullopt;
    return negative ? -value : value;
}

}  // namespace

void FailAt(const SourceLine& where, const std::string& reason) {
    throw common::COrvRunTimeError(where.ToString() + ": " + reason);
}

void CheckIdentifier(const NamedLine& name) {
    const auto is_letter = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; };
    const std::string& text = name.name;
    const bool good =
        !text.empty() && is_letter(text[0]) && std::all_of(text.begin(), text.end(), [&](char c) {
            return is_letter(c) || std::isdigit(static_cast<unsigned char>(c));
        });
    if (!good)
        FailAt(name.where, "expected a name of letters, digits and underscores, found \"" + text + "\"");
}

std::string StrictNode::Text() const {
    if (!node_.IsScalar())
        Fail("expected a text, found " + std::string(node_.IsNull() ? "nothing" : "a structure"));
    return node_.Scalar();
}

bool StrictNode::Bool() const {
    const std::string text = Text();
    if (text != "true" && text != "false") Fail("expected true or false, found \"" + text + "\"");
    return text == "true";
}

std::int64_t StrictNode::Integer() const {
    const std::string text = Text();
    if (const auto value = ParseWhole(text)) return *value;
    Fail("expected a whole number (decimal or 0x hexadecimal), found \"" + text + "\"");
}

std::uint32_t StrictNode::U32() const {
    const std::int64_t value = Integer();
    if (value < 0 || value > std::numeric_limits<std::uint32_t>::max()) {
        Fail("expected a number from 0 to 0xffffffff, found \"" + Text() + "\"");
    }
    return static_cast<std::uint32_t>(value);
}

double StrictNode::Number() const {
    const std::string text = Text();
    if (!HasLeadingZero(text)) {
        double value = 0;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
        if (result.ec == std::errc{} && result.ptr == text.data() + text.size() && std::isfinite(value))
            return value;
        if (const auto whole = ParseWhole(text)) return static_cast<double>(*whole);
    }
    Fail("expected a number, found \"" + text + "\"");
}

std::vector<StrictNode> StrictNode::List() const {
    if (!node_.IsSequence()) Fail("expected a list");
    std::vector<StrictNode> nodes;
    for (const auto& node : node_) nodes.emplace_back(node, file_);
    return nodes;
}

StrictMap::StrictMap(const StrictNode& node) : where_(node.Where()) {
    if (!node.node_.IsMap()) node.Fail("expected keys and values");
    for (const auto& entry : node.node_) {
        const NamedLine key = StrictNode(entry.first, node.file_).Name();
        for (const auto& [known, value] : entries_) {
            if (known.name == key.name) {
                FailAt(key.where, "key \"" + key.name + "\" is given twice, first in line " +
                                      std::to_string(known.where.line));
            }
        }
        StrictNode value(entry.second, node.file_);
        if (entry.second.IsNull()) value.line_ = key.where.line;  // its own mark is behind what follows
        entries_.emplace_back(key, std::move(value));
    }
}

void StrictMap::AllowOnly(const std::vector<std::string>& keys) const {
    for (const auto& [key, value] : entries_) {
        if (std::find(keys.begin(), keys.end(), key.name) != keys.end()) continue;
        std::string known;
        for (const std::string& name : keys) known += (known.empty() ? "" : ", ") + name;
        FailAt(key.where, "unknown key \"" + key.name + "\"; there are " + known);
    }
}

std::optional<StrictNode> StrictMap::Find(const std::string& key) const {
    for (const auto& [known, value] : entries_) {
        if (known.name == key) return value;
    }
    return std::nullopt;
}

StrictNode StrictMap::Get(const std::string& key) const {
    if (auto found = Find(key)) return *found;
    FailAt(where_, "key \"" + key + "\" is missing");
}

StrictNode LoadStrictYaml(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::ostringstream text;
    if (file) text << file.rdbuf();
    if (!file) throw common::COrvRunTimeError(path.string() + ": cannot be read: " + std::strerror(errno));
    try {
        const std::vector<YAML::Node> documents = YAML::LoadAll(text.str());
        if (documents.size() == 1) return {documents.front(), path.string()};
        if (documents.size() > 1) {
            StrictNode(documents[1], path.string()).Fail("a second document; one is expected in a file");
        }
    } catch (const YAML::Exception& error) {
        FailAt({path.string(), error.mark.line + 1}, error.msg);
    }
    FailAt({path.string(), 1}, "the file is empty");
}

}  // namespace orv::framework
