// The objects that a test file lists: classes, names, parents and children.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "plan.h"
#include "source_tree.h"

namespace orv::app {

/// The key of the objects that are part of an object.
inline constexpr const char* kChildren = "children";

/// A key of an object that is neither its class nor its children: a property or a relation.
struct ObjectEntry {
    std::size_t object = 0;  ///< index in the plan
    const SourceEntry* entry = nullptr;
};

/// True if objects of the class can have this key.
bool HasKey(const CMetaClass& meta_class, const std::string& key);

/// Puts objects into a plan. Their properties and relations are read later, when all objects are known, since
/// they may refer to objects further down.
class ObjectReader {
  public:
    ObjectReader(Plan& plan, MistakeList& mistakes) : plan_(plan), mistakes_(mistakes) {}

    /// Reads a list of objects below an object. `where` names the list in error texts.
    void ReadObjects(const SourceNode& list, std::size_t parent, const MistakeList::Where& where);
    const std::vector<ObjectEntry>& GetEntries() const { return entries_; }

  private:
    void ReadObject(const SourceNode& node, std::size_t parent, const MistakeList::Where& where);
    const CMetaClass* FindClass(const SourceNode& key, std::size_t parent);
    void RefuseClass(const SourceNode& key, const CMetaClass* parent_class);
    const SourceEntry& FindClassEntry(const SourceNode& node, const MistakeList::Where& where);
    void CheckPlace(const CMetaClass& meta_class, const MistakeList::Where& where, std::size_t parent);
    std::string ReadName(const SourceEntry& first, std::size_t parent);
    std::size_t Place(const CMetaClass* meta_class, const std::string& name, Position at, std::size_t parent);

    Plan& plan_;
    MistakeList& mistakes_;
    std::vector<ObjectEntry> entries_;
    /// Expected and nearest names reported for an unknown class, by class of the parent.
    std::map<std::pair<const CMetaClass*, std::string>, std::pair<std::string, std::string>> unknown_;
};

}  // namespace orv::app
