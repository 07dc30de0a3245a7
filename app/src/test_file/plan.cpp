#include "plan.h"

#include <algorithm>
#include <iterator>
#include <numeric>

#include "orv/framework/meta_class_manager.h"

namespace orv::app {

namespace {

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

}  // namespace

Plan::Plan() {
    for (const CMetaClass* root : {&GetProjectClass(), &GetSequencerClass()}) {
        PlannedObject object;
        object.meta_class = root;
        object.parent = objects_.size();  // its own: a root
        object.comes_with_parent = true;
        objects_.push_back(std::move(object));
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
    const std::string name = object.name;
    objects_[object.parent].children.push_back(index);
    objects_.push_back(std::move(object));
    if (!name.empty()) by_name_.emplace(name, index);
    if (!meta_class) return index;
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
    by_name_.emplace(name, index);
}

std::string Plan::Describe(std::size_t index) const {
    const PlannedObject& object = objects_[index];
    const std::string class_name = object.meta_class ? object.meta_class->GetName() : "object";
    return object.name.empty() ? class_name : class_name + " \"" + object.name + "\"";
}

std::string Plan::GetPath(std::size_t index) const {
    std::string path;
    for (std::size_t at = index;; at = objects_[at].parent) {
        const PlannedObject& object = objects_[at];
        const bool is_root = object.parent == at;
        if (is_root && path.find('/') != path.npos) return path;
        const std::string part = !object.name.empty() ? object.name
                                 : object.meta_class  ? object.meta_class->GetName()
                                                      : "?";
        path = path.empty() ? part : part + "/" + path;
        if (is_root) return path;
    }
}

std::optional<std::size_t> Plan::FindChild(std::size_t parent, const std::string& name) const {
    const auto [first, last] = by_name_.equal_range(name);
    for (auto at = first; at != last; ++at) {
        if (objects_[at->second].parent == parent) return at->second;
    }
    return std::nullopt;
}

template <class Indexes>
std::vector<std::size_t> Plan::SelectPart(const Indexes& indexes, const std::string& part) const {
    std::vector<std::size_t> selected;
    std::copy_if(indexes.begin(), indexes.end(), std::back_inserter(selected),
                 [&](std::size_t index) { return !part.empty() && objects_[index].name == part; });
    if (!selected.empty()) return selected;
    std::copy_if(indexes.begin(), indexes.end(), std::back_inserter(selected), [&](std::size_t index) {
        const CMetaClass* meta_class = objects_[index].meta_class;
        return meta_class && meta_class->IsTypeOf(std::string_view(part));
    });
    return selected;
}

std::vector<std::size_t> Plan::FindReferenced(const std::string& reference) const {
    std::vector<std::size_t> found;
    const auto [first, last] = by_name_.equal_range(reference);
    for (auto at = first; at != last; ++at) found.push_back(at->second);
    if (!found.empty()) return found;

    found.resize(objects_.size());
    std::iota(found.begin(), found.end(), std::size_t{0});
    bool is_first = true;
    for (const std::string& part : SplitPath(reference)) {
        if (!is_first) {
            std::vector<std::size_t> below;
            for (const std::size_t index : found) {
                const auto& children = objects_[index].children;
                below.insert(below.end(), children.begin(), children.end());
            }
            found = std::move(below);
        }
        found = SelectPart(found, part);
        is_first = false;
    }
    return found;
}

std::vector<std::string> Plan::GetNamesOf(const std::string& class_name) const {
    std::vector<std::string> names;
    for (const PlannedObject& object : objects_) {
        const bool fits = class_name.empty() ||
                          (object.meta_class && object.meta_class->IsTypeOf(std::string_view(class_name)));
        if (fits && !object.name.empty()) names.push_back(object.name);
    }
    return names;
}

}  // namespace orv::app
