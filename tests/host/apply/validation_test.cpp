#include "orv/framework/validation.h"

#include "host/host_fixture.h"

namespace {

using namespace host_test;  // NOLINT: a test

/// What the test's validators do: note their call, and misbehave on demand. They are registered for good, so
/// they keep quiet outside of these tests.
struct Behaviour {
    std::string calls;
    std::string reports_on;  ///< name of the object that is wrong
    std::function<void()> fails;
};
Behaviour* behaviour = nullptr;

void Note(const char* validator, ValidationContext& context) {
    if (!behaviour) return;
    const std::string name = context.GetCurrentObject()->GetName();
    behaviour->calls += std::string(validator) + "(" + name + ") ";
    if (name == behaviour->reports_on) context.AddError("rules.cpp12", name + " is wrong");
}

template <const char* name>
void Noting(ValidationContext& context) {
    Note(name, context);
}
void Failing(ValidationContext& context) {
    Note("failing", context);
    if (!behaviour) return;
    context.SetCurrentObject(nullptr);  // a validator that forgets to set it back
    if (behaviour->fails) behaviour->fails();
}
void ForProject(ValidationContext& context) {
    if (!behaviour) return;
    ScriptableVec things;
    context.GetCurrentObject()->GetObjects(things, kThing, kParentChild);
    behaviour->calls += "project(" + NamesOf(things) + ") ";
    context.AddWarning("rules.cpp34", "mind the gap");
}

template <auto Function>
Validator::Function Calls() {
    return Validator::Function::To<Function>();
}

constexpr char kThingNote[] = "thing", kSpecialNote[] = "special", kSecondNote[] = "special2";

// Registered derived class first: the order of calls is not that of registration.
const Validator special("Test", "Special", kSpecialThing, Calls<&Noting<kSpecialNote>>());
const Validator special_too("Test", "SpecialToo", kSpecialThing, Calls<&Noting<kSecondNote>>());
const Validator failing("Test", "Failing", kThing, Calls<&Failing>());
const Validator thing("Test", "Thing", kThing, Calls<&Noting<kThingNote>>());
const Validator disabled("Test", "Disabled", kThing, Calls<&Noting<kThingNote>>(), false);
const Validator project_validator("Test", "Project", kProjectClass, Calls<&ForProject>());
const StaticRegisterValidator v1(&special), v2(&special_too), v3(&failing), v4(&thing), v5(&disabled),
    v6(&project_validator);

struct ValidationTest : HostTest {
    ValidationTest() { behaviour = &behaviour_; }
    ~ValidationTest() override { behaviour = nullptr; }

    Behaviour behaviour_;
    ValidationContext context_;
};

TEST_F(ValidationTest, RunsBaseClassValidatorsFirstThenInOrderOfRegistration) {
    ValidatorRegistry::Instance().ValidateObject(MakeThing("s", nullptr, kSpecialThing), context_);
    EXPECT_EQ(behaviour_.calls, "failing(s) thing(s) special(s) special2(s) ");
    EXPECT_EQ(context_.GetCurrentObject(), nullptr);
}

TEST_F(ValidationTest, WalksTheTreeFromParentToChildAndLeavesTheDeletedOut) {
    CScriptable& a = MakeThing("a");
    MakeThing("a1", &a);
    CScriptable& gone = MakeThing("gone");
    MakeThing("below", &gone);
    MakeThing("b");
    gone.MarkDelete(false, true);
    ValidatorRegistry::Instance().ValidateTree(Project(), context_);
    EXPECT_EQ(behaviour_.calls,
              "project(a b gone) failing(a) thing(a) failing(a1) thing(a1) failing(b) thing(b) ");
    ASSERT_EQ(context_.GetWarnings().size(), 1u);
    EXPECT_EQ(context_.GetWarnings()[0].object_handle, Project().GetHandle());
    EXPECT_TRUE(context_.GetErrors().empty());
}

TEST_F(ValidationTest, AReportSaysWhereAndWhatAndAnExceptionIsOneToo) {
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[] {}, ""},
        {[] { throw COrvRunTimeError("no interface"); }, "no interface"},
        {[] { throw std::out_of_range("index 5"); }, "validator \"Failing\" failed: index 5"},
        {[] { throw 7; }, "validator \"Failing\" failed: the integer 7"}};
    CScriptable& a = MakeThing("a");
    for (const auto& [fails, message] : cases) {
        behaviour_ = {{}, "a", fails};
        ValidationContext context;
        ValidatorRegistry::Instance().ValidateObject(a, context);
        Strings messages;
        for (const ValidationReport& report : context.GetErrors()) messages.push_back(report.message);
        EXPECT_EQ(context.GetErrors()[0].object_handle, a.GetHandle());
        EXPECT_EQ(context.GetErrors()[0].object, "Thing \"a\"");
        EXPECT_EQ(context.GetErrors()[0].source, "rules.cpp12");
        Strings expected = {"a is wrong", message, "a is wrong"};
        std::erase(expected, "");
        EXPECT_EQ(messages, expected);
        EXPECT_EQ(behaviour_.calls, "failing(a) thing(a) ");
    }
}

}  // namespace
