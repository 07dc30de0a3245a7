#include "agents/protocol/requests.h"

#include <fmt/format.h>

#include <algorithm>

#include "agents/protocol/json_members.h"
#include "program_version.h"

namespace orv::app {

namespace {

constexpr std::size_t kSessionDigits = 32;

bool IsSession(const std::string& text) {
    return text.size() == kSessionDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Times as numbers of nanoseconds, the lease as seconds.
template <class Archive, class Duration>
void VisitDuration(Archive& archive, const char* name, Duration& duration) {
    std::int64_t count = duration.count();
    archive(name, count);
    duration = Duration(count);
}

template <class Object>
std::string DumpRequest(const Object& object) {
    return DumpJson(JsonWriter::Write(object));
}

}  // namespace

constexpr auto GetLast(ControlRequest::Operation) {
    return static_cast<int>(ControlRequest::Operation::Close);
}

template <class Archive>
void VisitMembers(Archive& archive, ControlRequest& request) {
    archive("protocol", request.protocol);
    archive("program", request.program);
    // The rest is as that protocol has it.
    if (Archive::kReads && request.protocol != kAgentProtocol) return;
    archive("operation", request.operation);
    archive("session", request.session);
    archive("holder", request.holder);
    VisitDuration(archive, "lease", request.lease);
    if constexpr (Archive::kReads) {
        const bool has_session = request.operation >= ControlRequest::Operation::Open;
        if (has_session && !IsSession(request.session)) throw ProtocolError("session: expected 32 digits");
        if (request.lease < kShortestLease || request.lease > kLongestLease)
            throw ProtocolError(
                fmt::format("lease: expected {} to {} s", kShortestLease.count(), kLongestLease.count()));
    }
}

template <class Archive>
void VisitMembers(Archive& archive, AgentInterface& interface) {
    archive("name", interface.name);
    archive("line_rate", interface.line_rate);
    archive("is_up", interface.is_up);
}

template <class Archive>
void VisitMembers(Archive& archive, AgentInfo& info) {
    archive("name", info.name);
    archive("interfaces", info.interfaces);
    archive("is_simulated", info.is_simulated);
    archive("load", info.load);
    archive("holder", info.holder);
}

template <class Archive>
void VisitMembers(Archive& archive, ControlAnswer& answer) {
    archive("protocol", answer.protocol);
    archive("program", answer.program);
    archive("name", answer.name);
    if (Archive::kReads && answer.protocol != kAgentProtocol) return;
    archive("error", answer.error);
    archive("info", answer.info);
    archive("is_known", answer.is_known);
    VisitDuration(archive, "steady_time", answer.steady_time);
    VisitDuration(archive, "system_time", answer.system_time);
    VisitDuration(archive, "latest_start", answer.latest_start);
    archive("figures", answer.figures);
}

std::string ToJson(const ControlRequest& request) {
    return DumpRequest(request);
}

std::string ToJson(const ControlAnswer& answer) {
    return DumpRequest(answer);
}

ControlRequest ReadControlRequest(std::string_view json) {
    ControlRequest request;
    JsonReader::Read(ParseJson(json), request);
    return request;
}

ControlAnswer ReadControlAnswer(std::string_view json) {
    ControlAnswer answer;
    JsonReader::Read(ParseJson(json), answer);
    return answer;
}

std::string FindVersionProblem(const std::string& who, int protocol, const std::string& program) {
    if (protocol == kAgentProtocol) return {};
    return fmt::format("{} is iptvtest {} (protocol {}), this is iptvtest {} (protocol {}): they do not fit",
                       who, program, protocol, kProgramVersion, kAgentProtocol);
}

}  // namespace orv::app
