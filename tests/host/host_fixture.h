// A host with the classes of datamodel/test_model.yaml, and short ways to build what tests need below its
// project.
#pragma once

#include "host/aids.h"
#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/command.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/static_registration.h"

namespace host_test {

using orv::common::kParentChild;

inline constexpr std::uint32_t kProjectClass = 0x6000, kBox = 0x7e001000, kItem = 0x7e002000;
inline constexpr std::uint32_t kSpecialItem = 0x7e003000, kThing = 0x7e006000, kSpecialThing = 0x7e007000;
inline constexpr std::uint32_t kTestCommand = 0x7e008000;
inline constexpr PropId kActive = 0x1003, kCancellable = 0xe01b, kCount = 0x7e002001, kMoment = 0x7e002006;
inline constexpr PropId kValue = 0x7e006001;
inline constexpr RelationType kUses{0x7e000001, 0};       ///< from items to boxes, one at most
inline constexpr RelationType kLikes{0x7e000002, 0};      ///< from items to items
inline constexpr RelationType kThingUses{0x7e000003, 0};  ///< from things to things

/// The C++ class of TestItem and TestSpecialItem.
struct TestItem : CScriptable {
    static ClassId CLASS_ID() { return kItem; }

    bool OnInit() override { return !refuse_init; }
    bool OnMarkDelete() override { return !keep; }
    void OnPropertyModified(Property& property) override {
        events.push_back(GetName() + "." + property.meta.name);
    }
    void OnRelationModified(RelationType type, CScriptable& object, bool added) override {
        const char* name = type.type == kUses.type    ? "Uses"
                           : type.type == kLikes.type ? "Likes"
                                                      : "ParentChild";
        events.push_back(GetName() + (added ? " +" : " -") + name + (type.direction ? "<" : ">") +
                         object.GetName());
    }
    bool OnPreValidateRelationChange(RelationType, CScriptable&, bool, std::string& reason) override {
        if (refuse_relations) reason = "it does not want to";
        return !refuse_relations;
    }
    bool OnPropagatingActive(bool active) override { return active || !stays_active; }
    bool CloneRelationType(const CScriptable&, const RelationType& type) const override {
        return type.type != kUses.type;
    }

    static inline bool refuse_init = false;
    static inline Strings events;  ///< changes of all items, in order
    bool keep = false, stays_active = false, refuse_relations = false;
};
inline const StaticRegisterClass<TestItem> item_registration{kItem};

/// A command whose work the test defines.
struct TestCommand : CCommand {
    static ClassId CLASS_ID() { return kTestCommand; }
    using CCommand::SetStep;

    bool Validate(CBaseValidationContext& context) override { return !on_validate || on_validate(context); }
    void DoRun() override {
        ++runs;
        if (on_run) on_run();
    }
    bool DoReset() override { return !refuse_reset; }
    bool DoRunnableValidate(std::string& reason) const override {
        reason = blocked;
        return blocked.empty();
    }
    void OnRunnableStateChange(bool runnable) override { states += runnable ? "runnable " : "blocked "; }
    void OnCommandStateChange(CommandState from, CommandState to) override {
        const char* const names[] = {"IDLE", "PENDING", "RUNNING", "COMPLETED", "FAILED", "CANCELLED"};
        states += std::string(names[from]) + ">" + names[to] + " ";
    }

    std::function<bool(CBaseValidationContext&)> on_validate;
    std::function<void()> on_run;
    bool refuse_reset = false;
    std::string blocked;
    int runs = 0;
    std::string states;  ///< "IDLE>PENDING " and so on
};
inline const StaticRegisterClass<TestCommand> command_registration{kTestCommand};

struct HostTest : testing::Test {
    explicit HostTest(ClockKind clock = ClockKind::Virtual) : host_({clock}) {
        CMetaClassManager::Instance().AddSearchFolder(TEST_MODEL_FOLDER);
        CMetaClassManager::Instance().ActivateDataModel(0x7e000000);
        TestItem::refuse_init = false;
        TestItem::events.clear();
    }

    orv::core::CProject& Project() { return host_.GetProject(); }
    /// Objects lie below the project unless a parent is given.
    template <class T>
    T& Make(CScriptable* parent = nullptr) {
        return Make<T>(T::CLASS_ID(), parent);
    }
    template <class T = CScriptable>
    T& Make(ClassId id, CScriptable* parent = nullptr) {
        return CScriptableCreator().MakeAs<T>(id, parent ? parent : &Project());
    }
    CScriptable& MakeByName(const std::string& class_name, CScriptable* parent = nullptr) {
        return Make(CMetaClassManager::Instance().GetClass(class_name, nullptr, true)->GetClassId(), parent);
    }
    TestItem& MakeItem(CScriptable* parent = nullptr) { return Make<TestItem>(parent); }
    CScriptable& MakeBox(CScriptable* parent = nullptr) { return Make(kBox, parent); }
    CScriptable& MakeThing(const std::string& name, CScriptable* parent = nullptr,
                           std::uint32_t id = kThing) {
        CScriptable& thing = Make(id, parent);
        thing.Set("Name", name);
        return thing;
    }
    TestCommand& MakeCommand(const std::string& name, CScriptable* parent = nullptr) {
        return dynamic_cast<TestCommand&>(MakeThing(name, parent, kTestCommand));
    }
    /// Relates or fails the test with the reason.
    static void Relate(CScriptable& from, CScriptable& to, RelationType type) {
        std::string error;
        EXPECT_TRUE(from.AddObject(to, type, &error)) << error;
    }
    static ScriptableVec Related(const CScriptable& object, RelationType type,
                                 ClassId class_id = CScriptable::CLASS_ID()) {
        ScriptableVec related;
        object.GetObjects(related, class_id, type);
        return related;
    }
    static ScriptableVec Removed(const CScriptable& object, RelationType type, ClassId class_id) {
        ScriptableVec removed;
        object.GetRemovedObjects(removed, class_id, type);
        return removed;
    }

    orv::core::CHostApplication host_;
};

/// Names of objects, separated by blanks.
inline std::string NamesOf(const ScriptableVec& objects) {
    std::string names;
    for (const CScriptable* object : objects) names += (names.empty() ? "" : " ") + object->GetName();
    return names;
}

}  // namespace host_test
