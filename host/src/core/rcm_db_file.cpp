// Reading capabilities from a file.
#include <yaml-cpp/yaml.h>

#include <charconv>

#include "orv/common/exceptions.h"
#include "orv/core/rcm_db.h"

namespace orv::core {

namespace {

RcmValue ParseValue(const YAML::Node& node) {
    const std::string& text = node.Scalar();
    if (node.Tag() == "!") return text;  // quoted: a text whatever it looks like
    if (text == "true" || text == "false") return text == "true";
    const char* end = text.data() + text.size();
    std::int64_t whole = 0;
    if (const auto read = std::from_chars(text.data(), end, whole);
        read.ec == std::errc() && read.ptr == end) {
        return whole;
    }
    double number = 0;
    if (const auto read = std::from_chars(text.data(), end, number);
        read.ec == std::errc() && read.ptr == end) {
        return number;
    }
    return text;
}

class CReader {
  public:
    explicit CReader(std::string file) : file_(std::move(file)) {}

    void Require(bool condition, const YAML::Node& node, const std::string& what) const {
        if (condition) return;
        throw common::COrvRunTimeError(file_ + ":" + std::to_string(node.Mark().line + 1) + ": " + what);
    }

    std::vector<std::pair<std::string, YAML::Node>> ReadMap(const YAML::Node& map,
                                                            const std::string& of) const {
        Require(map.IsMap(), map, of + " must be a map");
        std::vector<std::pair<std::string, YAML::Node>> entries;
        for (const auto& entry : map) {
            Require(entry.first.IsScalar(), entry.first, "a key of " + of + " must be a text");
            for (const auto& known : entries) {
                Require(known.first != entry.first.Scalar(), entry.first,
                        entry.first.Scalar() + " is given twice");
            }
            entries.emplace_back(entry.first.Scalar(), entry.second);
        }
        return entries;
    }

    std::string ReadText(const YAML::Node& node, const std::string& of) const {
        Require(node.IsScalar(), node, of + " must be a text");
        return node.Scalar();
    }

  private:
    std::string file_;
};

}  // namespace

void RcmDBMgr::Load(const std::filesystem::path& file) {
    const CReader reader(file.string());
    YAML::Node root;
    try {
        root = YAML::LoadFile(file.string());
    } catch (const YAML::BadFile&) {
        throw common::COrvRunTimeError("cannot read capabilities from " + file.string());
    } catch (const YAML::ParserException& error) {
        throw common::COrvRunTimeError(file.string() + ":" + std::to_string(error.mark.line + 1) + ": " +
                                       error.msg);
    }
    std::map<Place, RcmValue> values = values_;
    reader.Require(root.IsSequence(), root, "capabilities must be a list");
    for (const YAML::Node& group : root) {
        RcmKey key;
        std::vector<std::pair<std::string, YAML::Node>> entries;
        for (const auto& [name, node] : reader.ReadMap(group, "a group of capabilities")) {
            if (name == "service") {
                key.service = reader.ReadText(node, name);
            } else if (name == "location") {
                key.location = reader.ReadText(node, name);
            } else {
                reader.Require(name == "values", node, "unknown key " + name);
                entries = reader.ReadMap(node, name);
            }
        }
        reader.Require(!key.service.empty(), group, "a group of capabilities needs a service");
        for (const auto& [name, node] : entries) {
            reader.Require(node.IsScalar(), node, "the value of " + name + " must be a single value");
            values[Place(key.service, key.location, name)] = ParseValue(node);
        }
    }
    values_ = std::move(values);
}

}  // namespace orv::core
