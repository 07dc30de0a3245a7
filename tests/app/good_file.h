// A valid test file, and a host with its data models.
#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "test_file/parsed_file.h"

namespace test_file_test {

inline const std::string kGoodFile = R"(title: Zapping on two ports
project:
  - Port: Head end
    Location: //sim/1
    children:
      - Generator:
        children: [{GeneratorConfig: , SchedulingMode: rate_based}]
      - StreamBlock: News stream
        SrcBinding: Sources/Ipv4If     # a child without a name
        DstBinding: News group/Ipv4NetworkBlock
  - Port: Viewers
    Location: //sim/2
  - Ipv4Group: News group
    children: [{Ipv4NetworkBlock: Addresses of the news, NetworkCount: 4, StartIpList: [225.1.0.1]}]
  - {cIPTVchannelblock: News, ChannelName: News, MulticastParam: News group}
  - {IptvViewedChannels: All news, ChannelBlock: News}
  - {IptvViewingProfileConfig: Hasty, interval: 0x1f4, ZapDirection: 2}
  - EmulatedDevice: Sources
    AffiliationPort: Head end
    TopLevelIf: Sources/Ipv4If
    children:
      - EthIIIf:
      - {Ipv4If: , Address: 10.0.0.1, AddrList: [10.0.0.5, 10.0.0.7], StackedOn: Sources/EthIIIf}
  - EmulatedDevice: Living rooms
    DeviceCount: 100
    AffiliationPort: Viewers
    TopLevelIf: Living rooms/Ipv4If
    children:
      - EthIIIf: Ethernet
      - {Ipv4If: IPv4, StackedOn: Ethernet}
      - {IgmpHostConfig: IGMP, Version: IGMP_V3, UsesIf: [IPv4]}
      - IptvStbBlockConfig: Boxes
        SaveTimeStamps: true
        IptvProfile: Hasty
        MulticastParam: IGMP
        StbChannel: [All news]
sequence:
  - GeneratorStartCommand:
    GeneratorList: Head end/Generator
  - SequencerLoopCommand: Twice
    IterationCount: 2
    children:
      - {IptvStartTestCommand: Start, TestDuration: 2.5, StbBlockList: [Living rooms]}
      - IptvWaitForTestCompletionCommand:
simulation:
  seed: 18446744073709551615
  defaults: {join_delay: 37, loss: 1 %}
  ports: {Viewers: {leave_delay: {normal: [112, 5]}}}
)";

struct TestFileTest : testing::Test {
    TestFileTest() { host_.LoadPlugin(PLUGIN_PATH); }

    /// The mistakes of a text, a line each.
    static std::string ListMistakes(const std::string& text) { return Join(Parse(text).GetMistakes()); }
    static std::string Join(const std::vector<orv::app::Mistake>& mistakes) {
        std::string lines;
        for (const auto& mistake : mistakes) lines += mistake.ToString() + "\n";
        return lines;
    }
    static orv::app::TestFile Parse(const std::string& text) {
        return orv::app::TestFile::Parse(text, "zap.yaml");
    }

    struct Mistaken {
        std::string text;  ///< with "^" in front of each place where a mistake is found
        std::string says;  ///< for each of them a line, which is a part of what is said
    };
    static void ExpectMistakes(const std::vector<Mistaken>& cases, const std::string& before = "project:\n") {
        for (const auto& [marked, says] : cases) {
            std::string text = before + marked;
            SCOPED_TRACE(text);
            std::vector<testing::Matcher<std::string>> expected;
            std::istringstream parts(says);
            for (std::string part; std::getline(parts, part);) {
                const std::size_t at = std::min(text.find('^'), text.size());
                const auto line =
                    1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n');
                const std::string place = fmt::format("zap.yaml:{}:{}: ", line, at - text.rfind('\n', at));
                expected.push_back(testing::AllOf(testing::StartsWith(place), testing::HasSubstr(part)));
                text.erase(at, 1);
            }
            const auto file = Parse(text);
            std::vector<std::string> found;
            for (const auto& mistake : file.GetMistakes()) found.push_back(mistake.ToString());
            EXPECT_THAT(found, testing::ElementsAreArray(expected));
        }
    }

    orv::core::CHostApplication host_{{orv::framework::ClockKind::Virtual}};
};

}  // namespace test_file_test
