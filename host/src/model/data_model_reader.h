// Reads data-model files into plain definitions. No side effects.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "orv/framework/meta_class.h"

namespace orv::framework {

/// Where something stands: "<file>:<line>".
struct SourceLine {
    std::string file;
    int line = 0;

    std::string ToString() const { return file + ":" + std::to_string(line); }
};

/// Throws COrvRunTimeError "<file>:<line>: <reason>".
[[noreturn]] void FailAt(const SourceLine& where, const std::string& reason);

/// A name with the place where it was written.
struct NamedLine {
    std::string name;
    SourceLine where;
};

struct PropertyDefinition {
    CPropertyMeta meta;  ///< without default value and enumeration, which need the whole model
    SourceLine where;
    std::optional<NamedLine> enumeration;
    /// The default as text, or (collections) as a list of texts; nothing when none is given.
    std::optional<std::vector<std::string>> default_texts;
    SourceLine default_where;
    std::vector<NamedLine> of;  ///< classes whose objects a handle may name; empty: any
    /// Classes whose objects take some values of the enumeration only, and which.
    std::vector<std::pair<NamedLine, std::vector<NamedLine>>> only;
};

struct ClassDefinition {
    CMetaClass::Definition meta;  ///< without base and properties
    SourceLine where;
    std::optional<NamedLine> base;
    std::vector<NamedLine> parents;
    std::vector<NamedLine> children;
    std::vector<PropertyDefinition> properties;
};

struct RelationDefinition {
    std::string name;
    std::uint32_t type = 0;
    NamedLine from;
    NamedLine to;
    std::uint32_t max_targets = 0;
    bool dirties_source = true;
    SourceLine where;
};

struct EnumDefinition {
    CEnumMeta meta;
    SourceLine where;
};

struct DefaultChildDefinition {
    NamedLine parent;
    NamedLine child;
};

/// One file: a model, or a part of one.
struct DataModelFile {
    std::uint32_t model_id = 0;
    NamedLine name;
    std::vector<std::pair<std::uint32_t, SourceLine>> required_models;
    std::vector<EnumDefinition> enumerations;
    std::vector<ClassDefinition> classes;
    std::vector<RelationDefinition> relations;
    std::vector<DefaultChildDefinition> default_children;
};

/// Reads a file strictly: malformed YAML, unknown keys, keys given twice, missing keys, numbers and booleans
/// in any other form than docs/data-model.md describes, ids outside their class or model. Throws
/// COrvRunTimeError
/// "<file>:<line>: <reason>".
DataModelFile ReadDataModelFile(const std::filesystem::path& path);

/// The id of the model that a file belongs to.
std::uint32_t ReadDataModelId(const std::filesystem::path& path);

}  // namespace orv::framework
