#include "orv/bus/names.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::bus {

std::string find_name_problem(std::string_view name) {
    constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    const auto is_allowed = [&](char c) { return kAllowed.find(c) != std::string_view::npos; };
    if (!name.empty() && name.size() <= kLongestName && std::ranges::all_of(name, is_allowed)) return {};
    return fmt::format("\"{}\" cannot name an agent; expected 1 to {} letters, digits, '-' and '_'", name,
                       kLongestName);
}

std::string discovery_subject() {
    return fmt::format("{}.agents", kRoot);
}

std::string control_subject(std::string_view agent) {
    return fmt::format("{}.agent.{}.control", kRoot, agent);
}

std::string downward_subject(std::string_view agent, std::string_view session) {
    return fmt::format("{}.agent.{}.down.{}", kRoot, agent, session);
}

std::string upward_subject(std::string_view agent, std::string_view session) {
    return fmt::format("{}.agent.{}.up.{}", kRoot, agent, session);
}

std::string stream_name(std::string_view agent) {
    return fmt::format("iptvtest-1-{}", agent);
}

}  // namespace orv::bus
