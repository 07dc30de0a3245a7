// Names of agents, and the subjects that belong to them.
#pragma once

#include <string>
#include <string_view>

namespace orv::bus {

inline constexpr std::size_t kLongestName = 32;

/// Why a text cannot name an agent; empty if it can. Letters, digits, '-' and '_' only: a name is one part of
/// a subject, and '.', '*', '>' or blanks in it would reach subjects of others.
std::string find_name_problem(std::string_view name);

/// Subjects begin with the version of what is said on them: agents and controllers that do not understand
/// each other's version do not hear each other by accident.
inline constexpr std::string_view kRoot = "iptvtest.1";

/// Where every agent hears that somebody looks for agents.
std::string discovery_subject();
/// Where an agent takes requests of controllers.
std::string control_subject(std::string_view agent);
/// What an agent's port is sent, and what it sends, in a session.
std::string downward_subject(std::string_view agent, std::string_view session);
std::string upward_subject(std::string_view agent, std::string_view session);
/// Stream of the server that keeps what an agent sends until it is acknowledged.
std::string stream_name(std::string_view agent);

}  // namespace orv::bus
