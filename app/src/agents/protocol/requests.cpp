#include "agents/protocol/requests.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "agents/protocol/json_members.h"
#include "program_version.h"

namespace orv::app {

namespace {

constexpr std::size_t kSessionDigits = 32;

bool IsSession(const std::string& text) {
    return text.size() == kSessionDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// Bytes of a text that is shown to people: a host's name has up to 255 of them.
constexpr std::size_t kMostShownBytes = 500;
/// In Linux.
constexpr std::size_t kLongestInterface = 15;
/// Of a load or a line rate: a petabit per second.
constexpr double kMostAmount = 1e15;

/// A text that is shown to people.
template <class Archive, class Text>
void VisitShown(Archive& archive, const char* name, Text& text) {
    archive(name, text);
    if constexpr (Archive::kReads) {
        const auto is_control = [](unsigned char c) { return c < ' ' || c == 0x7F; };
        if (text.size() > kMostShownBytes || std::ranges::any_of(text, is_control))
            throw ProtocolError(fmt::format("{}: too long, or with control characters", name));
    }
}

template <class Archive>
void VisitAmount(Archive& archive, const char* name, double& amount) {
    archive(name, amount);
    if constexpr (Archive::kReads)
        if (!std::isfinite(amount) || amount < 0 || amount > kMostAmount)
            throw ProtocolError(fmt::format("{}: a number out of range", name));
}

template <class Archive, class Duration>
void VisitDuration(Archive& archive, const char* name, Duration& duration) {
    std::int64_t count = duration.count();
    archive(name, count);
    duration = Duration(count);
}

/// In nanoseconds. Sums and differences of two do not overflow.
template <class Archive>
void VisitTime(Archive& archive, const char* name, std::chrono::nanoseconds& time) {
    VisitDuration(archive, name, time);
    if constexpr (Archive::kReads) {
        if (time < time.zero() || time > time.max() / 2)
            throw ProtocolError(fmt::format("{}: a time out of range", name));
    }
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
    VisitShown(archive, "program", request.program);
    // The rest is as that protocol has it.
    if (Archive::kReads && request.protocol != kAgentProtocol) return;
    archive("operation", request.operation);
    archive("session", request.session);
    VisitShown(archive, "holder", request.holder);
    VisitShown(archive, "instance", request.instance);
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
    VisitShown(archive, "name", interface.name);
    VisitAmount(archive, "line_rate", interface.line_rate);
    archive("is_up", interface.is_up);
    if constexpr (Archive::kReads)
        if (interface.name.size() > kLongestInterface) throw ProtocolError("name: too long for an interface");
}

template <class Archive>
void VisitMembers(Archive& archive, AgentInfo& info) {
    VisitShown(archive, "name", info.name);
    archive("interfaces", info.interfaces);
    archive("is_simulated", info.is_simulated);
    VisitAmount(archive, "load", info.load);
    VisitShown(archive, "holder", info.holder);
}

template <class Archive>
void VisitMembers(Archive& archive, ControlAnswer& answer) {
    archive("protocol", answer.protocol);
    VisitShown(archive, "program", answer.program);
    VisitShown(archive, "name", answer.name);
    if (Archive::kReads && answer.protocol != kAgentProtocol) return;
    archive("error", answer.error);
    VisitShown(archive, "instance", answer.instance);
    archive("info", answer.info);
    archive("is_known", answer.is_known);
    VisitTime(archive, "steady_time", answer.steady_time);
    VisitTime(archive, "system_time", answer.system_time);
    VisitTime(archive, "latest_start", answer.latest_start);
    archive("figures", answer.figures);
}

std::string MakeUniqueName() {
    std::random_device random;
    std::string name;
    for (int i = 0; i < 4; ++i) name += fmt::format("{:08x}", random());
    return name;
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
