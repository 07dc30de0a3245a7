#include "wizard/tree_text.h"

#include <map>
#include <sstream>

#include "orv/core/project.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/notification_service.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/framework_ids.h"

namespace wizard_test {

using namespace orv::framework;  // NOLINT: a test
namespace common = orv::common;

namespace {

class TreeText {
  public:
    std::string Describe(const CScriptable& object) {
        labels_.clear();
        const CScriptable& project = *orv::core::CProject::GetCurrentActiveInstance();
        for (const CScriptable* root : {&project, &object}) Label(*root);
        text_.clear();
        for (const CScriptable* root : {&project, &object}) Add(*root, 0);
        return text_;
    }

  private:
    void Label(const CScriptable& root) {
        ScriptableVec objects;
        CScriptableLocator::Instance().GetObjectsEx(objects, CScriptable::CLASS_ID(), &root,
                                                    CScriptableLocator::LOCATE_SKIP_DELETED);
        std::map<std::string, int> numbers;
        for (const CScriptable* object : objects) {
            const std::string& type = object->GetMetaClass()->GetName();
            const bool unnamed = object->GetName() == type + " " + std::to_string(object->GetHandle());
            labels_[object->GetHandle()] =
                unnamed ? type + " #" + std::to_string(++numbers[type]) : type + " " + object->GetName();
        }
    }

    std::string GetLabel(std::uint32_t handle) const {
        const auto found = labels_.find(handle);
        return found == labels_.end() ? "nothing" : found->second;
    }

    std::string GetValue(const CScriptable& object, const CPropertyMeta& property) const {
        std::string value;
        object.Get(property.id, value);
        if (property.type != PropertyType::Handle) return value;
        std::istringstream handles(value);
        std::string labels;
        for (std::uint32_t handle = 0; handles >> handle;)
            labels += (labels.empty() ? "" : ", ") + GetLabel(handle);
        return labels;
    }

    void Add(const CScriptable& object, std::size_t depth) {
        const auto add_line = [&](std::size_t at, const std::string& line) {
            text_ += std::string(2 * at, ' ') + line + "\n";
        };
        const bool registered = CNotificationService::Instance().IsRegistered(object.GetHandle());
        add_line(depth, GetLabel(object.GetHandle()) + (registered ? " (registered)" : ""));
        for (const CPropertyMeta* property : object.GetMetaClass()->GetProperties()) {
            const bool of_no_interest = property->transient || property->id == orv::ids::Scriptable::Name;
            std::string value;
            object.Get(property->id, value);
            if (!of_no_interest && value != property->Format(property->default_value))
                add_line(depth + 1, property->name + ": " + GetValue(object, *property));
        }
        for (const auto& [name, type] : GetRelationTypes()) {
            ScriptableVec targets;
            object.GetObjects(targets, CScriptable::CLASS_ID(), {type, 0});
            for (const CScriptable* target : targets)
                add_line(depth + 1, name + " -> " + GetLabel(target->GetHandle()));
        }
        ScriptableVec children;
        object.GetObjects(children, CScriptable::CLASS_ID(), common::kParentChild);
        for (const CScriptable* child : children)
            if (!child->IsDeleted()) Add(*child, depth + 1);
    }

    static std::map<std::string, std::uint32_t> GetRelationTypes() {
        std::map<std::string, std::uint32_t> types;
        for (const CRelationMeta* relation : CRelationManager::Instance().GetRelations())
            if (relation->type != common::kParentChild.type) types[relation->name] = relation->type;
        return types;
    }

    std::map<std::uint32_t, std::string> labels_;
    std::string text_;
};

}  // namespace

std::string DescribeProjectAndSequence() {
    return TreeText().Describe(CSequencer::Instance());
}

}  // namespace wizard_test
