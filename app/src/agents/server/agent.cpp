#include "agents/server/agent.h"

#include <fmt/format.h>

#include <cstdlib>
#include <fstream>
#include <thread>
#include <utility>

#include "orv/bus/names.h"
#include "orv/nic/live_port.h"
#include "program_version.h"

namespace orv::app {

namespace {

constexpr std::chrono::milliseconds kNamePatience{500}, kSelfPatience{2'000};

bool IsUp(const std::string& interface) {
    std::ifstream file("/sys/class/net/" + interface + "/flags");
    unsigned flags = 0;
    file >> std::hex >> flags;
    constexpr unsigned kUp = 1;  // IFF_UP
    return (flags & kUp) != 0;
}

double GetLoadPerCore() {
    double load = 0;
    if (::getloadavg(&load, 1) != 1) return 0;
    return load / std::max(std::thread::hardware_concurrency(), 1U);
}

std::string_view GetTextOf(std::span<const std::byte> data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

std::string MakeInfoRequest() {
    ControlRequest request;
    request.program = kProgramVersion;
    return ToJson(request);
}

}  // namespace

Agent::Agent(bus::Connection& connection, AgentOffer offer, Say say)
    : connection_(connection), offer_(std::move(offer)), say_(std::move(say)) {
    control_ = connection_.subscribe(bus::control_subject(offer_.name),
                                     [this](const bus::Message& message) { OnRequest(message, true); });
    discovery_ = connection_.subscribe(bus::discovery_subject(),
                                       [this](const bus::Message& message) { OnRequest(message, false); });
}

Agent::~Agent() {
    control_.reset();
    discovery_.reset();
    const std::lock_guard lock(mutex_);
    if (!session_) return;
    session_->Stop(fmt::format("agent \"{}\" has been stopped", offer_.name));
    session_.reset();
}

bool Agent::IsNameTaken(bus::Connection& connection, const std::string& name) {
    const std::string text = MakeInfoRequest();
    const bus::Answer answer = connection.request(bus::control_subject(name), std::as_bytes(std::span(text)),
                                                  kNamePatience, bus::inbox_prefix_of_agent(name));
    return answer.status == bus::Answer::Status::Answered;
}

bool Agent::IsHeard() {
    const std::string text = MakeInfoRequest();
    const bus::Answer answer =
        connection_.request(bus::control_subject(offer_.name), std::as_bytes(std::span(text)), kSelfPatience,
                            bus::inbox_prefix_of_agent(offer_.name));
    return answer.status == bus::Answer::Status::Answered;
}

bool Agent::MustGiveWay() {
    {
        const std::lock_guard lock(mutex_);
        if (session_) return false;
    }
    const std::string text = MakeInfoRequest();
    for (const auto& data :
         connection_.request_all(bus::control_subject(offer_.name), std::as_bytes(std::span(text)),
                                 kNamePatience, bus::inbox_prefix_of_agent(offer_.name))) {
        ControlAnswer answer;
        try {
            answer = ReadControlAnswer(GetTextOf(data));
        } catch (const ProtocolError&) {  // no agent's
            continue;
        }
        if (answer.instance == instance_) continue;
        const bool has_test = answer.info && !answer.info->holder.empty();
        const std::lock_guard lock(mutex_);
        if (!session_ && (has_test || answer.instance < instance_)) return true;
    }
    return false;
}

void Agent::OnReconnected() {
    const std::lock_guard lock(mutex_);
    if (session_) session_->OnReconnected();
}

void Agent::LookAfterSession() {
    const std::lock_guard lock(mutex_);
    if (!session_) return;
    if (const std::string why = session_->FindEnd(); !why.empty()) EndSession(why);
}

void Agent::EndSession(const std::string& why) {
    say_(fmt::format("The test of {} has ended: {}.", session_->GetHolder(), why));
    session_.reset();
}

void Agent::OnRequest(const bus::Message& message, bool is_for_us) {
    if (message.reply.empty()) return;
    const std::string answer = ToJson(AnswerTo(message, is_for_us));
    connection_.try_publish(std::string(message.reply), std::as_bytes(std::span(answer)));
}

ControlAnswer Agent::AnswerTo(const bus::Message& message, bool is_for_us) {
    ControlAnswer answer;
    answer.program = kProgramVersion;
    answer.name = offer_.name;
    answer.instance = instance_;
    const auto now = [](auto clock) {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(clock.now().time_since_epoch());
    };
    answer.steady_time = now(std::chrono::steady_clock());
    answer.system_time = now(std::chrono::system_clock());
    try {
        const ControlRequest request = ReadControlRequest(GetTextOf(message.data));
        answer.error = FindVersionProblem("the controller", request.protocol, request.program);
        if (!answer.error.empty()) {
            answer.error = fmt::format("agent \"{}\": {}", offer_.name, answer.error);
            return answer;
        }
        if (!is_for_us && request.operation != ControlRequest::Operation::Info)
            throw ProtocolError("a request that is not for all agents");
        const std::lock_guard lock(mutex_);
        if (!request.instance.empty() && request.instance != instance_) {
            // Another agent with this name was faster.
            if (session_ && session_->GetName() == request.session)
                EndSession("another agent with this name has it");
            return answer;
        }
        answer.is_known = session_ && session_->GetName() == request.session;
        switch (request.operation) {
            case ControlRequest::Operation::Info:
                answer.info = MakeInfo();
                break;
            case ControlRequest::Operation::Time:
                break;
            case ControlRequest::Operation::Open:
                Open(request, answer);
                break;
            case ControlRequest::Operation::Keep:
                if (answer.is_known) session_->Describe(answer);
                break;
            case ControlRequest::Operation::Close:
                if (!answer.is_known) break;
                session_->Describe(answer);
                EndSession("it is done");
                break;
        }
    } catch (const ProtocolError& error) {
        answer.error = fmt::format("agent \"{}\" does not understand: {}", offer_.name, error.what());
    } catch (const bus::BusError& error) {
        answer.error = fmt::format("agent \"{}\": {}", offer_.name, error.what());
    }
    return answer;
}

void Agent::Open(const ControlRequest& request, ControlAnswer& answer) {
    if (answer.is_known) return;  // the request came twice
    if (session_) {
        answer.error = fmt::format("agent \"{}\" is in use by {}", offer_.name, session_->GetHolder());
        return;
    }
    session_ = std::make_unique<ServedSession>(connection_, offer_, request, say_);
    answer.is_known = true;
    say_(fmt::format("A test of {} begins.", request.holder));
}

AgentInfo Agent::MakeInfo() const {
    AgentInfo info;
    info.name = offer_.name;
    info.is_simulated = offer_.is_simulated;
    info.load = GetLoadPerCore();
    if (session_) info.holder = session_->GetHolder();
    for (const std::string& interface : offer_.interfaces) {
        AgentInterface described{interface, 0, IsUp(interface)};
        try {
            described.line_rate = nic::GetLineRate(interface);
        } catch (const nic::NicError&) {  // it has gone
        }
        info.interfaces.push_back(described);
    }
    return info;
}

}  // namespace orv::app
