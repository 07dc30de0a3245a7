#include "orv/live/rams_response.h"

#include <algorithm>
#include <iterator>

namespace orv::live {
namespace {

struct KnownResponse {
    std::uint16_t code;
    RamsResponse response;
};

// In ascending order.
constexpr KnownResponse kKnownResponses[] = {
    {0, {RamsMeaning::Unknown, "a private response"}},
    {100, {RamsMeaning::Update, "an update of values sent before"}},
    {200, {RamsMeaning::Accepted, "the request is accepted"}},
    {201, {RamsMeaning::Completed, "the burst is complete"}},
    {400, {RamsMeaning::Correctable, "the request is malformed"}},
    {401, {RamsMeaning::Correctable, "the minimum buffer of the request is invalid"}},
    {402, {RamsMeaning::Correctable, "the maximum buffer of the request is invalid"}},
    {403, {RamsMeaning::Correctable, "the maximum bit rate of the request is insufficient"}},
    {404, {RamsMeaning::Correctable, "the termination is malformed"}},
    {405, {RamsMeaning::Correctable, "the token is invalid"}},
    {500, {RamsMeaning::Transient, "the server has an internal error"}},
    {501, {RamsMeaning::Transient, "the server has not enough bandwidth"}},
    {502, {RamsMeaning::Transient, "the network is congested, so that the burst is broken off"}},
    {503, {RamsMeaning::Transient, "the server has not enough processor time"}},
    {504, {RamsMeaning::Permanent, "the server does not send bursts"}},
    {505, {RamsMeaning::Permanent, "the server does not send bursts to this receiver"}},
    {506, {RamsMeaning::Permanent, "the server does not send bursts of this stream"}},
    {507, {RamsMeaning::Transient, "the server has no suitable starting point in the stream"}},
    {508, {RamsMeaning::Transient, "the server lacks reference information of the stream"}},
    {509, {RamsMeaning::Permanent, "the server has no stream of the requested SSRC"}},
    {510, {RamsMeaning::Permanent, "the server does not send bursts of the whole session"}},
    {511, {RamsMeaning::Permanent, "the server sends the preamble only"}},
    {512, {RamsMeaning::Permanent, "a policy denies the request"}},
};

}  // namespace

RamsResponse ExplainRamsResponse(std::uint16_t code) noexcept {
    const auto* found = std::ranges::lower_bound(kKnownResponses, code, {}, &KnownResponse::code);
    if (found != std::end(kKnownResponses) && found->code == code) return found->response;
    return {RamsMeaning::Unknown, "an unknown response"};
}

}  // namespace orv::live
