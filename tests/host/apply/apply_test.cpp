#include "orv/framework/apply.h"

#include "host/host_fixture.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/transport.h"
#include "orv/tm/message.h"

namespace {

using namespace host_test;  // NOLINT: a test

/// What handlers and validators of this file do; they are registered for good and quiet outside of these
/// tests.
struct Script {
    std::string trace;
    Strings errors;  ///< reported by the validator
    std::function<void(ApplyContext&)> on_thing;
    std::function<void()> on_project;
    std::function<void()> on_status;
};
Script* script = nullptr;

void OnApply(const char* handler, ApplyContext& context) {
    if (!script) return;
    script->trace += std::string(handler) + "(" + context.GetCurrentObject()->GetName() + ") ";
}

void ApplyDirtyThings(ApplyContext& context) {
    OnApply("dirty", context);
}
void ApplyThings(ApplyContext& context) {
    OnApply("thing", context);
    if (script && script->on_thing) script->on_thing(context);
}
void ApplyProject(ApplyContext& context) {
    OnApply("project", context);
    if (script && script->on_project) script->on_project();
}
void Validate(ValidationContext& context) {
    if (!script) return;
    for (const std::string& error : script->errors) context.AddError("rules.cpp1", error);
    context.AddWarning("rules.cpp2", "careful");
}
void OnStatus(ApplyStatus status, const std::string& text) {
    if (!script) return;
    const char* const names[] = {"started", "succeeded", "failed"};
    script->trace += std::string(names[static_cast<int>(status)]) + (text.empty() ? " " : ":" + text + " ");
    if (script->on_status) script->on_status();
}

template <auto Function>
ApplyObjectHandler::Function To() {
    return ApplyObjectHandler::Function::To<Function>();
}

const ApplyObjectHandler dirty_things("Dirty", "Test", kThing, To<&ApplyDirtyThings>(), true);
const ApplyObjectHandler things("Things", "Test", kThing, To<&ApplyThings>());
const ApplyObjectHandler project("Project", "Test", kProjectClass, To<&ApplyProject>());
const StaticRegisterApplyHandler r1(&dirty_things), r2(&things), r3(&project);
const Validator validator("Test", "Apply", kProjectClass, Validator::Function::To<&Validate>());
const StaticRegisterValidator validator_registration(&validator);

struct ApplyTest : HostTest {
    ApplyTest() {
        [[maybe_unused]] static const bool once = [] {
            ApplyToILHandlerRegistry::Instance().RegisterApplyStatusHandler(
                ApplyStatusDelegate::To<&OnStatus>());
            return true;
        }();
        Project().Set("Name", "Project");
        SettleAfterApply(Project());
        script = &script_;
    }
    ~ApplyTest() override { script = nullptr; }

    /// The text of the failure, or "applied".
    std::string Apply() {
        ValidationContext context;
        const std::string failure = ThrownBy<COrvRunTimeError>([&] { ApplyToIL(Project(), context); });
        EXPECT_LE(context.GetWarnings().size(), 1u);
        return failure == "nothing thrown" ? "applied" : failure;
    }
    static CScriptable* Find(std::uint32_t handle) { return CHandleRegistry::Instance().Find(handle); }

