// The report: its statistics, and its page, which must hold what the database holds and nothing that names
// could do.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "report/mann_whitney.h"
#include "report/packed_column.h"
#include "report/page.h"
#include "run/program.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using nlohmann::json, testing::ElementsAre, testing::DoubleNear, testing::HasSubstr, testing::Not;
namespace fs = std::filesystem;

TEST(ReportStatisticsTest, MannWhitneyGivesPublishedValues) {
    const struct {
        std::vector<double> a, b;
        double u, p;
        const char* source;
    } cases[] = {
        {{19, 22, 16, 29, 24}, {20, 11, 17, 12}, 17, 0.11134688653314041, "SciPy, mannwhitneyu, asymptotic"},
        {{41, 36, 12, 18, 28, 23, 19, 8, 7, 16, 11, 14, 18, 14, 34, 6, 30, 11, 1, 11, 4, 32, 23, 45, 115, 37},
         {39, 9,  16, 78, 35, 66, 122, 89,  110, 44, 28,  65, 22,
          59, 23, 31, 44, 21, 9,  45,  168, 73,  76, 118, 84, 85},
         127.5,
         0.0001208,
         "R, wilcox.test, airquality: ties"},
        {{5, 5, 5}, {5, 5}, 3, 1, "nothing but ties"},
    };
    for (const auto& [a, b, u, p, source] : cases) {
        const auto result = orv::app::TestMannWhitney(a, b), mirrored = orv::app::TestMannWhitney(b, a);
        EXPECT_EQ(result.u, u) << source;
        EXPECT_NEAR(result.p, p, 5e-8) << source;
        EXPECT_NEAR(mirrored.p, result.p, 1e-12) << source;
    }
    // R: p.adjust(c(0.03, 0.01, 0.04, 0.02), "holm")
    EXPECT_THAT(orv::app::AdjustByHolm({0.03, 0.01, 0.04, 0.02}),
                ElementsAre(DoubleNear(0.06, 1e-12), DoubleNear(0.04, 1e-12), DoubleNear(0.06, 1e-12),
                            DoubleNear(0.06, 1e-12)));
}

TEST(ReportPageTest, ColumnsSurvivePacking) {
    std::vector<orv::app::Number> column;
    for (int i = 0; i < 9000; ++i) column.push_back(i % 7 == 0 ? orv::app::Number() : i % 300 + 0.5);
    const json packed = orv::app::PackColumn(column);
    ASSERT_TRUE(packed.is_object());
    std::string digits;
    for (char c = '#'; c <= '~'; ++c)
        digits += std::string("&<>\\").find(c) == std::string::npos ? std::string(1, c) : "";
    const std::string rows = packed["s"];
    const std::size_t width = packed["w"];
    ASSERT_EQ(rows.size(), column.size() * width);
    for (std::size_t i = 0; i < column.size(); ++i) {
        std::size_t index = 0;
        for (const char c : rows.substr(i * width, width)) index = index * digits.size() + digits.find(c);
        const json value = packed["v"][index];
        EXPECT_EQ(value.is_null() ? orv::app::Number() : value.get<double>(), column[i]);
    }
}

/// The data of a page.
json ReadPage(const std::string& page) {
    const std::string begin = "id=\"data\">";
    const std::size_t at = page.find(begin) + begin.size();
    return json::parse(page.substr(at, page.find("</script>", at) - at));
}

std::size_t CountOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

