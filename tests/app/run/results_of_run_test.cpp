// The results of a run in its database, as `iptvtest results` shows it.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "program.h"
#include "test_text.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;

/// The data sets of a database.
json List(const std::filesystem::path& database) {
    return json::parse(RunIptvtest("results " + database.string() + " --json").out)["data_sets"];
}

TEST(ResultsOfRunTest, ARunIsRepeatedFromItsDatabase) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml", again = folder / "again.yaml";
    const std::string database = (folder / "first").string(), repeated = (folder / "second.db").string();
    WriteFile(file, TestText{.network = {"join_delay: 37"}}.ToString());
    const auto run = [](const auto& path, const std::string& to) {
        return RunIptvtest(fmt::format("run {} --seed 6 --set Boxes/SaveTimeStamps=true --quiet --db {}",
                                       path.string(), to))
            .status;
    };
    const int status = run(file, database);
    const json first = List(database)[0];
    EXPECT_EQ(first["verdict"], status == 0 ? "PASSED" : "FAILED");
    EXPECT_EQ(first["outcome"], status == 0 ? "passed" : "failed");
    EXPECT_EQ(first["test_file"], file.string());
    EXPECT_EQ(first["seed"], 6);
    EXPECT_EQ(first["settings"], "--set Boxes/SaveTimeStamps=true");
    EXPECT_EQ(fmt::format("iptvtest {}", first["version"].get<std::string>()),
              RunIptvtest("version").out.substr(0, RunIptvtest("version").out.find('\n')));

    WriteFile(again, RunIptvtest("results " + database + " --test-file").out);
    EXPECT_EQ(ReadFile(again), ReadFile(file));
    EXPECT_EQ(run(again, repeated), status);
    EXPECT_EQ(FirstDifference(DumpDatabase(database + ".db"), DumpDatabase(repeated)), "");
    EXPECT_THAT(RunIptvtest("results " + database + " 'Port Result' --csv --columns 'port name'").out,
                "Port Name\r\nViewers\r\n");
    EXPECT_THAT(RunIptvtest("results " + database + " --data-set 0").err,
                HasSubstr("--data-set: 0 is no number of a data set, a whole number from 1"));
}

TEST(ResultsOfRunTest, WhatCannotBeWrittenIsFoundWhereTheRunSays) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml", database = folder / "r.db";
    WriteFile(file, TestText{}.ToString());
    const std::string command = "run " + file.string() + " --json --db " + database.string();
    ASSERT_EQ(RunIptvtest(command).status, 0);
    sqlite3* reader = nullptr;
    sqlite3_open(database.c_str(), &reader);
    sqlite3_exec(reader, "BEGIN; SELECT * FROM Port", nullptr, nullptr, nullptr);
    const ProgramRun run = RunIptvtest(command);
    sqlite3_close(reader);
    EXPECT_EQ(run.status, 3);
    const std::string other = json::parse(run.out)["database"];
    EXPECT_EQ(other, (folder / "r.recovered-1.db").string());
    EXPECT_THAT(run.err,
                AllOf(HasSubstr("results cannot be written to " + database.string()), HasSubstr(other)));
    EXPECT_EQ(List(other)[0]["verdict"], "not finished: run-time failure");
    EXPECT_THAT(RunIptvtest("results " + other + " 'Channel Result' --csv").out, HasSubstr("VC Config Name"));
    EXPECT_EQ(List(database).size(), 1U);
}

TEST(ResultsOfRunTest, AfterAKillTheRowsThatAreThereAreShown) {
    const TemporaryFolder folder;
    const auto file = folder / "test.yaml";
    const std::string database = (folder / "r.db").string();
    WriteFile(file, TestText{.seconds = 36000, .stbs = 200, .block = {"SaveTimeStamps: true"}}.ToString());
    std::system(
        fmt::format("timeout -s KILL 4 {} run {} --quiet --db {}", PROGRAM_PATH, file.string(), database)
            .c_str());
    const ProgramRun tree = RunIptvtest("results " + database);
    EXPECT_THAT(tree.out, AllOf(HasSubstr("not finished"), HasSubstr("IptvEventResults")));
    EXPECT_THAT(
        RunIptvtest("results " + database + " IptvEventResults --csv --limit 1 --columns 'belongs to'").out,
        "Belongs to\r\nBoxes\r\n");
}

}  // namespace
