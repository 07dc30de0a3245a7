// Values of a test file that the command line replaces for one run.
#pragma once

#include <list>
#include <string>
#include <vector>

#include "mistake.h"
#include "object_reader.h"
#include "plan.h"
#include "source_tree.h"

namespace orv::app {

/// Reads settings, "NAME/Property=VALUE", in their order. NAME is a reference to an object, and VALUE is
/// YAML, both as in the file. A setting replaces the value of the file and of earlier settings of the same
/// property.
class SettingReader {
  public:
    SettingReader(Plan& plan, MistakeList& mistakes) : plan_(plan), mistakes_(mistakes) {}

    /// Call when all objects are in the plan. Inserts the values into the entries, replacing those of the
    /// file. The entries refer to texts that this object owns.
    void Read(const std::vector<std::string>& settings, std::vector<ObjectEntry>& entries);

  private:
    void ReadOne(const std::string& setting, int number, std::vector<ObjectEntry>& entries);

    Plan& plan_;
    MistakeList& mistakes_;
    std::list<SourceEntry> texts_;
};

}  // namespace orv::app
