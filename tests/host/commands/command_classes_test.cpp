#include <gmock/gmock.h>

#include "host/host_fixture.h"
#include "orv/core/orv_system.h"
#include "orv/framework/command.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"
#include "thrown.h"

namespace host_test {

using testing_aids::ThrownBy;

namespace {

namespace ids = orv::ids;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class CommandClassesTest : public HostTest {
  protected:
    ScriptableVec UsedBy(const CScriptable& thing) {
        ScriptableVec used;
        thing.GetObjects(used, kThing, kUses);
        return used;
    }
};

TEST_F(CommandClassesTest, ApplySettlesTheProjectWhereverTheCommandStands) {
    CScriptable* const parents[] = {&Project(), &orv::core::COrvSystem::Instance(), nullptr};
    for (CScriptable* parent : parents) {
        CScriptable& thing = MakeThing("a");
        auto& apply = CScriptableCreator().Make<CApplyToILCommand>(parent);
        apply.Execute(false);
        EXPECT_EQ(thing.GetObjectState(), CScriptable::STATE_UNCHANGED);
        if (!parent) ReleaseScriptable(&apply);
    }
}

TEST_F(CommandClassesTest, SetRelativesReplacesOrAppends) {
    CScriptable& hub = MakeThing("hub");
    CScriptable& a = MakeThing("a");
    CScriptable& b = MakeThing("b");
    CScriptable& c = MakeThing("c");
    auto& command = CScriptableCreator().Make<CSetRelativesCommand>(&Project());
    const auto run = [&](const std::string& relation, const std::vector<CScriptable*>& relatives,
                         bool append) {
        std::vector<std::uint32_t> handles;
        for (const CScriptable* relative : relatives) handles.push_back(relative->GetHandle());
        command.Set(ids::SetRelativesCommand::SrcObjectHandle, hub.GetHandle());
        command.Set(ids::SetRelativesCommand::RelationName, relation);
        command.SetCollection(ids::SetRelativesCommand::RelativeList, handles);
        command.Set(ids::SetRelativesCommand::Append, append);
        command.Execute(false);
    };
    run("ThingUses", {&a, &b}, false);
    EXPECT_THAT(UsedBy(hub), ElementsAre(&a, &b));
    run("ThingUses-Targets", {&b, &c}, true);
    EXPECT_THAT(UsedBy(hub), ElementsAre(&a, &b, &c));
    run("thinguses", {&c}, false);
    EXPECT_THAT(UsedBy(hub), ElementsAre(&c));
    run("ThingUses-Sources", {&a}, false);
    EXPECT_THAT(UsedBy(a), ElementsAre(&hub));

    EXPECT_THAT(ThrownBy<COrvRunTimeError>([&] { run("Nonsense", {&a}, false); }),
                HasSubstr("there is no relation \"Nonsense\""));
    EXPECT_THAT(ThrownBy<COrvRunTimeError>([&] { run("ThingUses", {&Project()}, true); }),
                HasSubstr("is not part of the data model"));
    command.SetCollection<std::uint32_t>(ids::SetRelativesCommand::RelativeList, {a.GetHandle(), 999999});
    EXPECT_THAT(ThrownBy<COrvRunTimeError>([&] { command.Execute(false); }),
                HasSubstr("RelativeList: 999999 names no object"));
    command.Set(ids::SetRelativesCommand::SrcObjectHandle, std::uint32_t{0});
    EXPECT_THAT(ThrownBy<COrvRunTimeError>([&] { command.Execute(false); }),
                HasSubstr("SrcObjectHandle 0 names no object"));
    EXPECT_THAT(UsedBy(hub), ElementsAre(&c));
}

TEST_F(CommandClassesTest, WaitTakesItsTimeUnlessItIsCancelled) {
    auto& tasks = CTaskManager::Instance();
    auto& wait = CScriptableCreator().Make<CWaitCommand>(&Project());
    wait.Set(ids::WaitCommand::WaitTime, std::uint32_t{90});
    const auto start = tasks.GetNow();
    wait.Execute(false);
    EXPECT_EQ(tasks.GetNow() - start, std::chrono::seconds(90));
    EXPECT_EQ(wait.GetCommandState(), CCommand::COMMAND_COMPLETED);
    tasks.PostAfter(std::chrono::seconds(7), [&wait] { wait.Cancel(); });
    wait.Execute(false);
    EXPECT_EQ(tasks.GetNow() - start, std::chrono::seconds(97));
    EXPECT_EQ(wait.GetCommandState(), CCommand::COMMAND_CANCELLED);
}

}  // namespace
}  // namespace host_test
