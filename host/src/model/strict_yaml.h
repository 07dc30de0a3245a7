// YAML read strictly: yaml-cpp accepts doubled keys, octal numbers and "no" for false; here these are errors.
#pragma once

#include <yaml-cpp/yaml.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "data_model_reader.h"

namespace orv::framework {

/// Throws unless the name is made of letters, digits and underscores and does not start with a digit: names
/// become C++ constants, columns of a database and words of a text.
void CheckIdentifier(const NamedLine& name);

/// A node with the file that it stands in.
class StrictNode {
  public:
    StrictNode(YAML::Node node, std::string file)
        : node_(std::move(node)), file_(std::move(file)), line_(node_.Mark().line + 1) {}

    /// Lines count from 1.
    SourceLine Where() const { return {file_, line_}; }
    [[noreturn]] void Fail(const std::string& reason) const { FailAt(Where(), reason); }

    std::string Text() const;
    /// See CheckIdentifier.
    std::string Identifier() const {
        CheckIdentifier(Name());
        return Text();
    }
    bool Bool() const;
    /// Decimal (without leading zeros) or 0x hexadecimal.
    std::int64_t Integer() const;
    std::uint32_t U32() const;
    double Number() const;
    NamedLine Name() const { return {Text(), Where()}; }
    std::vector<StrictNode> List() const;

  private:
    friend class StrictMap;
    YAML::Node node_;
    std::string file_;
    int line_;
};

/// A mapping whose keys are known beforehand, or free names.
class StrictMap {
  public:
    /// Throws when the node is no mapping or has a key twice.
    explicit StrictMap(const StrictNode& node);
    /// Throws for a key that is none of `keys`.
    void AllowOnly(const std::vector<std::string>& keys) const;

    const std::vector<std::pair<NamedLine, StrictNode>>& Entries() const { return entries_; }
    std::optional<StrictNode> Find(const std::string& key) const;
    StrictNode Get(const std::string& key) const;

  private:
    SourceLine where_;
    std::vector<std::pair<NamedLine, StrictNode>> entries_;
};

/// Loads one document. Malformed YAML, or a file that cannot be read, throws with file and line.
StrictNode LoadStrictYaml(const std::filesystem::path& path);

}  // namespace orv::framework
