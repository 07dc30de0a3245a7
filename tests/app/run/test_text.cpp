#include <fmt/format.h>

#include <vector>

#include "test_text.h"

namespace testing_aids {

namespace {

std::string Lines(const std::vector<std::string>& lines, int indent) {
    std::string text;
    for (const std::string& line : lines)
        text += std::string(static_cast<std::size_t>(indent), ' ') + line + "\n";
    return text;
}

}  // namespace

std::string TestText::ToString() const {
    const std::string ip = ipv6 ? "Ipv6" : "Ipv4";
    const std::string host = ipv6 ? "MldHostConfig" : "IgmpHostConfig";
    const bool testing = environment == "TESTING";
    std::string text = "project:\n";
    if (testing) {
        text += fmt::format(
            "  - Port: Head end\n    children:\n      - StreamBlock: Streams\n        SrcBinding: "
            "Sources/{0}If\n"
            "        DstBinding: Groups/{0}NetworkBlock\n"
            "  - EmulatedDevice: Sources\n    AffiliationPort: Head end\n    TopLevelIf: Sources/{0}If\n    "
            "children:\n"
            "      - EthIIIf:\n        SourceMac: 00:10:94:ff:00:01\n"
            "      - {0}If:\n        Address: \"{1}\"\n        StackedOn: Sources/EthIIIf\n",
            ip, ipv6 ? "2000::99" : "192.85.1.99");
    }
    text += fmt::format(
        "  - {0}Group: Groups\n    children:\n      - {0}NetworkBlock:\n        NetworkCount: {1}\n{3}"
        "  - IptvChannelBlock: Channels\n    MulticastParam: Groups\n    RtpNackEnable: true\n"
        "  - IptvViewedChannels: Range\n    ChannelBlock: Channels\n    ChannelRangeEnd: {1}\n"
        "    RtpNackEnable: true\n"
        "  - IptvViewingProfileConfig: Profile\n{2}",
        ip, channels, Lines(profile, 4), Lines(groups, 8));
    for (int i = 0; i < ports; ++i) {
        const std::string number = i == 0 ? "" : fmt::format(" {}", i + 1);
        text += fmt::format(
            "  - Port: Viewers{0}\n"
            "  - EmulatedDevice: Homes{0}\n    DeviceCount: {1}\n    AffiliationPort: Viewers{0}\n"
            "    TopLevelIf: Homes{0}/{2}If\n    children:\n"
            "      - EthIIIf:\n        SourceMac: 00:10:94:{3:02x}:00:01\n"
            "      - VlanIf:\n        IdStep: 1\n        StackedOn: Homes{0}/EthIIIf\n"
            "      - {2}If:\n        Address: \"{4}\"\n        StackedOn: Homes{0}/VlanIf\n"
            "      - {5}:\n        UsesIf: Homes{0}/{2}If\n"
            "      - IptvStbBlockConfig: Boxes{0}\n        IptvProfile: Profile\n        StbChannel: "
            "[Range]\n"
            "        MulticastParam: Homes{0}/{5}\n        FccServerAddrV4: 10.254.0.1\n"
            "        FccServerAddrV6: \"2001:db8::1\"\n        RrrServerAddrV4: 10.254.0.2\n"
            "        RrrServerAddrV6: \"2001:db8::2\"\n{6}",
            number, stbs, ip, i + 1,
            ipv6 ? fmt::format("2000:{}::10", i + 1) : fmt::format("192.85.{}.10", i + 1), host,
            Lines(block, 8));
    }
    text += "sequence:\n";
    if (!sequence.empty()) {
        text += sequence;
    } else {
        if (testing) text += "  - GeneratorStartCommand:\n";
        text += fmt::format(
            "  - IptvStartTestCommand: Start\n    TestType: {}\n    TestEnv: {}\n    TestDuration: {}\n{}"
            "  - IptvWaitForTestCompletionCommand:\n",
            type, environment, seconds, Lines(test, 4));
    }
    text += "simulation:\n  seed: 3\n";
    if (!network.empty()) text += "  defaults:\n" + Lines(network, 4);
    if (!faults.empty()) text += "  faults:\n    Viewers:\n";
    for (const std::string& fault : faults) text += "      - " + fault + "\n";
    return text;
}

}  // namespace testing_aids
