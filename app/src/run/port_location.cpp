#include "port_location.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "orv/bus/names.h"
#include "orv/ids/core_ids.h"

namespace orv::app {

namespace {

constexpr std::string_view kSimulatedScheme = "//sim/";
constexpr std::string_view kLiveScheme = "linux://";
constexpr std::string_view kAgentScheme = "agent://";
/// Before the name of a simulated port of an agent.
constexpr std::string_view kSimulatedPlace = "sim/";
/// Of an interface's name, in Linux.
constexpr std::size_t kLongestName = 15;

bool IsInterfaceName(std::string_view name) {
    const auto is_refused = [](unsigned char c) { return c == '/' || c <= ' '; };
    return !name.empty() && name.size() <= kLongestName && std::none_of(name.begin(), name.end(), is_refused);
}

std::string FindAgentProblem(const std::string& location) {
    const PortPlace place = ReadLocation(location);
    if (const std::string problem = bus::find_name_problem(place.agent); !problem.empty()) return problem;
    // A simulated port without a name is no interface called "sim".
    const bool is_live = IsInterfaceName(place.interface) && place.interface + '/' != kSimulatedPlace;
    if (!place.simulated.empty() || is_live) return {};
    return fmt::format("\"{}\" names no port of agent {}; expected {}{}/<interface> or {}{}/{}<name>",
                       location, place.agent, kAgentScheme, place.agent, kAgentScheme, place.agent,
                       kSimulatedPlace);
}

}  // namespace

PortPlace ReadLocation(const std::string& location) {
    const auto rest = [&location](std::string_view scheme) { return location.substr(scheme.size()); };
    if (location.starts_with(kLiveScheme)) return {{}, rest(kLiveScheme), {}};
    if (location.starts_with(kSimulatedScheme)) return {{}, {}, rest(kSimulatedScheme)};
    if (!location.starts_with(kAgentScheme)) return {};
    const std::string on_agent = rest(kAgentScheme);
    const std::size_t slash = on_agent.find('/');
    if (slash == std::string::npos) return {on_agent, {}, {}};
    const std::string agent = on_agent.substr(0, slash), place = on_agent.substr(slash + 1);
    if (place.starts_with(kSimulatedPlace)) return {agent, {}, place.substr(kSimulatedPlace.size())};
    return {agent, place, {}};
}

PortPlace GetPlace(const core::CPort& port) {
    return ReadLocation(port.GetString(ids::Port::Location));
}

std::string FindLocationProblem(const std::string& location) {
    if (location.empty() || location.starts_with(kSimulatedScheme)) return {};
    if (location.starts_with(kLiveScheme)) {
        if (IsInterfaceName(std::string_view(location).substr(kLiveScheme.size()))) return {};
        return fmt::format(
            "\"{}\" names no network interface; expected {}<interface>, the name of 1 to {} "
            "characters without '/' and blanks",
            location, kLiveScheme, kLongestName);
    }
    if (location.starts_with(kAgentScheme)) return FindAgentProblem(location);
    return fmt::format(
        "\"{}\" is no place for a port; expected {}<name> or nothing for a simulated port, "
        "{}<interface> for a live one, {}<agent>/<interface> or {}<agent>/{}<name> for one of another "
        "machine",
        location, kSimulatedScheme, kLiveScheme, kAgentScheme, kAgentScheme, kSimulatedPlace);
}

}  // namespace orv::app
