#include "builder.h"

#include <fmt/format.h>

#include <exception>

#include "orv/common/exceptions.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"

namespace orv::app {

using framework::CScriptable;
using framework::ScriptableVec;

std::unordered_map<std::uint32_t, std::size_t> Builder::Build(CScriptable& project,
                                                              framework::CSequencer& sequencer) {
    made_.assign(plan_.Objects().size(), nullptr);
    made_[Plan::kProject] = &project;
    made_[Plan::kSequencer] = &sequencer;
    sequencer.Clear(true);
    MakeObjects();
    for (std::size_t i = 0; i < made_.size(); ++i) SetValues(i);
    for (std::size_t i = 0; i < made_.size(); ++i) Relate(i);
    FillSequence(sequencer);
    for (std::size_t i = 0; i < made_.size(); ++i) {
        const PlannedObject& object = plan_.At(i);
        if (made_[i] && object.parent != i)
            Guard({object.at, plan_.Describe(i)}, [&] { made_[i]->OnLoadCompleted(); });
    }
    std::unordered_map<std::uint32_t, std::size_t> indexes;
    for (std::size_t i = 0; i < made_.size(); ++i) {
        if (made_[i]) indexes[made_[i]->GetHandle()] = i;
    }
    return indexes;
}

template <class Step>
void Builder::Guard(const MistakeList::Where& where, const Step& step) {
    try {
        step();
    } catch (const std::exception& error) {
        mistakes_.Add(where, error.what());
    }
}

void Builder::MakeObjects() {
    for (std::size_t i = Plan::kSequencer + 1; i < made_.size(); ++i) {
        const PlannedObject& object = plan_.At(i);
        if (!made_[object.parent]) continue;  // already reported
        const MistakeList::Where where{object.at, plan_.Describe(i)};
        Guard(where, [&] { made_[i] = MakeObject(i); });
        if (made_[i] && !object.name.empty()) {
            Guard(where, [&] { made_[i]->Set(ids::Scriptable::Name, object.name); });
        }
    }
}

CScriptable* Builder::MakeObject(std::size_t index) {
    const PlannedObject& object = plan_.At(index);
    if (object.comes_with_parent) {
        CScriptable* child = FindDefaultChild(index);
        if (!child && object.is_written) {
            throw common::COrvRunTimeError(
                fmt::format("{} has none that could be configured", plan_.Describe(object.parent)));
        }
        return child;
    }
    // Commands are created where they know the project, and then moved into the sequence.
    CScriptable* parent = made_[object.parent == Plan::kSequencer ? Plan::kProject : object.parent];
    framework::CScriptableCreator creator;
    CScriptable* made = creator.Create(object.meta_class, parent);
    if (!made) throw common::COrvRunTimeError(creator.GetErrorText());
    return made;
}

CScriptable* Builder::FindDefaultChild(std::size_t index) const {
    const PlannedObject& object = plan_.At(index);
    ScriptableVec children;
    made_[object.parent]->GetObjects(children, object.meta_class->GetClassId(), common::kParentChild);
    for (CScriptable* child : children) {
        if (child->GetMetaClass() == object.meta_class && !child->IsDeleted()) return child;
    }
    return nullptr;
}

void Builder::SetValues(std::size_t index) {
    if (!made_[index]) return;
    for (const PlannedValue& value : plan_.At(index).values) {
        const MistakeList::Where where{value.at, plan_.Describe(index), value.property->name};
        std::string text = value.text;
        bool complete = true;
        if (value.property->type == framework::PropertyType::Handle) {
            for (const PlannedReference& reference : value.references) {
                const CScriptable* target = made_[reference.target];
                complete = complete && target;
                if (target) text += (text.empty() ? "" : " ") + std::to_string(target->GetHandle());
            }
            if (text.empty() && !value.property->collection) text = "0";
        }
        if (complete) {
            Guard(where, [&] { made_[index]->Set(value.property->id, text); });
        } else {
            mistakes_.Add(where, "an object that it names was not made");
        }
    }
}

void Builder::Relate(std::size_t index) {
    if (!made_[index]) return;
    for (const PlannedRelation& relation : plan_.At(index).relations) {
        for (const PlannedReference& reference : relation.targets) {
            const MistakeList::Where where{reference.at, plan_.Describe(index), relation.name};
            CScriptable* target = made_[reference.target];
            if (!target) {
                mistakes_.Add(where, "an object that it names was not made");
                continue;
            }
            // The host may have related the two already.
            if (made_[index]->ContainsObject(*target, {relation.type, 0})) continue;
            Guard(where, [&] {
                std::string why;
                if (!made_[index]->AddObject(*target, {relation.type, 0}, &why))
                    throw common::COrvRunTimeError(why);
            });
        }
    }
}

void Builder::FillSequence(framework::CSequencer& sequencer) {
    std::vector<std::uint32_t> handles;
    for (const std::size_t index : plan_.At(Plan::kSequencer).children) {
        if (made_[index]) handles.push_back(made_[index]->GetHandle());
    }
    Guard({plan_.At(Plan::kSequencer).at, "sequence"}, [&] { sequencer.InsertCommands(handles); });
}

}  // namespace orv::app
