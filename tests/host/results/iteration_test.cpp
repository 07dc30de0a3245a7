// Where the results of an iteration go.
#include <fstream>

#include "orv/framework/sequencer.h"
#include "results_fixture.h"

namespace results_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class IterationTest : public ResultsTest {
  protected:
    CCommand& MakeWrite(CScriptable& parent, const std::string& type) {
        auto* object = CScriptableCreator().Create("EOTResultsWriteIterationCommand", &parent);
        object->Set("TestType", type);
        return dynamic_cast<CCommand&>(*object);
    }
};

TEST_F(IterationTest, IsThatOfTheLoop) {
    auto& loop = CScriptableCreator().Make<CSequencerLoopCommand>(&Project());
    loop.Set(ids::SequencerLoopCommand::CurrentIteration, 3u);
    auto& in_loop = MakeWrite(loop, "Video");
    auto& alone = MakeWrite(Project(), "");
    alone.Set("EnableDetailedResultsCollection", std::string("false"));
    const struct {
        CCommand& write;
        const char* file;
        const char* configuration;
    } cases[] = {
        {in_loop, "Video-Iter-3/Video-Iter-3.db", "1"},
        {in_loop, "Video-Iter-3-2/Video-Iter-3.db", "1"},
        {alone, "Test-Iter-1/Test-Iter-1.db", "0"},
    };
    for (const auto& wanted : cases) {
        Begin();
        Manager().Finalise();
        wanted.write.Execute(false);
        EXPECT_EQ(wanted.write.GetStatus(), "");
        EXPECT_EQ(Manager().GetDatabasePath(), folder_ / wanted.file);
        EXPECT_EQ(Manager().GetIterationNumber(), 0) << "the next test is none";
        EXPECT_FALSE(Manager().MustFinalise());
        const Reader reader(folder_ / wanted.file);
        EXPECT_EQ(reader.Get("SELECT count(*) FROM Project"), wanted.configuration);
        EXPECT_EQ(reader.Get("SELECT Iteration FROM DataSets"), wanted.file[0] == 'V' ? "3" : "1");
        // What was written are not the results of another test.
        wanted.write.Execute(false);
        EXPECT_EQ(wanted.write.GetStatus(), "there are no results to write");
        EXPECT_EQ(Manager().GetDatabasePath(), folder_ / wanted.file);
        EXPECT_TRUE(core::COrvSystem::Instance().GetObjects("EotResultNode", common::kParentChild).empty());
    }
}

TEST_F(IterationTest, WithoutResultsThereIsNothingToWrite) {
    auto& write = MakeWrite(Project(), "Video");
    write.Execute(false);
    EXPECT_EQ(write.GetStatus(), "there are no results to write");
    manager_.reset();
    write.Execute(false);
    EXPECT_EQ(write.GetStatus(), "no results are kept");
    EXPECT_THAT(folder_.List(), ElementsAre());
}

TEST_F(IterationTest, WhatCannotBeWrittenIsSaidAndStopsNothing) {
    auto& write = MakeWrite(Project(), "Video");
    const fs::path beside = folder_ / "tests";
    Begin("test", (beside / "test").string());
    Manager().Finalise();
    fs::remove_all(beside);
    std::ofstream(beside) << "no folder";
    setenv("TMPDIR", (folder_ / "").c_str(), 1);  // where the results go instead
    write.Execute(false);
    unsetenv("TMPDIR");
    EXPECT_EQ(write.GetCommandState(), CCommand::COMMAND_COMPLETED);
    EXPECT_THAT(write.GetStatus(), HasSubstr((beside / "Video-Iter-1").string()));
    EXPECT_EQ(Manager().GetIterationNumber(), 0);
    EXPECT_TRUE(core::COrvSystem::Instance().GetObjects("EotResultNode", common::kParentChild).empty());
}

}  // namespace
}  // namespace results_test
