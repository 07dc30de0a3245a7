// The rules for channel blocks.
#include "orv/core/network_block.h"
#include "validation_fixture.h"

namespace testing_aids {
namespace {

namespace Id = ids::IptvChannelBlock;

void Check(const std::vector<ValidationCase>& cases) {
    CheckCases(&iptv::CIptvChannelBlock::OnValidateChannelBlock, cases);
}

std::string Overlap(const std::string& first, const std::string& second) {
    return "The channel numbers in " + first + " group and " + second +
           " group overlap. The channel numbers specified in each channel block must be unique";
}
Report StartsAt0(const std::string& name) {
    return {name, "In " + name + " groupThe starting channel number cannot be 0."};
}

TEST(ChannelBlockValidation, ChannelNumbersAreUnique) {
    Check({
        {"valid", [](Scene&) {}, {}},
        {"one in common",
         [](Scene& s) { s.project.MakeChannelBlock("Sports", 10, 10); },
         {{"Sports", Overlap("News", "Sports")}}},
        {"the same start, in order of creation",
         [](Scene& s) { s.project.MakeChannelBlock("Sports", 1, 1); },
         {{"Sports", Overlap("News", "Sports")}}},
        {"ascending starts, whatever the order of creation",
         [](Scene& s) {
             s.project.MakeChannelBlock("Films", 30, 2);
             s.project.MakeChannelBlock("Sports", 15, 16);
             s.channels.Set(Id::ChannelStart, 20u);
         },
         {{"News", Overlap("Sports", "News")}}},
        {"each is compared with the end of the one before",
         [](Scene& s) {
             s.project.MakeChannelBlock("Sports", 5, 2);
             s.project.MakeChannelBlock("Films", 7, 10);
             s.project.MakeChannelBlock("Music", 16, 1);
         },
         {{"Sports", Overlap("News", "Sports")}, {"Music", Overlap("Films", "Music")}}},
        {"one that is off is passed over, but named",
         [](Scene& s) {
             SwitchOff(s.project.MakeChannelBlock("Off", 5, 100));
             s.project.MakeChannelBlock("Sports", 8, 10);
             s.project.MakeChannelBlock("Films", 18, 10);
         },
         {{"Sports", Overlap("Off", "Sports")}}},
        {"unless it has no group",
         [](Scene& s) {
             auto& off = s.project.MakeChannelBlock("Off", 5, 1);
             SwitchOff(off);
             off.RemoveObject(TestProject::GroupOf(off), ids::relations::MulticastParam);
             s.project.MakeChannelBlock("Sports", 8, 10);
         },
         {{"Sports", Overlap("News", "Sports")}}},
        {"0 ends the validation",
         [](Scene& s) {
             s.project.MakeChannelBlock("Sports", 5, 10);
             s.project.MakeChannelBlock("Nil", 0, 10).Set(Id::UdpDestinationPort, std::uint16_t{0});
         },
         {StartsAt0("Nil")}},
        {"unless the block is off or deleted",
         [](Scene& s) {
             SwitchOff(s.project.MakeChannelBlock("Off", 0, 10));
             Remove(s.project.MakeChannelBlock("Gone", 0, 10));
             s.project.MakeChannelBlock("Sports", 5, 10);
         },
         {{"Sports", Overlap("News", "Sports")}}},
        {"a deleted block's channels are free",
         [](Scene& s) {
             Remove(s.channels);
             s.project.MakeChannelBlock("Sports", 5, 10);
         },
         {}},
    });
}

TEST(ChannelBlockValidation, UdpPortsAreInRange) {
    const struct {
        std::uint16_t port, step;
        std::uint32_t count;
        bool valid;
    } rows[] = {{0, 0, 10, false},   {0, 1, 1, false},     {1, 0, 10, true},      {65535, 0, 10, true},
                {65535, 1, 1, true}, {65535, 1, 2, false}, {65000, 50, 10, true}, {65000, 60, 10, false}};
    for (const auto& row : rows) {
        Reports reports;
        if (!row.valid) {
            reports = {{"News",
                        "In News group : Channel Block cannot have any UdpDestinationPort outside the range "
                        "of 1 to 65535"}};
        }
        Check({{"port " + std::to_string(row.port) + " step " + std::to_string(row.step),
                [&row](Scene& s) {
                    TestProject::GroupOf(s.channels).GetNetworkBlock()->SetNetworkCount(row.count);
                    s.channels.Set(Id::UdpDestinationPort, row.port);
                    s.channels.Set(Id::UdpDestinationPortStep, row.step);
                },
                reports}});
    }
}

TEST(ChannelBlockValidation, NothingChangesUnderATest) {
    Check({
        {"changed, and wrong as well",
         [](Scene& s) {
             s.StartTest();
             s.channels.Set(Id::UdpDestinationPort, std::uint16_t{0});
         },
         {{"News", kChangeUnderTest},
          {"News",
           "In News group : Channel Block cannot have any UdpDestinationPort outside the range of 1 to "
           "65535"}}},
        {"off and changed: no further rule",
         [](Scene& s) {
             SwitchOff(s.channels);
             s.StartTest();
             s.channels.Set(Id::ChannelStart, 0u);
         },
         {{"News", kChangeUnderTest}}},
        {"deleted: no further rule",
         [](Scene& s) {
             s.channels.Set(Id::ChannelStart, 0u);
             s.project.MakeChannelBlock("Sports", 5, 10);
             s.StartTest();
             Remove(s.channels);
         },
         {{"News", kChangeUnderTest}}},
        {"changed without a test", [](Scene& s) { s.project.Settle(), Edit(s.channels); }, {}},
    });
}

TEST(ChannelBlockValidation, WhatIsMissingEndsTheValidation) {
    const std::string in = " in CIptvChannelBlock::ValidateChannelBlock";
    const auto without_group = [](Scene& s) {
        s.channels.Set(Id::ChannelName, "World");
        s.channels.RemoveObject(TestProject::GroupOf(s.channels), ids::relations::MulticastParam);
        s.project.MakeChannelBlock("Sports", 1, 5);
    };
    const auto without_addresses = [](Scene& s) {
        Remove(*TestProject::GroupOf(s.channels).GetNetworkBlock());
        s.channels.Set(Id::ChannelStart, 2u);
        s.project.MakeChannelBlock("Sports", 1, 5);
        s.project.MakeChannelBlock("Films", 5, 5);
    };
    Check({
        {"group",
         without_group,
         {{"News", "MulticastGroup associated with World could not be found. "}},
         "MulticastGroup from ChannelBlock" + in,
         "In Validation of IptvChannelBlock, the associated MulticastGroup could not be found. "},
        {"addresses",
         without_addresses,
         {{"News", "Network Block associated with News group could not be found. "}},
         "NetworkBlock from MulticastGroup" + in,
         "In Validation of IptvChannelBlock News group, the NetworkBlock associated with MulticastGroup News "
         "group could not be found. "},
        {"off: nothing is needed", [&](Scene& s) { without_group(s), SwitchOff(s.channels); }, {}},
        {"not a channel block",
         [](Scene& s) {
             s.project.MakeChannelBlock("Sports", 2, 5);
             s.MakeOdd(0x7f110000, "IptvChannelBlock", s.project.Root()).Set(Id::ChannelStart, 3u);
             s.project.MakeChannelBlock("Films", 4, 5);
         },
         {{"Sports", Overlap("News", "Sports")}},
         "IptvChannelBlock from ChannelBlockIterator" + in,
         "IptvChannelBlock. "},
    });
}

}  // namespace
}  // namespace testing_aids
