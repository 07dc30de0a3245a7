#include "orv/bus/names.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::bus {

std::string find_name_problem(std::string_view name) {
    constexpr std::string_view kAllowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    const auto is_allowed = [&](char c) { return kAllowed.find(c) != std::string_view::npos; };
    if (name == "controller") return "\"controller\" cannot name an agent: controllers have it";
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

std::string lane_subject(Lane lane, std::string_view agent, std::string_view session) {
    constexpr const char* kNames[kLaneCount] = {"down", "answers", "reports"};
    return fmt::format("{}.agent.{}.{}.{}", kRoot, agent, kNames[static_cast<std::size_t>(lane)], session);
}

std::string answers_of_agent(std::string_view agent) {
    return fmt::format("{}.agent.{}.answers", kRoot, agent);
}

std::string inbox_prefix_of_agent(std::string_view agent) {
    return fmt::format("{}.inbox.{}", kRoot, agent);
}

}  // namespace orv::bus
