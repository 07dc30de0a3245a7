// What controllers ask agents, and what these answer: small JSON texts on an agent's control subject.
// Whatever comes may be hostile: reading throws ProtocolError.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace orv::app {

/// The other end sent something that it must not; the text says what.
class ProtocolError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Agent and controller work together if theirs are equal. Changes with every change of what they say.
inline constexpr int kAgentProtocol = 1;

/// How long a controller may be silent before its agent ends the test; longer than the cut of a network that
/// a test is to survive.
inline constexpr std::chrono::seconds kDefaultLease{90};
inline constexpr std::chrono::seconds kShortestLease{2}, kLongestLease{3600};

/// One request. The members after `operation` are those of Open, and `session` also of Keep and Close.
struct ControlRequest {
    enum class Operation : int {
        Info,   ///< who are you?
        Time,   ///< which time is it?
        Open,   ///< begin a session
        Keep,   ///< is the session still there?
        Close,  ///< end the session
    };
    Operation operation = Operation::Info;
    int protocol = kAgentProtocol;
    std::string program = {};   ///< version of the program, "0.1.0"
    std::string session = {};   ///< 32 hexadecimal digits
    std::string holder = {};    ///< who holds it, for people: "anna@desk, process 4711"
    std::string instance = {};  ///< of the agent that has the session; empty: any
    std::chrono::seconds lease = kDefaultLease;
};

struct AgentInterface {
    std::string name;      ///< at most 15 characters
    double line_rate = 0;  ///< bit/s, finite
    bool is_up = false;
};

/// What an agent says about itself.
struct AgentInfo {
    std::string name;
    std::vector<AgentInterface> interfaces;  ///< that it offers
    bool is_simulated = false;               ///< offers simulated ports
    double load = 0;                         ///< of its machine, in the last minute, per core
    std::string holder;                      ///< of its session; empty without one
};

/// The answer to any request. Which members there are depends on the request.
struct ControlAnswer {
    int protocol = kAgentProtocol;
    std::string program = {};
    std::string name = {};      ///< of the agent
    std::string instance = {};  ///< another one each time an agent is started: 32 hexadecimal digits
    std::string error = {};     ///< if not empty, the request was refused, for this reason
    std::optional<AgentInfo> info = {};
    bool is_known = false;                    ///< Keep: the agent has this session
    std::chrono::nanoseconds steady_time{};   ///< of any answer: the agent's steady clock
    std::chrono::nanoseconds system_time{};   ///< since 1970
    std::chrono::nanoseconds latest_start{};  ///< Keep: how much too late a start was at most
    std::string figures = {};                 ///< Keep, Close: of the live ports, see settings.h
};

/// 32 hexadecimal digits, not to be guessed.
std::string MakeUniqueName();

std::string ToJson(const ControlRequest& request);
std::string ToJson(const ControlAnswer& answer);
ControlRequest ReadControlRequest(std::string_view json);
ControlAnswer ReadControlAnswer(std::string_view json);

/// "agent "lounge" is iptvtest 0.2.0 (protocol 2), this is iptvtest 0.1.0 (protocol 1): they do not fit";
/// empty if they fit.
std::string FindVersionProblem(const std::string& who, int protocol, const std::string& program);

}  // namespace orv::app