    Script script_;
};

TEST_F(ApplyTest, WhatChangesMeanwhileIsLeftForTheNextApply) {
    CScriptable &edited = MakeThing("edited"), &untouched = MakeThing("untouched");
    CScriptable& deleted = MakeThing("deleted");
    CScriptable* created = nullptr;
    const std::uint32_t handle = deleted.GetHandle();
    script_.on_project = [&] {
        edited.Set(kValue, 77u);
        created = &MakeThing("created");
        deleted.MarkDelete(true, true);
    };
    EXPECT_EQ(Apply(), "applied");
    EXPECT_TRUE(edited.IsObjectDirty(false) && !untouched.IsObjectDirty(false));
    EXPECT_TRUE(created->IsObjectDirty(false));
    ASSERT_EQ(Find(handle), &deleted);

    script_.on_project = nullptr;
    EXPECT_EQ(Apply(), "applied");
    EXPECT_FALSE(Project().IsObjectDirty(true));
    EXPECT_EQ(Find(handle), nullptr);
}

TEST_F(ApplyTest, RunsHandlersInOrderForEachObjectOfTheirClass) {
    CScriptable& a = MakeThing("a");
    MakeThing("a1", &a, kSpecialThing);
    MakeThing("b");
    EXPECT_EQ(Apply(), "applied");
    EXPECT_EQ(script_.trace,
              "started dirty(a) dirty(a1) dirty(b) thing(a) thing(a1) thing(b) project(Project) succeeded ");
    script_.trace.clear();
    a.Set(kValue, 5u);
    EXPECT_EQ(Apply(), "applied");
    EXPECT_EQ(script_.trace, "started dirty(a) thing(a) thing(a1) thing(b) project(Project) succeeded ");
}

TEST_F(ApplyTest, AFailureLeavesEverythingAsItWas) {
    const std::string begun = "started dirty(a) dirty(b) dirty(gone) thing(a) ";
    const std::string integer = "apply handler \"Things\" failed: the integer -3";
    struct {
        Script script;
        std::string text, trace;
    } cases[3] = {{{}, "first rule\nsecond rule", "started "},
                  {{}, "port refuses", begun + "thing(b) thing(gone) project(Project) "},
                  {{}, integer, begun}};
    cases[0].script.errors = {"first rule", "second rule"};
    cases[1].script.on_project = [] { throw COrvRunTimeError("port refuses"); };
    cases[2].script.on_thing = [](ApplyContext&) { throw -3; };
    CScriptable &a = MakeThing("a"), &b = MakeThing("b"), &gone = MakeThing("gone");
    SettleAfterApply(Project());
    a.Set(kValue, 1u);
    a.AddObject(b, kThingUses);
    a.RemoveObject(b, kThingUses);
    b.SetObjectState(CScriptable::STATE_NEW);
    gone.MarkDelete(true, true);
    for (const auto& c : cases) {
        script_ = c.script;
        EXPECT_EQ(Apply(), c.text);
        EXPECT_EQ(script_.trace, c.trace + "failed:" + c.text + " ");
        EXPECT_EQ(a.GetObjectState(), CScriptable::STATE_MODIFIED);
        EXPECT_EQ(b.GetObjectState(), CScriptable::STATE_NEW);
        EXPECT_EQ(gone.GetObjectState(), CScriptable::STATE_PENDING_DELETE);
        EXPECT_THAT(Removed(a, kThingUses, kThing), ElementsAre(&b));
    }
    script_ = {};
    EXPECT_EQ(Apply(), "applied") << "the next one sends what is still missing";
    EXPECT_FALSE(Project().IsObjectDirty(true));
}

TEST_F(ApplyTest, ASecondApplyWithinTheFirstIsRefusedAndAThrowingStatusHandlerChangesNothing) {
    const LogCatcher log;
    std::string inner;
    script_.on_project = [&] { inner = Apply(); };
    script_.on_status = [] { throw std::runtime_error("spoilt"); };
    EXPECT_EQ(Apply(), "applied");
    EXPECT_EQ(inner, "an apply is running already");
    EXPECT_TRUE(log.Has(LogLevelType::Error, "spoilt"));
}

TEST_F(ApplyTest, FaultsFromBeforeTheApplyAreNotItsOwn) {
    const LogCatcher log;
    auto [near, far] = MakeInProcessTransport();
    const Messenger messenger{"//port"};
    CRpcManager::Instance().Connect(messenger, std::move(near));
    orv::tm::Message request;
    request.set_msg_type(orv::tm::TMT_REQUEST);
    CRpcManager::Instance().SendAsyncMessage(messenger, request, nullptr, nullptr, 10);
    Tasks().CtmYield(20);
    std::vector<ErrorMsg> errors;
    script_.on_project = [&errors] { CRpcManager::Instance().Wait(errors); };
    EXPECT_EQ(Apply(), "applied");
    EXPECT_TRUE(errors.empty());
    EXPECT_TRUE(log.Has(LogLevelType::Warn, "before the apply: sequence number 1 of //port"));
}

}  // namespace