TEST(ReportPageTest, HoldsTheDatabaseAndNamesStayTexts) {
    const TemporaryFolder folder;
    const std::string hostile =
        "<img src=x onerror=alert(1)></script><!--&amp;\\\"'`${1}\xe2\x80\xa8\xe2\x80\xa9@DATA@";
    TestText text;
    text.test = {"TestName: zapping"};
    WriteFile(folder / "test.yaml", text.ToString());
    ASSERT_EQ(RunIptvtest("run test.yaml -q --db a --seed 1 --report a.html", folder.GetPath()).status, 0);
    const std::string quoted =
        "replace('" + std::string(hostile).replace(hostile.find('\''), 1, "#") + "', '#', char(39))";
    for (const char* change :
         {"UPDATE IptvStbBlockConfig SET Name = ", "UPDATE IptvStartTestCommand SET TestName = ",
          "UPDATE DataSetDescriptions SET Text = "}) {
        const std::string only =
            change[7] == 'D' ? " WHERE Name IN ('Title', 'TestFileText', 'Settings')" : "";
        Execute(folder / "a.db", (change + quoted + only).c_str());
    }
    ASSERT_EQ(RunIptvtest("report a -o a.html", folder.GetPath()).status, 0);
    const std::string page = ReadFile(folder / "a.html");
    EXPECT_EQ(CountOf(page, "</script>"), 2);
    EXPECT_THAT(page, Not(HasSubstr("<img src=x")));
    EXPECT_THAT(page, Not(HasSubstr("\xe2\x80\xa8")));
    EXPECT_THAT(page, HasSubstr("default-src 'none'"));
    EXPECT_THAT(page, HasSubstr("Released under the MIT License"));

    const json run = ReadPage(page)["runs"][0], test = run["tests"][0];
    EXPECT_EQ(run["title"], hostile);
    EXPECT_EQ(test["name"], hostile);
    EXPECT_EQ(test["verdict"], "PASSED");
    EXPECT_EQ(run["seed"], "1");
    EXPECT_EQ(run["outcome"]["clock"], "virtual");
    EXPECT_EQ(run["outcome"]["ports"].size(), 1);
    const fs::path database = folder / "a.db";
    for (const auto& [kind, table, figure] :
         {std::tuple("block", "IptvStbBlockConfig", "join latency"), {"test", "Project", "change latency"}}) {
        const auto found = std::find_if(test["kinds"].begin(), test["kinds"].end(),
                                        [kind = kind](const json& each) { return each["kind"] == kind; });
        ASSERT_NE(found, test["kinds"].end()) << kind;
        EXPECT_EQ((*found)["names"][0], hostile);
        for (const char* statistic : {"Count", "P50", "P999"}) {
            const std::string stored =
                Query(database, std::string("SELECT ") + statistic +
                                    " FROM IptvLatencyDistribution WHERE Figure = '" + figure +
                                    "' AND ParentHnd IN (SELECT Handle FROM " + table + ")");
            const double shown = (*found)["figures"][figure][statistic][0];
            EXPECT_NEAR(shown, std::stod(stored), std::stod(stored) * 1e-3) << kind << statistic;
        }
    }
    EXPECT_EQ(
        std::to_string(test["series"][0]["start"].size()),
        Query(database,
              "SELECT count(*) FROM IptvIntervalResults WHERE ParentHnd IN (SELECT Handle FROM Project)"));
}

TEST(ReportPageTest, SixteenThousandBlocksStaySmall) {
    const TemporaryFolder folder;
    WriteFile(folder / "test.yaml", TestText().ToString());
    ASSERT_EQ(RunIptvtest("run test.yaml -q --db a", folder.GetPath()).status, 0);
    Execute(folder / "a.db", R"(
        CREATE TEMP TABLE n AS WITH RECURSIVE c(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM c WHERE i < 16384) SELECT i FROM c;
        CREATE TEMP TABLE f AS SELECT column1 AS k, column2 || ' latency' AS figure FROM (VALUES (1, 'join'), (2, 'leave'),
            (3, 'change'), (4, 'gap'), (5, 'overlap'), (6, 'unicast join'), (7, 'retransmission'));
        INSERT INTO IptvStbBlockConfig(Handle, DataSetId, Name) SELECT 1000000 + i, 1, 'A block with a longer name ' || i FROM n;
        INSERT INTO IptvStbBlockResults(Handle, ParentHnd, DataSetId, NumOfChannelChanges, JoinFails, UnicastJoinFails,
            TotalPkts, DroppedFrameCount, DroppedUnicastFrameCount)
            SELECT 2000000 + i, 1000000 + i, 1, i % 977, i % 7, 0, i * 7919 % 1000003, i % 11, 0 FROM n;
        INSERT INTO IptvLatencyDistribution(Handle, ParentHnd, DataSetId, Figure, Count, Min, Mean, Max, P50, P90, P95, P99,
            P999, Buckets) SELECT 3000000 + i * 10 + k, 1000000 + i, 1, figure, i % 501, abs(random() % 1000) / 7.0,
            abs(random() % 10000) / 7.0, abs(random() % 10000) / 7.0, abs(random() % 10000) / 7.0, abs(random() % 10000) / 7.0,
            abs(random() % 10000) / 7.0, abs(random() % 10000) / 7.0, abs(random() % 10000) / 7.0,
            '[[640,7],[641,8],[642,100],[643,100],[644,50],[645,20],[900,1]]' FROM n, f)");
    const std::string page = orv::app::MakeReport({folder / "a.db"});
    EXPECT_LT(page.size(), 3'000'000);
    const json test = ReadPage(page)["runs"][0]["tests"][0];
    for (const json& kind : test["kinds"]) {
        if (kind["kind"] == "block") {
            EXPECT_EQ(kind["names"]["front"].size(), 16384 + 1);
        }
    }
    // Only some histograms fit.
    EXPECT_GT(test["histograms"]["block"].size(), 100);
}

