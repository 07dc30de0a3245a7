// The tree of views that a test leaves in its database: every query runs on the file as it stands.
#include <algorithm>
#include <fstream>
#include <map>

#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct Case {
    iptv::TestKind kind;
    bool ipv4;
    bool ipv6;
    bool rows;
};

std::vector<Case> AllCases() {
    std::vector<Case> cases;
    for (std::uint8_t type = 0; type < 5; ++type) {
        for (std::uint8_t trigger = 0; trigger < 2; ++trigger) {
            for (const auto& [v4, v6] : {std::pair{true, false}, {false, true}, {true, true}}) {
                for (const bool rows : {false, true}) cases.push_back({{type, trigger}, v4, v6, rows});
            }
        }
    }
    return cases;
}

/// Zapping and verification, fast channel change, and the two with retransmission; with the S-bit as trigger
/// of the multicast join or without.
bool HasRetransmission(const iptv::TestKind& kind) {
    return kind.type == 3 || kind.type == 4;
}
std::string NameOf(const iptv::TestKind& kind) {
    if (kind.type < 2) return "multicast";
    return std::string(HasRetransmission(kind) ? "retransmission" : "unicast") +
           (kind.mcast_join_trigger == 1 ? " S-bit" : "");
}

/// "title <- column" of what a query selects.
std::vector<std::string> GetColumns(const std::string& sql) {
    constexpr std::string_view begin = "SELECT ";
    std::string rest = sql.substr(begin.size(), sql.find(" FROM ") - begin.size());
    std::vector<std::string> columns;
    for (std::size_t end = 0; end != std::string::npos; rest.erase(0, end + 2)) {
        end = rest.find("', ");
        const std::string piece = rest.substr(0, end);
        const std::size_t as = piece.find(" as '");
        const std::size_t title = as + 5;
        columns.push_back(piece.substr(title, piece.find('\'', title) - title) + " <- " +
                          piece.substr(0, as));
        if (end != std::string::npos) ++end;
    }
    return columns;
}

/// Whether a kind of test has what view_columns.txt says of a column: "S-bit", "in Channel Result, ...".
bool Fits(const std::string& kind, const std::string& view, const std::string& condition) {
    if (condition.starts_with("in ")) return condition.find(view) != std::string::npos;
    if (condition == "unicast") return kind != "multicast";
    if (condition == "S-bit") return kind.ends_with("S-bit");
    if (condition == "no S-bit") return kind != "multicast" && !kind.ends_with("S-bit");
    return kind.starts_with(condition);
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    return parts;
}

/// What every view selects by kind of test ("unicast: Port Config"), as written down in view_columns.txt: a
/// line for views that share their columns, and one for each column with the conditions under which it is
/// shown.
const std::map<std::string, std::vector<std::string>>& Columns() {
    static const auto columns = [] {
        std::map<std::string, std::vector<std::string>> all;
        std::ifstream file(VIEW_COLUMNS);
        std::vector<std::string> views;
        for (std::string line; std::getline(file, line);) {
            const bool is_column = line.starts_with("  ");
            const std::vector<std::string> parts = Split(line, is_column ? " | " : ", ");
            if (!is_column) {
                views = parts;
                continue;
            }
            for (const std::string& view : views) {
                for (const char* kind :
                     {"multicast", "unicast", "unicast S-bit", "retransmission", "retransmission S-bit"}) {
                    const auto fits = [&](const std::string& text) { return Fits(kind, view, text); };
                    if (std::all_of(parts.begin() + 1, parts.end(), fits))
                        all[std::string(kind) + ": " + view].push_back(parts[0].substr(2));
                }
            }
        }
        return all;
    }();
    return columns;
}

class ViewsTest : public ResultsTest, public testing::WithParamInterface<Case> {
  protected:
    /// Names of the nodes below one, in order, each with its own ones: "Port Config(Port Result)".
    static std::vector<std::string> Below(const Reader& reader, const std::string& handle) {
        std::vector<std::string> names;
        const Table nodes = reader.Query(
            "SELECT Handle, Name FROM EotResultNode WHERE DataSetId = @DataSetId AND "
            "ParentHnd = " +
            handle + " ORDER BY Handle");
        for (const auto& node : nodes.rows) {
            const auto below = Below(reader, node[0]);
            names.push_back(below.empty() ? node[1] : node[1] + "(" + below[0] + ")");
        }
        return names;
    }

    std::vector<std::string> ExpectedTree() const {
        const Case& test = GetParam();
        std::vector<std::string> tree{"Port Config(Port Result)"};
        if (test.ipv4) tree.emplace_back("IPV4 STB Config(IPV4 STB Result)");
        if (test.ipv6) tree.emplace_back("IPV6 STB Config(IPV6 STB Result)");
        tree.emplace_back("Channel Config(Channel Result)");
        tree.emplace_back("Profile Config(Profile Result)");
        if (test.rows) tree.emplace_back("Event Result");
        if (test.rows && HasRetransmission(test.kind)) tree.emplace_back("RRR Event Result");
        if (test.rows) tree.emplace_back("Test Result Detailed Template View");
        tree.emplace_back("Test Result Summary Template View");
        return tree;
    }

