#include "server_complaints.h"

#include <fmt/format.h>

#include "orv/live/rams_response.h"

namespace orv::nic {

namespace {

using Kind = ServerComplaints::Kind;

/// "1 request", "2 requests".
std::string number_of(std::uint64_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string describe(Kind kind, std::uint64_t count, std::uint16_t code) {
    switch (kind) {
        case Kind::Unreachable:
            return fmt::format(
                "could not be reached by {}: nobody answers for its MAC address, or the gateway's",
                number_of(count, "STB"));
        case Kind::NoToken:
            return fmt::format("has not answered {} with a token", number_of(count, "port mapping request"));
        case Kind::Unanswered:
            return fmt::format("has not answered {} for bursts", number_of(count, "request"));
        case Kind::Refused:
            return fmt::format("has refused {} for bursts with response {} ({})", number_of(count, "request"),
                               code, live::ExplainRamsResponse(code).text);
        case Kind::NoPackets:
            return fmt::format("has accepted {} for bursts and sent no packet", number_of(count, "request"));
        case Kind::FewRepairs:
            return fmt::format("has answered less than a tenth of the NACKs of {}", number_of(count, "STB"));
        case Kind::NoSbit:
            return fmt::format("has sent {} no S-bit, which is to trigger the multicast join",
                               number_of(count, "STB"));
        case Kind::SendsOn:
            return fmt::format("went on sending {} after it was asked three times for the end",
                               number_of(count, "burst"));
        case Kind::WrongNumbers:
            return fmt::format("has sent {} whose original sequence numbers are not those of the stream",
                               number_of(count, "packet"));
        case Kind::RejectsToken:
            return fmt::format("has rejected {} for want of a valid token", number_of(count, "message"));
    }
    return {};
}

}  // namespace

void ServerComplaints::add(Kind kind, const Where& where, std::uint16_t code) {
    Problem& problem = problems_[{where.server, where.port, kind, code}];
    if (problem.count++ == 0) problem.first = where;
}

void ServerComplaints::report(const LivePort::Complain& complain) {
    for (const auto& [key, problem] : problems_) {
        const auto& [server, port, kind, code] = key;
        const std::string at = server.IsV6() ? "[" + server.ToString() + "]" : server.ToString();
        complain(fmt::format("the server {}:{} {}, first of STB {} of STB block {}", at, port,
                             describe(kind, problem.count, code), problem.first.settop_index,
                             problem.first.stb_block));
    }
    problems_.clear();
}

}  // namespace orv::nic
