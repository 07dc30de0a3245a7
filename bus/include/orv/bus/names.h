// Names of agents, and the subjects that belong to them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orv::bus {

inline constexpr std::size_t kLongestName = 32;

/// Why a text cannot name an agent; empty if it can. Letters, digits, '-' and '_' only: a name is one part of
/// a subject, and '.', '*', '>' or blanks in it would reach subjects of others.
std::string find_name_problem(std::string_view name);

/// All subjects begin with it. They do not depend on versions: whoever does not fit is told so.
inline constexpr std::string_view kRoot = "iptvtest";

/// Where every agent hears that somebody looks for agents.
std::string discovery_subject();
/// Where an agent takes requests of controllers: "iptvtest.agent.<name>.control".
std::string control_subject(std::string_view agent);

/// What is said in a session: an ordered sequence of messages from one end to the other.
enum class Lane : std::uint8_t {
    Down,     ///< to the agent
    Answers,  ///< to the controller, directly
    Reports,  ///< to the controller, through the stream, which keeps them while the controller is slow
};
inline constexpr std::size_t kLaneCount = 3;

/// Where a lane's frames are published: "iptvtest.agent.<name>.down.<session>".
std::string lane_subject(Lane lane, std::string_view agent, std::string_view session);

/// The stream that keeps reports, and its subjects: those of the lane Reports of all agents and sessions.
inline constexpr const char* kReportStream = "iptvtest";
inline constexpr const char* kReportSubjects = "iptvtest.agent.*.reports.*";

/// Where an agent answers requests of controllers: nobody else may publish there.
std::string answers_of_agent(std::string_view agent);
/// Where all agents answer who looks for them.
inline constexpr const char* kAnswersToDiscovery = "iptvtest.inbox.controller.found";

/// Where answers to other requests come: agents have a prefix of their own, so that the server can keep them
/// from hearing what others are answered.
std::string inbox_prefix_of_agent(std::string_view agent);
inline constexpr const char* kInboxPrefixOfControllers = "iptvtest.inbox.controller";

}  // namespace orv::bus
