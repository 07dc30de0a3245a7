// Where the results of an iteration go.
#include "orv/framework/sequencer.h"
#include "results_fixture.h"

namespace host_test {
namespace {

class IterationTest : public ResultsTest {
  protected:
    CCommand& MakeWrite(CScriptable& parent, const std::string& type) {
        auto& write = dynamic_cast<CCommand&>(MakeByName("EOTResultsWriteIterationCommand", &parent));
        write.Set("TestType", type);
        return write;
    }
};

TEST_F(IterationTest, IsThatOfTheLoop) {
    auto& loop = Make<CSequencerLoopCommand>();
    loop.Set(ids::SequencerLoopCommand::CurrentIteration, 3u);
    auto& in_loop = MakeWrite(loop, "Video");
    auto& alone = MakeWrite(Project(), "");
    alone.Set("EnableDetailedResultsCollection", "false");
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
        EXPECT_TRUE(core::COrvSystem::Instance().GetObjects("EotResultNode", kParentChild).empty());
    }
}

TEST_F(IterationTest, WhatCannotBeWrittenIsSaidAndStopsNothing) {
    auto& write = MakeWrite(Project(), "Video");
    write.Execute(false);
    EXPECT_EQ(write.GetStatus(), "there are no results to write");
    Begin("test", folder_ / "tests/test");
    Manager().Finalise();
    fs::remove_all(folder_ / "tests");
    folder_.Write("tests", "no folder");
    setenv("TMPDIR", (folder_ / "").c_str(), 1);  // where the results go instead
    write.Execute(false);
    unsetenv("TMPDIR");
    EXPECT_EQ(write.GetCommandState(), CCommand::COMMAND_COMPLETED);
    EXPECT_THAT(write.GetStatus(), HasSubstr(folder_ / "tests/Video-Iter-1"));
    EXPECT_EQ(Manager().GetIterationNumber(), 0);
    EXPECT_TRUE(core::COrvSystem::Instance().GetObjects("EotResultNode", kParentChild).empty());
    manager_.reset();
    write.Execute(false);
    EXPECT_EQ(write.GetStatus(), "no results are kept");
}

}  // namespace
}  // namespace host_test
