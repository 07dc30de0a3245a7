// Values of a test file that the command line replaces for one run.
#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "mistake.h"
#include "object_reader.h"
#include "plan.h"
#include "source_tree.h"

namespace orv::app {

/// A property or relation of an object of the plan.
struct SettingTarget {
    std::size_t object = 0;  ///< index in the plan
    std::string property;
    Position at;

    bool IsSameAs(const SettingTarget& other) const;
};

/// Reads settings, "NAME/Property=VALUE", in their order. NAME is a reference to an object, and VALUE is
/// YAML, both as in the file. A setting replaces the value of the file and of earlier settings of the same
/// property.
class SettingReader {
  public:
    SettingReader(Plan& plan, MistakeList& mistakes) : plan_(plan), mistakes_(mistakes) {}

    /// Call when all objects are in the plan. Inserts the values into the entries, replacing those of the
    /// file. The entries refer to texts that this object owns.
    void Read(const std::vector<std::string>& settings, std::vector<ObjectEntry>& entries);

    /// What "NAME/Property" refers to; mistakes are reported at `at`.
    std::optional<SettingTarget> FindTarget(const std::string& name, Position at);
    /// Removes the values of a property from the entries.
    static void Clear(const SettingTarget& target, std::vector<ObjectEntry>& entries);
    /// Adds a value of a property to the entries, which refer to a copy that this object owns.
    void Add(const SettingTarget& target, SourceNode value, std::vector<ObjectEntry>& entries);
    /// The properties that have been set.
    const std::vector<SettingTarget>& GetTargets() const { return targets_; }

  private:
    void ReadOne(const std::string& setting, int number, std::vector<ObjectEntry>& entries);

    Plan& plan_;
    MistakeList& mistakes_;
    std::list<SourceEntry> texts_;
    std::vector<SettingTarget> targets_;
};

}  // namespace orv::app