TEST(ReportPageTest, DifferencesBeyondNoiseAreToldFromNoise) {
    const TemporaryFolder folder;
    TestText text;
    text.seconds = 40;
    text.stbs = 20;
    const auto run = [&](const std::string& name, const char* delay, const std::string& options) {
        text.network = {"join_delay: {normal: [" + std::string(delay) + ", 5]}"};
        WriteFile(folder / (name + ".yaml"), text.ToString());
        const std::string command = "run " + name + ".yaml -q --db " + name + options;
        ASSERT_EQ(RunIptvtest(command, folder.GetPath()).status, 0) << command;
    };
    run("first", "40", " --seed 1");
    run("same", "40", " --seed 2");
    run("more", "44", " --seed 3");
    text.seconds = 5;
    run("short", "40", " --seed 4");
    for (const auto& [other, expected] :
         {std::pair("same", "no difference"), {"more", "different"}, {"short", "too few intervals"}}) {
        const json data =
            ReadPage(orv::app::MakeReport({folder / "first.db", folder / (std::string(other) + ".db")}));
        for (const json& figure : data["comparison"]["pairs"][0]["figures"]) {
            if (figure["figure"] == "Join latency, mean") {
                EXPECT_EQ(figure["result"], expected) << other;
            }
            if (figure["figure"] == "Retransmission latency, mean") {
                EXPECT_EQ(figure["result"], "not measured");
            }
            EXPECT_EQ(figure.contains("p"),
                      figure["result"] == "different" || figure["result"] == "no difference");
        }
    }
}

TEST(ReportPageTest, RefusesWhatIsNoDatabaseAndOverwritesNone) {
    const TemporaryFolder folder;
    WriteFile(folder / "test.yaml", TestText().ToString());
    ASSERT_EQ(RunIptvtest("run test.yaml -q --db a", folder.GetPath()).status, 0);
    const struct {
        const char* arguments;
        int status;
        const char* problem;
    } cases[] = {{"report a -o a.db", 2, "a.db cannot be written: it is a database"},
                 {"report none -o x.html", 2, "there is no such file"},
                 {"report a -o /dev/full", 3, "cannot be written"},
                 {"report a --data-set 9 -o x.html", 2, "has no data set 9"},
                 {"run test.yaml -q --db b --report b.db", 2, "--report"},
                 {"run test.yaml -q --db b --report /dev/full --junit b.xml", 3, "--report: /dev/full"},
                 {"report a -o b.db", 2, "b.db cannot be written: it is a database"}};
    for (const auto& [arguments, status, problem] : cases) {
        const ProgramRun run = RunIptvtest(arguments, folder.GetPath());
        EXPECT_EQ(run.status, status) << arguments;
        EXPECT_THAT(run.err, HasSubstr(problem));
    }
    // All that a run says agrees.
    EXPECT_THAT(ReadFile(folder / "b.xml"), HasSubstr("--report: /dev/full"));
    EXPECT_EQ(Query(folder / "b.db", "SELECT Text FROM DataSetDescriptions WHERE Name = 'Outcome'"),
              "run-time failure");
    EXPECT_THAT(Query(folder / "b.db", "SELECT Text FROM DataSetDescriptions WHERE Name = 'OutcomeDetails'"),
                HasSubstr("--report: /dev/full"));
}

}  // namespace
