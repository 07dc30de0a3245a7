// Reading the section "sweep".
#pragma once

#include <optional>

#include "mistake.h"
#include "object_reader.h"
#include "setting.h"
#include "sweep.h"

namespace orv::app {

/// Reads what varies; mistakes go to the list. Nothing for an empty section and one with mistakes. Which
/// objects the names lead to, and whether the values fit, is another question.
std::optional<Sweep> ReadSweepSection(const SourceNode& node, MistakeList& mistakes);

/// The values of swept properties among those of the file. Names and values are those of settings.
class SweptValues {
  public:
    /// Call when all objects are in the plan, and all settings have been read.
    SweptValues(Plan& plan, SettingReader& settings, MistakeList& mistakes)
        : plan_(plan), settings_(settings), mistakes_(mistakes) {}

    /// Finds the properties, each of which is swept once and not set as well. False if that is a mistake.
    bool Find(const Sweep& sweep);
    /// Replaces the values of the file by one for each property, given by index.
    void Replace(const Sweep& sweep, const std::vector<std::size_t>& values,
                 std::vector<ObjectEntry>& entries);
    /// Removes the values of the file.
    void Clear(std::vector<ObjectEntry>& entries) const;
    /// Checks each value by itself, when the rest of the file has been read into the plan, to which the first
    /// value of each property is then added. Of a search, the ends and the step are checked.
    void Check(const Sweep& sweep);

  private:
    Plan& plan_;
    SettingReader& settings_;
    MistakeList& mistakes_;
    std::vector<SettingTarget> targets_;  ///< by property
};

}  // namespace orv::app
