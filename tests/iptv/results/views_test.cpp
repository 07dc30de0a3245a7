// The tree of views that a test leaves in its database: every query runs on the file as it stands.
#include <algorithm>
#include <fstream>

#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test

const auto HasRetransmission = [](const iptv::TestKind& kind) { return kind.type == 3 || kind.type == 4; };
/// Zapping and verification, fast channel change, and the two with retransmission; with the S-bit as trigger
/// of the multicast join or without.
std::string NameOf(const iptv::TestKind& kind) {
    if (kind.type < 2) return "multicast";
    return std::string(HasRetransmission(kind) ? "retransmission" : "unicast") +
           (kind.mcast_join_trigger == 1 ? " S-bit" : "");
}

Texts Split(const std::string& text, const std::string& separator) {
    Texts parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    return parts;
}

/// "title <- column" of what a query selects.
Texts GetColumns(const std::string& sql) {
    constexpr std::size_t begin = std::string_view("SELECT ").size();
    Texts columns;
    for (const std::string& piece : Split(sql.substr(begin, sql.find("' FROM ") - begin), "', ")) {
        const Texts parts = Split(piece, " as '");
        columns.push_back(parts.at(1) + " <- " + parts[0]);
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

/// What a view selects for a kind of test, as written down in view_columns.txt: a line for views that share
/// their columns, and one for each column with the conditions under which it is shown.
Texts WantedColumns(const std::string& kind, const std::string& wanted_view) {
    std::ifstream file(VIEW_COLUMNS);
    Texts views, columns;
    for (std::string line; std::getline(file, line);) {
        const bool is_column = line.starts_with("  ");
        const Texts parts = Split(line, is_column ? " | " : ", ");
        if (!is_column) views = parts;
        const auto fits = [&](const std::string& text) { return Fits(kind, wanted_view, text); };
        if (is_column && std::find(views.begin(), views.end(), wanted_view) != views.end() &&
            std::all_of(parts.begin() + 1, parts.end(), fits))
            columns.push_back(parts[0].substr(2));
    }
    return columns;
}

/// Names of the nodes below one, in order, each with its own ones: "Port Config(Port Result)".
Texts Below(const Reader& reader, const std::string& handle) {
    Texts names;
    for (const auto& node : reader.Query(
             "SELECT Handle, Name FROM EotResultNode WHERE DataSetId = @DataSetId AND ParentHnd = " + handle +
             " ORDER BY Handle")) {
        const Texts below = Below(reader, node[0]);
        names.push_back(below.empty() ? node[1] : node[1] + "(" + below[0] + ")");
    }
    return names;
}

/// Type of test, join trigger, IP versions (1: IPv4, 2: IPv6, 3: both), and whether there are rows of views.
using Case = std::tuple<int, int, int, bool>;
class ViewsTest : public ResultsTest, public testing::WithParamInterface<Case> {};

TEST_P(ViewsTest, TheTreeHasEveryViewAndEveryQueryRuns) {
    const auto [type, trigger, versions, has_rows] = GetParam();
    const iptv::TestKind kind{static_cast<std::uint8_t>(type), static_cast<std::uint8_t>(trigger)};
    const bool ipv4 = (versions & 1) != 0, ipv6 = (versions & 2) != 0;
    for (auto* block : {&a, &b}) block->Set(ids::IptvStbBlockConfig::SaveTimeStamps, has_rows);
    Start(kind, 50);
    std::vector<stblock_event_s> reported;
    if (ipv4) reported.push_back(EventsOf(a, {MakeView(1, 2), MakeView(2, 7)}));
    if (ipv6) reported.push_back(EventsOf(b, {MakeView(1, 12)}));
    for (stblock_event_s& block : reported) {
        iptvcd_1_bll::stbox_event_rrr_s retransmission;
        retransmission.settop_index = 1;
        retransmission.viewed_channel = block.events[0].viewed_channel;
        retransmission.nack_pkt_tx_ts = kMs;
        retransmission.last_retrans_rtp_pkt_rx_ts = 4 * kMs;
        if (HasRetransmission(kind)) block.rrr_events.push_back(retransmission);
    }
    Manager().BinManager(reported);
    Manager().FinalProcessing();

    Texts tree{"Port Config(Port Result)"};
    if (ipv4) tree.emplace_back("IPV4 STB Config(IPV4 STB Result)");
    if (ipv6) tree.emplace_back("IPV6 STB Config(IPV6 STB Result)");
    tree.insert(tree.end(), {"Channel Config(Channel Result)", "Profile Config(Profile Result)"});
    if (has_rows) tree.emplace_back("Event Result");
    if (has_rows && HasRetransmission(kind)) tree.emplace_back("RRR Event Result");
    if (has_rows) tree.emplace_back("Test Result Detailed Template View");
    tree.emplace_back("Test Result Summary Template View");
    const Reader reader(DatabasePath());
    const std::string root = reader.Get("SELECT RootNode FROM DataSets WHERE DataSetId = @DataSetId");
    EXPECT_EQ(reader.Get("SELECT Name FROM EotResultNode WHERE Handle = " + root), "IPTV Test Summary");
    EXPECT_EQ(Below(reader, root), tree);

    const int blocks = ipv4 + ipv6, views = 2 * ipv4 + ipv6;
    const std::map<std::string, int> rows{
        {"IPTV Test Summary", 1},    {"Port Config", 2},        {"Port Result", blocks},
        {"IPV4 STB Config", 1},      {"IPV4 STB Result", ipv4}, {"IPV6 STB Config", 1},
        {"IPV6 STB Result", ipv6},   {"Channel Config", 3},     {"Channel Result", views},
        {"Profile Config", 1},       {"Profile Result", 1},     {"Event Result", views},
        {"RRR Event Result", blocks}};
    for (const auto& view :
         reader.Query("SELECT d.Name, d.SqlCommand, d.ResultViewType, n.ParameterNames, n.ParameterValues "
                      "FROM EotResultNode n, EotResultViewDefinition d WHERE n.ViewDefinition = d.Handle AND "
                      "n.DataSetId = @DataSetId AND d.DataSetId = @DataSetId")) {
        SCOPED_TRACE(view[0]);
        EXPECT_EQ(view[3] + "=" + view[4], "@DataSetId=1");
        EXPECT_EQ(view[2] == "EXTERNAL_REPORT", view[1].empty());
        if (view[1].empty()) continue;
        EXPECT_EQ(GetColumns(view[1]), WantedColumns(NameOf(kind), view[0]));
        EXPECT_EQ(static_cast<int>(reader.Query(view[1]).size()), rows.at(view[0]));
    }
}

INSTANTIATE_TEST_SUITE_P(AllTests, ViewsTest,
                         testing::Combine(testing::Range(0, 5), testing::Range(0, 2), testing::Range(1, 4),
                                          testing::Bool()));

TEST(Templates, NameNodesOfTheTree) {
    for (const char* name : {"IptvAggregateResultsTemplate", "IptvSetTopBoxAndIndividualChannelResults"}) {
        std::ifstream file(std::string(TEMPLATES) + "/" + name + ".rtp");
        int nodes = 0;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("#") || line.starts_with("=")) continue;
            EXPECT_THAT(WantedColumns("retransmission", line), testing::Not(IsEmpty()))
                << name << ": " << line;
            ++nodes;
        }
        EXPECT_GT(nodes, 3) << name;
    }
}

}  // namespace
