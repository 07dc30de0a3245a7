#include "live_port_check.h"

#include <fmt/format.h>

#include <array>
#include <span>

#include "find_objects.h"
#include "interface_stacks.h"
#include "orv/common/exceptions.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/live/address.h"
#include "port_location.h"
#include "stream_plan.h"
#include "traffic.h"

namespace orv::app {

namespace {

void FindStackProblems(const core::CPort& port, ObjectProblems& problems) {
    for (const core::CNetworkInterface* top : FindStacks(port)) {
        try {
            GetLiveHosts(*top);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({top, {}, error.what()});
        }
    }
}

void FindStreamProblems(const core::CPort& port, ObjectProblems& problems) {
    for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
        try {
            CheckStreams(*block);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({block, {}, error.what()});
        }
    }
}

/// Server of a kind: where an STB block says which one, and what it is called.
struct Server {
    common::PropId v4, v6, port;
    const char* v4_name;
    const char* v6_name;
    const char* port_name;
    const char* what;
};

namespace Block = ids::IptvStbBlockConfig;
constexpr Server kFccServer{Block::FccServerAddrV4, Block::FccServerAddrV6, Block::FccServerPort,
                            "FccServerAddrV4",      "FccServerAddrV6",      "FccServerPort",
                            "fast channel change"};
constexpr Server kRrrServer{Block::RrrServerAddrV4, Block::RrrServerAddrV6, Block::RrrServerPort,
                            "RrrServerAddrV4",      "RrrServerAddrV6",      "RrrServerPort",
                            "retransmission"};

live::IpAddress GetAddress(const CScriptable& block, const Server& server, bool ipv4) {
    std::array<std::uint8_t, 16> bytes{};
    ipv4 ? block.GetIp(server.v4).CopyTo(bytes.data()) : block.GetIpv6(server.v6).CopyTo(bytes.data());
    return live::IpAddress::FromBytes(std::span(bytes).first(ipv4 ? 4 : 16));
}

void CheckServer(const CScriptable& block, const Server& server, ObjectProblems& problems) {
    const CScriptable* protocol =
        block.GetObject(ids::MulticastHostConfig::CLASS, ids::relations::MulticastParam);
    if (!protocol) return;  // a mistake of its own
    const bool ipv4 = IsIpv4(*protocol);
    const live::IpAddress address = GetAddress(block, server, ipv4);
    const char* key = ipv4 ? server.v4_name : server.v6_name;
    const std::string expected =
        fmt::format("the {} address of a server of {} in the network", ipv4 ? "IPv4" : "IPv6", server.what);
    if (address.IsUnspecified()) {
        problems.push_back({&block, key, "the set-top boxes of a live port need a server", expected});
    } else if (address.IsMulticast()) {
        problems.push_back(
            {&block, key, fmt::format("{} is a multicast address", address.ToString()), expected});
    }
    if (block.GetU16(server.port) == 0)
        problems.push_back(
            {&block, server.port_name, "it is 0", "the UDP port of the server, from 1 to 65535"});
}

}  // namespace

ObjectProblems FindServerProblems(const framework::CCommand& start) {
    const std::uint8_t type = start.GetU8(ids::IptvStartTestCommand::TestType);
    const bool uses_unicast =
        type == ids::TestType::FAST_CHANNEL_CHANGE || type == ids::TestType::FCC_WITH_RRR;
    const bool retransmits =
        type == ids::TestType::RELIABLE_RETRANSMISSION || type == ids::TestType::FCC_WITH_RRR;
    ObjectProblems problems;
    if (!uses_unicast && !retransmits) return problems;
    for (const CScriptable* block : FindStbBlocks(start)) {
        const auto* port = dynamic_cast<const core::CPort*>(
            block->GetParent()->GetObject(core::CPort::CLASS_ID(), ids::relations::AffiliationPort));
        if (!port || !block->GetActive() || !GetPlace(*port).IsLive()) continue;
        if (uses_unicast) CheckServer(*block, kFccServer, problems);
        if (retransmits && block->GetBool(Block::RtpNackEnable)) CheckServer(*block, kRrrServer, problems);
    }
    return problems;
}

ObjectProblems FindLivePortProblems(const core::CPort& port) {
    ObjectProblems problems;
    FindStackProblems(port, problems);
    FindStreamProblems(port, problems);
    return problems;
}

}  // namespace orv::app
