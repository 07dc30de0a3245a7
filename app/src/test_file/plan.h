// What a test file asks for, checked: objects, their values and relations, before any of them is made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "expect_section.h"
#include "live_settings.h"
#include "mistake.h"
#include "simulation.h"
#include "sweep.h"
#include "vocabulary.h"

namespace orv::app {

struct PlannedReference {
    std::size_t target = 0;  ///< index in the plan
    Position at;
};

struct PlannedValue {
    const CPropertyMeta* property = nullptr;
    Position at;
    std::string text;                          ///< as the property parses it; not for handles
    std::vector<PlannedReference> references;  ///< of a handle, or a list of them
};

struct PlannedRelation {
    std::uint32_t type = 0;
    std::string name;
    std::vector<PlannedReference> targets;
};

struct PlannedObject {
    /// Null if the class in the file is unknown or abstract. That is the only mistake reported for such an
    /// object.
    const CMetaClass* meta_class = nullptr;
    const CMetaClass* abstract_class = nullptr;  ///< the class in the file in that case
    std::string name;                            ///< empty: the host names it
    std::size_t parent = 0;
    Position at;
    bool comes_with_parent = false;  ///< made by the host along with its parent
    bool is_written = false;         ///< is in the file
    std::vector<std::size_t> children;
    std::vector<PlannedValue> values;
    std::vector<PlannedRelation> relations;
};

/// All objects, parents before children. The first two, the project and the sequencer, always exist. So do
/// objects that are created with their parents, even if the file does not mention them: references may lead
/// to them.
class Plan {
  public:
    static constexpr std::size_t kProject = 0;
    static constexpr std::size_t kSequencer = 1;

    /// Contains the project, the sequencer, and the objects created with them.
    Plan();

    /// Adds an object and those created with it.
    std::size_t Add(PlannedObject object);
    /// Gives an object its name, by which it is found from now on.
    void SetName(std::size_t index, const std::string& name);

    const std::vector<PlannedObject>& Objects() const { return objects_; }
    PlannedObject& At(std::size_t index) { return objects_[index]; }
    const PlannedObject& At(std::size_t index) const { return objects_[index]; }

    /// Sets the positions of the sections for project and sequencer. Call before reading.
    void PlaceSections(Position project, Position sequence);

    /// `Port "Head end"`, as the host describes it.
    std::string Describe(std::size_t index) const;
    /// A reference that leads to the object: "Living rooms/Ipv4If".
    std::string GetPath(std::size_t index) const;

    /// Position of the value of a property or relation; without value, that of the object.
    Position GetPlace(std::size_t index, const std::string& key) const;

    /// The first child of that name.
    std::optional<std::size_t> FindChild(std::size_t parent, const std::string& name) const;
    /// Candidates for a reference: objects of that name; otherwise at the end of that path, each part of
    /// which is a name or, if no name matches, a class.
    std::vector<std::size_t> FindReferenced(const std::string& reference) const;
    /// Names of the objects of a class (empty: of all) and of objects with unknown class, in the order of the
    /// file.
    std::vector<std::string> GetNamesOf(const std::string& class_name = {}) const;

    std::string title;
    Simulation simulation;
    LiveSettings live;
    Expectations expectations;
    std::optional<Sweep> sweep;
    bool has_sequence = false;  ///< the file has a section of that name

  private:
    using Indexes = std::vector<std::size_t>;
    void Enter(std::size_t index);
    Indexes FindPart(const std::string& part) const;
    Indexes FindPartBelow(const Indexes& parents, const std::string& part) const;
    /// True if its class is abstract, and a base of that class or derived from it.
    bool CouldBe(std::size_t index, const CMetaClass& wanted) const;

    std::vector<PlannedObject> objects_;
    // Files may list thousands of objects, each of which is referred to.
    std::unordered_map<std::string, Indexes> by_name_;
    std::unordered_map<std::string, Indexes> by_parent_and_name_;  ///< "<index of the parent>/<name>"
    std::unordered_map<const CMetaClass*, Indexes> by_class_;      ///< without derived classes
    Indexes abstract_;                                             ///< objects of abstract classes
};

}  // namespace orv::app
