// Views of results by port, set-top-box block, channels and profile.
#include "orv/ids/iptv_ids.h"
#include "results/views/ViewDefinitions.h"

namespace orv::iptv::views {

using enum When;

namespace {
constexpr Piece kPortPieces[] = {{kAll, "Port.Location as 'Port Location'"}};
constexpr Piece kStbPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'STB Block Name',ProfileName as 'Viewing Profile Name',"
     "NumClients as '# STBs'"}};
constexpr Piece kChannelPieces[] = {
    {kAll,
     "IptvViewedChannels.Name as 'VC Config Name',ChannelName as 'Channel Name',"
     "NumOfChannels as '# of Channels'"}};
constexpr Piece kProfilePieces[] = {{kAll, "IptvViewingProfileConfig.Name as 'VP Config Name'"}};
}  // namespace

const View kPortResult{"Port Result",
                       "Result Aggregated on Port",
                       kPortPieces,
                       "IptvPortResults,Port",
                       "IptvPortResults.ParentHnd = Port.Handle and IptvPortResults.DataSetId = @DataSetId",
                       ids::IptvPortResults::CLASS,
                       "IptvPortResults."};

const View kIpv4StbResult{
    "IPV4 STB Result",
    "Result Aggregated on Blocks of Set Top Boxes",
    kStbPieces,
    "IptvStbBlockConfig, IptvStbBlockResults",
    "IptvStbBlockResults.parenthnd in (select distinct IptvStbBlockConfig.handle as 'handle' from "
    "relationtable,iptvstbblockconfig,ipv4if where relationtable.sourcehnd = iptvstbblockconfig.parenthnd "
    "and relationtable.type = 'TopLevelIf' and relationtable.targethnd = ipv4if.handle) and "
    "IptvStbBlockConfig.Handle = IptvStbBlockResults.ParentHnd and IptvStbBlockResults.DataSetId = "
    "@DataSetId",
    ids::IptvStbBlockResults::CLASS,
    "",
    In::kIpv4StbResult};

const View kIpv6StbResult{
    "IPV6 STB Result",
    "Result Aggregated on Blocks of Set Top Boxes",
    kStbPieces,
    "IptvStbBlockConfig, IptvStbBlockResults",
    "IptvStbBlockResults.parenthnd in (select distinct IptvStbBlockConfig.handle as 'handle' from "
    "relationtable,iptvstbblockconfig,ipv6if where relationtable.sourcehnd = iptvstbblockconfig.parenthnd "
    "and relationtable.type = 'TopLevelIf' and relationtable.targethnd = ipv6if.handle ) and "
    "IptvStbBlockConfig.Handle = IptvStbBlockResults.ParentHnd and IptvStbBlockResults.DataSetId = "
    "@DataSetId",
    ids::IptvStbBlockResults::CLASS};

const View kChannelResult{
    "Channel Result",
    "Result Aggregated on Channels",
    kChannelPieces,
    "IptvChannelResults, IptvViewedChannels",
    "IptvViewedChannels.handle = IptvChannelResults.ParentHnd and IptvChannelResults.DataSetId = @DataSetId",
    ids::IptvChannelResults::CLASS};

const View kProfileResult{"Profile Result",
                          "Result Aggregated on Profiles",
                          kProfilePieces,
                          "IptvViewingProfileResults,IptvViewingProfileConfig",
                          "IptvViewingProfileConfig.handle = IptvViewingProfileResults.ParentHnd and "
                          "IptvViewingProfileResults.DataSETID = @DataSetId",
                          ids::IptvViewingProfileResults::CLASS};

}  // namespace orv::iptv::views
