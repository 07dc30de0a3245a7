#include "port_location.h"

#include <fmt/format.h>

#include <algorithm>

#include "orv/ids/core_ids.h"

namespace orv::app {

namespace {

constexpr std::string_view kSimulatedScheme = "//sim/";
/// Of an interface's name, in Linux.
constexpr std::size_t kLongestName = 15;

bool IsInterfaceName(std::string_view name) {
    const auto is_refused = [](unsigned char c) { return c == '/' || c <= ' '; };
    return !name.empty() && name.size() <= kLongestName && std::none_of(name.begin(), name.end(), is_refused);
}

}  // namespace

std::optional<std::string> GetLiveInterface(const core::CPort& port) {
    const std::string& location = port.GetString(ids::Port::Location);
    if (!location.starts_with(kLiveScheme)) return std::nullopt;
    return location.substr(kLiveScheme.size());
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
    return fmt::format(
        "\"{}\" is no place for a port; expected {}<name> or nothing for a simulated port, "
        "{}<interface> for a live one",
        location, kSimulatedScheme, kLiveScheme);
}

}  // namespace orv::app
