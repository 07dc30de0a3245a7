#include "plan.h"

#include <algorithm>
#include <iterator>

#include "orv/framework/meta_class_manager.h"

namespace orv::app {

namespace {

std::string GetClassName(const PlannedObject& object, const char* otherwise) {
    const CMetaClass* named = object.meta_class ? object.meta_class : object.abstract_class;
    return named ? named->GetName() : otherwise;
}

std::vector<std::string> SplitPath(const std::string& path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t slash = path.find('/'); slash != path.npos; slash = path.find('/', start)) {
        parts.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    parts.push_back(path.substr(start));
    return parts;
}

std::string MakeKey(std::size_t parent, const std::string& name) {
    return std::to_string(parent) + "/" + name;
}

const std::vector<std::size_t>& FindIndexes(
    const std::unordered_map<std::string, std::vector<std::size_t>>& indexes, const std::string& key) {
    static const std::vector<std::size_t> none;
    const auto found = indexes.find(key);
    return found == indexes.end() ? none : found->second;
}

}  // namespace

Plan::Plan() {
    for (const CMetaClass* root : {&GetProjectClass(), &GetSequencerClass()}) {
        PlannedObject object;
        object.meta_class = root;
        object.parent = objects_.size();  // its own index: a root
        object.comes_with_parent = true;
        objects_.push_back(std::move(object));
        by_class_[root].push_back(objects_.size() - 1);
    }
    for (const CMetaClass* child :
         framework::CMetaClassManager::Instance().GetDefaultChildren(GetProjectClass())) {
        PlannedObject object;
        object.meta_class = child;
        object.parent = kProject;
        object.comes_with_parent = true;
        Add(std::move(object));
    }
}

std::size_t Plan::Add(PlannedObject object) {
    const std::size_t index = objects_.size();
    const CMetaClass* meta_class = object.meta_class;
    objects_[object.parent].children.push_back(index);
    objects_.push_back(std::move(object));
    Enter(index);
    if (objects_[index].abstract_class) abstract_.push_back(index);
    if (!meta_class) return index;
    by_class_[meta_class].push_back(index);
    for (const CMetaClass* child : framework::CMetaClassManager::Instance().GetDefaultChildren(*meta_class)) {
        PlannedObject default_child;
        default_child.meta_class = child;
        default_child.parent = index;
        default_child.at = objects_[index].at;
        default_child.comes_with_parent = true;
        Add(std::move(default_child));
    }
    return index;
}

void Plan::SetName(std::size_t index, const std::string& name) {
    objects_[index].name = name;
    Enter(index);
}

void Plan::Enter(std::size_t index) {
    const PlannedObject& object = objects_[index];
    if (object.name.empty()) return;
    by_name_[object.name].push_back(index);
    by_parent_and_name_[MakeKey(object.parent, object.name)].push_back(index);
}

void Plan::PlaceSections(Position project, Position sequence) {
    for (PlannedObject& object : objects_) object.at = project;
    objects_[kSequencer].at = sequence;
}

std::string Plan::Describe(std::size_t index) const {
    const PlannedObject& object = objects_[index];
    const std::string class_name = GetClassName(object, "object");
    return object.name.empty() ? class_name : class_name + " \"" + object.name + "\"";
}

std::string Plan::GetPath(std::size_t index) const {
    std::string path;
    for (std::size_t at = index;; at = objects_[at].parent) {
        const PlannedObject& object = objects_[at];
        const bool is_root = object.parent == at;
        if (is_root && path.find('/') != path.npos) return path;
        const std::string part = object.name.empty() ? GetClassName(object, "?") : object.name;
        path = path.empty() ? part : part + "/" + path;
        if (is_root) return path;
    }
}

Position Plan::GetPlace(std::size_t index, const std::string& key) const {
    const PlannedObject& object = objects_[index];
    for (const PlannedValue& value : object.values) {
        if (value.property->name == key) return value.at;
    }
    for (const PlannedRelation& relation : object.relations) {
        if (relation.name == key && !relation.targets.empty()) return relation.targets.front().at;
    }
    return object.at;
}

std::optional<std::size_t> Plan::FindChild(std::size_t parent, const std::string& name) const {
    const Indexes& children = FindIndexes(by_parent_and_name_, MakeKey(parent, name));
    return children.empty() ? std::nullopt : std::optional(children.front());
}

bool Plan::CouldBe(std::size_t index, const CMetaClass& wanted) const {
    const CMetaClass* named = objects_[index].abstract_class;
    return named && (named->IsTypeOf(wanted) || wanted.IsTypeOf(*named));
}

/// Objects of that name; where there is none, of that class.
Plan::Indexes Plan::FindPart(const std::string& part) const {
    Indexes found = FindIndexes(by_name_, part);
    const CMetaClass* wanted = framework::CMetaClassManager::Instance().GetClass(part);
    if (!found.empty() || !wanted) return found;
    for (const auto& [meta_class, indexes] : by_class_) {
        if (meta_class->IsTypeOf(*wanted)) found.insert(found.end(), indexes.begin(), indexes.end());
    }
    if (found.empty()) {
        std::copy_if(abstract_.begin(), abstract_.end(), std::back_inserter(found),
                     [&](std::size_t index) { return CouldBe(index, *wanted); });
    }
    std::sort(found.begin(), found.end());
    return found;
}

Plan::Indexes Plan::FindPartBelow(const Indexes& parents, const std::string& part) const {
    Indexes found;
    for (const std::size_t parent : parents) {
        const Indexes& named = FindIndexes(by_parent_and_name_, MakeKey(parent, part));
        found.insert(found.end(), named.begin(), named.end());
    }
    if (!found.empty()) return found;
    const CMetaClass* wanted = framework::CMetaClassManager::Instance().GetClass(part);
    Indexes meant;  // objects with mistakes that may be meant
    for (const std::size_t parent : parents) {
        if (!objects_[parent].meta_class) meant.push_back(parent);  // it may have such children
        for (const std::size_t child : objects_[parent].children) {
            const CMetaClass* meta_class = objects_[child].meta_class;
            if (wanted && meta_class && meta_class->IsTypeOf(*wanted)) found.push_back(child);
            if (wanted && CouldBe(child, *wanted)) meant.push_back(child);
        }
    }
    return found.empty() ? meant : found;
}

std::vector<std::size_t> Plan::FindReferenced(const std::string& reference) const {
    Indexes found = FindIndexes(by_name_, reference);
    if (!found.empty()) return found;
    const std::vector<std::string> parts = SplitPath(reference);
    found = FindPart(parts.front());
    for (std::size_t i = 1; i < parts.size(); ++i) found = FindPartBelow(found, parts[i]);
    return found;
}

std::vector<std::string> Plan::GetNamesOf(const std::string& class_name) const {
    const CMetaClass* wanted = framework::CMetaClassManager::Instance().GetClass(class_name);
    std::vector<std::string> names;
    for (const PlannedObject& object : objects_) {
        const bool fits =
            class_name.empty() || !object.meta_class || (wanted && object.meta_class->IsTypeOf(*wanted));
        if (fits && !object.name.empty()) names.push_back(object.name);
    }
    return names;
}

}  // namespace orv::app
