#include "program.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

namespace testing_aids {

namespace {

using Row = std::vector<std::pair<std::string, std::string>>;  ///< column, value

std::vector<Row> ReadRows(const std::filesystem::path& path, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> guard(database, &sqlite3_close);
    std::vector<Row> rows;
    const auto add = [](void* to, int count, char** values, char** names) {
        Row& row = static_cast<std::vector<Row>*>(to)->emplace_back();
        for (int i = 0; i < count; ++i) row.emplace_back(names[i], values[i] ? values[i] : "NULL");
        return 0;
    };
    if (sqlite3_exec(database, sql.c_str(), add, &rows, nullptr) != SQLITE_OK)
        throw std::runtime_error(sql + ": " + sqlite3_errmsg(database));
    return rows;
}

std::string Lines(const std::vector<std::string>& lines, int indent) {
    std::string text;
    for (const std::string& line : lines)
        text += std::string(static_cast<std::size_t>(indent), ' ') + line + "\n";
    return text;
}

}  // namespace

ProgramRun RunIptvtest(const std::string& arguments, const std::filesystem::path& folder) {
    const TemporaryFolder own;
    const std::string path = own.GetPath().string(),
                      to = folder.empty() ? "" : "cd " + folder.string() + "\n";
    WriteFile(own / "command", to + PROGRAM_PATH " " + arguments);
    const int status =
        std::system(("bash " + path + "/command >" + path + "/out 2>" + path + "/err").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadFile(own / "out"),
            ReadFile(own / "err")};
}

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "iptvtestXXXXXX").string();
    path_ = mkdtemp(pattern.data());
}

TemporaryFolder::~TemporaryFolder() {
    std::filesystem::remove_all(path_);
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string DumpDatabase(const std::filesystem::path& path) {
    static const std::set<std::string> left_out{"StartTime",      "EndTime",          "TestStartTime",
                                                "TestEndTime",    "DatabaseFileName", "Path",
                                                "LastUpdateTime", "TestFile",         "OutcomeDetails"};
    std::string dump;
    for (const Row& table :
         ReadRows(path, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name")) {
        const std::string& name = table.front().second;
        for (const Row& row : ReadRows(path, "SELECT * FROM \"" + name + "\"")) {
            if (name == "DataSetDescriptions" && left_out.contains(row[1].second)) continue;
            dump += name;
            for (const auto& [column, value] : row)
                dump += left_out.contains(column) ? "" : "|" + column + "=" + value;
            dump += '\n';
        }
    }
    return dump;
}

std::string FirstDifference(const std::string& a, const std::string& b) {
    std::istringstream left(a + "(end)"), right(b + "(end)");
    for (std::string left_line, right_line;
         std::getline(left, left_line) && std::getline(right, right_line);) {
        if (left_line != right_line) return left_line + "\n  against\n" + right_line;
    }
    return {};
}

std::string Query(const std::filesystem::path& path, const std::string& sql) {
    const std::vector<Row> rows = ReadRows(path, sql);
    return rows.empty() ? "" : rows.front().front().second;
}

std::shared_ptr<sqlite3> Execute(const std::filesystem::path& path, const char* sql) {
    sqlite3* database = nullptr;
    sqlite3_open(path.c_str(), &database);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
    return {database, &sqlite3_close};
}

std::string TestText::ToString() const {
    const std::string ip = ipv6 ? "Ipv6" : "Ipv4", host = ipv6 ? "MldHostConfig" : "IgmpHostConfig";
    const bool testing = environment == "TESTING";
    std::string text = "project:\n";
    if (testing)
        text += fmt::format(
            "  - Port: Head end\n    children:\n      - StreamBlock: Streams\n        SrcBinding: "
            "Sources/{0}If\n"
            "        DstBinding: Groups/{0}NetworkBlock\n"
            "  - EmulatedDevice: Sources\n    AffiliationPort: Head end\n    TopLevelIf: Sources/{0}If\n"
            "    children: [{{EthIIIf: , SourceMac: 00:10:94:ff:00:01}}, {{{0}If: , Address: \"{1}\", "
            "StackedOn: Sources/EthIIIf}}]\n",
            ip, ipv6 ? "2000::99" : "192.85.1.99");
    text += fmt::format(
        "  - {0}Group: Groups\n    children:\n      - {0}NetworkBlock:\n        NetworkCount: {1}\n{3}  - "
        "IptvChannelBlock: Channels\n    MulticastParam: Groups\n    RtpNackEnable: true\n"
        "  - {{IptvViewedChannels: Range, ChannelBlock: Channels, ChannelRangeEnd: {1}, RtpNackEnable: "
        "true}}\n"
        "  - IptvViewingProfileConfig: Profile\n{2}",
        ip, channels, Lines(profile, 4), Lines(groups, 8));
    for (int i = 0; i < ports; ++i)
        text += fmt::format(
            "  - Port: Viewers{0}\n"
            "  - EmulatedDevice: Homes{0}\n    DeviceCount: {1}\n    AffiliationPort: Viewers{0}\n"
            "    TopLevelIf: Homes{0}/{2}If\n    children:\n"
            "      - {{EthIIIf: , SourceMac: 00:10:94:{3:02x}:00:01}}\n"
            "      - {{VlanIf: , IdStep: 1, StackedOn: Homes{0}/EthIIIf}}\n"
            "      - {{{2}If: , Address: \"{4}\", StackedOn: Homes{0}/VlanIf}}\n"
            "      - {5}:\n        UsesIf: Homes{0}/{2}If\n"
            "      - IptvStbBlockConfig: Boxes{0}\n        IptvProfile: Profile\n        StbChannel: "
            "[Range]\n"
            "        MulticastParam: Homes{0}/{5}\n        FccServerAddrV4: 10.254.0.1\n"
            "        FccServerAddrV6: \"2001:db8::1\"\n        RrrServerAddrV4: 10.254.0.2\n"
            "        RrrServerAddrV6: \"2001:db8::2\"\n{6}",
            i == 0 ? "" : fmt::format(" {}", i + 1), stbs, ip, i + 1,
            ipv6 ? fmt::format("2000:{}::10", i + 1) : fmt::format("192.85.{}.10", i + 1), host,
            Lines(block, 8));
    text += "sequence:\n";
    if (!sequence.empty()) {
        text += sequence;
    } else {
        if (testing) text += "  - GeneratorStartCommand:\n";
        text += fmt::format(
            "  - IptvStartTestCommand: Start\n    TestType: {}\n    TestEnv: {}\n    TestDuration: {}\n{}  - "
            "IptvWaitForTestCompletionCommand:\n",
            type, environment, seconds, Lines(test, 4));
    }
    text += "simulation:\n  seed: 3\n";
    if (!network.empty()) text += "  defaults:\n" + Lines(network, 4);
    if (!faults.empty()) text += "  faults:\n    Viewers:\n";
    for (const std::string& fault : faults) text += "      - " + fault + "\n";
    return text;
}

}  // namespace testing_aids
