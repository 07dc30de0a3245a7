#include "server_complaints.h"

#include <fmt/format.h>

#include "orv/live/rams_response.h"

namespace orv::nic {

namespace {

using Kind = ServerComplaints::Kind;

std::string describe(Kind kind, std::uint64_t count, std::uint16_t code) {
    switch (kind) {
        case Kind::Unreachable:
            return fmt::format(
                "could not be sent {} messages: its MAC address, or the gateway's, was asked for "
                "and nobody answered",
                count);
        case Kind::NoToken:
            return fmt::format("has not answered {} port mapping requests with a token", count);
        case Kind::Unanswered:
            return fmt::format("has not answered {} requests for bursts", count);
        case Kind::Refused:
            return fmt::format("has refused {} requests for bursts with response {} ({})", count, code,
                               live::ExplainRamsResponse(code).text);
        case Kind::SendsOn:
            return fmt::format("went on sending {} bursts after it was asked three times to end them", count);
        case Kind::WrongNumbers:
            return fmt::format(
                "has sent {} packets whose original sequence numbers are not those of the stream", count);
        case Kind::RejectsToken:
            return fmt::format("has rejected {} messages that had no valid token", count);
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
