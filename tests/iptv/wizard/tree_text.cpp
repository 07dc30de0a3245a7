
#include "orv/core/project.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/notification_service.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable_locator.h"
#include "wizard/wizard_fixture.h"

namespace wizard_test {

using namespace framework;  // NOLINT: a test

namespace {

struct TreeText {
    TreeText() {
        const CScriptable& project = *orv::core::CProject::GetCurrentActiveInstance();
        for (const CScriptable* root : {&project, static_cast<const CScriptable*>(&CSequencer::Instance())})
            Label(*root);
        for (const CRelationMeta* relation : CRelationManager::Instance().GetRelations())
            if (relation->type != common::kParentChild.type) relations_[relation->name] = relation->type;
        Add(project, 0);
        Add(CSequencer::Instance(), 0);
    }
    std::string text;

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
                type + " " + (unnamed ? "#" + std::to_string(++numbers[type]) : object->GetName());
        }
    }
    std::string GetLabel(std::uint32_t handle) const {
        const auto found = labels_.find(handle);
        return found == labels_.end() ? "nothing" : found->second;
    }
    void Add(const CScriptable& object, std::size_t depth) {
        const auto add_line = [&](std::size_t at, const std::string& line) {
            text += std::string(2 * at, ' ') + line + "\n";
        };
        const bool registered = CNotificationService::Instance().IsRegistered(object.GetHandle());
        add_line(depth, GetLabel(object.GetHandle()) + (registered ? " (registered)" : ""));
        for (const CPropertyMeta* property : object.GetMetaClass()->GetProperties()) {
            std::string value;
            object.Get(property->id, value);
            if (property->transient || property->id == orv::ids::Scriptable::Name ||
                value == property->Format(property->default_value))
                continue;
            if (property->type == PropertyType::Handle) {
                std::istringstream handles(std::exchange(value, ""));
                for (std::uint32_t handle = 0; handles >> handle;)
                    value += (value.empty() ? "" : ", ") + GetLabel(handle);
            }
            add_line(depth + 1, property->name + ": " + value);
        }
        ScriptableVec related;
        for (const auto& [name, type] : relations_) {
            object.GetObjects(related, CScriptable::CLASS_ID(), {type, 0});
            for (const CScriptable* target : std::exchange(related, {}))
                add_line(depth + 1, name + " -> " + GetLabel(target->GetHandle()));
        }
        object.GetObjects(related, CScriptable::CLASS_ID(), common::kParentChild);
        for (const CScriptable* child : related)
            if (!child->IsDeleted()) Add(*child, depth + 1);
    }

    std::map<std::uint32_t, std::string> labels_;
    std::map<std::string, std::uint32_t> relations_;
};

}  // namespace

std::string DescribeProjectAndSequence() {
    return TreeText().text;
}

}  // namespace wizard_test
