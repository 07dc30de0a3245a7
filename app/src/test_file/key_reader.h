// Sections of a test file that hold settings by fixed keys.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "mistake.h"
#include "names.h"
#include "orv/common/exceptions.h"
#include "orv/framework/meta_class.h"
#include "source_tree.h"

namespace orv::app {

/// Settings are written as properties of that type are. Nothing for an invalid text.
template <class T>
std::optional<T> ParseValue(framework::PropertyType type, const std::string& text) {
    framework::CPropertyMeta property;
    property.type = type;
    try {
        return std::get<T>(property.Parse(text));
    } catch (const common::COrvRunTimeError&) {
        return std::nullopt;  // the caller reports what is expected
    }
}

/// A setting, and what error texts call it.
struct Key {
    std::string section;  ///< "simulation, ports, Viewers"
    const SourceEntry& entry;

    const SourceNode& Value() const { return entry.value; }
    MistakeList::Where Where() const { return {entry.value.at, section, entry.key.text}; }
};

/// Base of the readers of such sections. Mistakes are added to the list, and the setting then
/// stays as it was.
class KeyReader {
  protected:
    explicit KeyReader(MistakeList& mistakes) : mistakes_(mistakes) {}

    MistakeList& Mistakes() const { return mistakes_; }
    /// Reports that the value of a key is not what is expected.
    void Refuse(const Key& key, const std::string& expected, const std::string& nearest = {}) const;

    /// The entries of a map whose keys are among `known`; the others are mistakes.
    std::vector<Key> ReadEntries(const SourceNode& node, const MistakeList::Where& where,
                                 KnownNames& known) const;
    std::vector<Key> ReadEntries(const Key& key, KnownNames& known) const {
        return ReadEntries(key.Value(), key.Where(), known);
    }

    void ReadBool(const Key& key, bool& value) const;
    template <class T>
    void ReadWhole(const Key& key, T& number, T least, T most) const {
        if (const auto value = FindWhole(key, least, most)) number = static_cast<T>(*value);
    }
    static std::string DescribeWhole(std::uint64_t least, std::uint64_t most);

  private:
    std::optional<std::uint64_t> FindWhole(const Key& key, std::uint64_t least, std::uint64_t most) const;

    MistakeList& mistakes_;
};

}  // namespace orv::app