    void RunTest() {
        const Case& test = GetParam();
        for (iptv::CIptvStbBlockConfig* block : {&a, &b})
            block->Set(ids::IptvStbBlockConfig::SaveTimeStamps, test.rows);
        Start(test.kind, 50);
        std::vector<stblock_event_s> blocks;
        if (test.ipv4) blocks.push_back(EventsOf(a, {MakeView(1, 2, 0), MakeView(2, 7, 0)}));
        if (test.ipv6) blocks.push_back(EventsOf(b, {MakeView(1, 12, 0)}));
        for (stblock_event_s& block : blocks) {
            iptvcd_1_bll::stbox_event_rrr_s retransmission;
            retransmission.settop_index = 1;
            retransmission.viewed_channel = block.events[0].viewed_channel;
            retransmission.nack_pkt_tx_ts = kMs;
            retransmission.last_retrans_rtp_pkt_rx_ts = 4 * kMs;
            if (HasRetransmission(test.kind)) block.rrr_events.push_back(retransmission);
        }
        Manager().BinManager(blocks);
        Manager().FinalProcessing();
    }
};

TEST_P(ViewsTest, TheTreeHasEveryViewAndEveryQueryRuns) {
    RunTest();
    const Reader reader(DatabasePath());
    const std::string root = reader.Get("SELECT RootNode FROM DataSets WHERE DataSetId = @DataSetId");
    EXPECT_EQ(reader.Get("SELECT Name FROM EotResultNode WHERE Handle = " + root), "IPTV Test Summary");
    EXPECT_THAT(Below(reader, root), ElementsAreArray(ExpectedTree()));

    const Case& test = GetParam();
    const int blocks = test.ipv4 + test.ipv6;
    const int views = 2 * test.ipv4 + test.ipv6;
    const std::map<std::string, int> rows{{"IPTV Test Summary", 1},       {"Port Config", 2},
                                          {"Port Result", blocks},        {"IPV4 STB Config", 1},
                                          {"IPV4 STB Result", test.ipv4}, {"IPV6 STB Config", 1},
                                          {"IPV6 STB Result", test.ipv6}, {"Channel Config", 3},
                                          {"Channel Result", views},      {"Profile Config", 1},
                                          {"Profile Result", 1},          {"Event Result", views},
                                          {"RRR Event Result", blocks}};
    const Table definitions = reader.Query(
        "SELECT d.Name, d.SqlCommand, d.ResultViewType, n.ParameterNames, n.ParameterValues FROM "
        "EotResultNode n, EotResultViewDefinition d WHERE n.ViewDefinition = d.Handle AND "
        "n.DataSetId = @DataSetId AND d.DataSetId = @DataSetId");
    EXPECT_GT(definitions.rows.size(), 8u);
    for (const auto& definition : definitions.rows) {
        EXPECT_EQ(definition[3] + "=" + definition[4], "@DataSetId=1");
        if (definition[2] == "EXTERNAL_REPORT") {
            EXPECT_EQ(definition[1], "");
            continue;
        }
        SCOPED_TRACE(definition[0]);
        const Table table = reader.Query(definition[1]);
        const auto expected = Columns().find(NameOf(test.kind) + ": " + definition[0]);
        ASSERT_NE(expected, Columns().end());
        EXPECT_THAT(GetColumns(definition[1]), ElementsAreArray(expected->second));
        EXPECT_EQ(table.titles.size(), expected->second.size());
        EXPECT_EQ(static_cast<int>(table.rows.size()), rows.at(definition[0]));
    }
}

INSTANTIATE_TEST_SUITE_P(AllTests, ViewsTest, testing::ValuesIn(AllCases()));

TEST(Templates, NameNodesOfTheTree) {
    for (const char* name : {"IptvAggregateResultsTemplate", "IptvSetTopBoxAndIndividualChannelResults"}) {
        std::ifstream file(std::string(TEMPLATES) + "/" + name + ".rtp");
        int nodes = 0;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("#") || line.starts_with("=")) continue;
            EXPECT_TRUE(Columns().contains("retransmission: " + line)) << name << ": " << line;
            ++nodes;
        }
        EXPECT_GT(nodes, 3) << name;
    }
}

class SavedResultsTest : public ResultsTest {};

TEST_F(SavedResultsTest, RowsAreStoredWhenEnoughArePending) {
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    Start();
    const auto pending = [this] {
        framework::ScriptableVec rows;
        a.GetObjects(rows, ids::IptvEventResults::CLASS, common::kParentChild);
        return rows.size();
    };
    const auto report = [this](int views) {
        Manager().BinManager(
            {EventsOf(a, std::vector<stbox_event_s>(static_cast<std::size_t>(views), MakeView(1, 2, 0)))});
    };
    report(399);
    EXPECT_EQ(pending(), 399u);
    report(1);
    EXPECT_EQ(pending(), 0u) << "200 for each of two ports";
    report(1000);
    EXPECT_EQ(pending(), 200u) << "within one report, too";
    Manager().FinalProcessing();
    EXPECT_EQ(pending(), 0u);
    EXPECT_EQ(Reader(DatabasePath()).Get("SELECT count(*) FROM IptvEventResults"), "1400");
    for (const auto& [ports, limit] : {std::pair{0u, 0u}, {3u, 600u}, {20u, 4000u}, {25u, 4000u}}) {
        Manager().SetPortCount(ports);
        EXPECT_EQ(Manager().GetRowLimit(), limit);
    }
}

TEST_F(SavedResultsTest, AFailedTestMarksItsNode) {
    Start({}, 0);
    auto failed = MakeView(1, 2, 0);
    failed.first_mcast_pkt_ts = 0;
    Manager().BinManager({EventsOf(a, {failed, MakeView(2, 2, 0)})});
    Manager().FinalProcessing();
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT Status FROM EotResultNode WHERE Name = 'IPTV Test Summary'"), "2");
    EXPECT_EQ(reader.Get("SELECT TestResult FROM IptvTestResults"), "0");
}

TEST_F(SavedResultsTest, WithoutManagerTheTestEndsAllTheSame) {
    Start();
    manager_db.reset();
    Manager().FinalProcessing();
    EXPECT_FALSE(iptv::CIptvResultsManager::IsTestRunning());
}

}  // namespace
