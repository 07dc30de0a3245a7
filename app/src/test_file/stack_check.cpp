#include "stack_check.h"

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "names.h"
#include "orv/ids/core_ids.h"

namespace orv::app {

namespace {

/// What an object is stacked on; null for nothing.
const PlannedReference* FindLower(const PlannedObject& object) {
    for (const PlannedRelation& relation : object.relations) {
        if (relation.type == ids::relations::StackedOn.type && !relation.targets.empty())
            return &relation.targets.front();
    }
    return nullptr;
}

/// Reports a cycle once, at its last relation in the file: without that one there is no cycle.
void Refuse(const Plan& plan, const std::vector<std::size_t>& circle, MistakeList& mistakes) {
    const auto place_of = [&plan](std::size_t index) {
        const Position at = FindLower(plan.At(index))->at;
        return std::tuple(at.setting, at.line, at.column);
    };
    const auto last = std::max_element(circle.begin(), circle.end(), [&](std::size_t a, std::size_t b) {
        return place_of(a) < place_of(b);
    });
    std::vector<std::string> between;
    for (auto at = last + 1; at != circle.end(); ++at) between.push_back(plan.Describe(*at));
    for (auto at = circle.begin(); at != last; ++at) between.push_back(plan.Describe(*at));
    constexpr std::size_t kMostShown = 5;
    mistakes.Add({FindLower(plan.At(*last))->at, plan.Describe(*last), "StackedOn"},
                 between.empty()
                     ? "the interface is stacked on itself"
                     : "the interface is stacked on itself, by way of " + JoinNames(between, kMostShown));
}

}  // namespace

void CheckStacks(const Plan& plan, MistakeList& mistakes) {
    std::vector<bool> is_met(plan.Objects().size(), false);
    for (std::size_t first = 0; first < is_met.size(); ++first) {
        std::vector<std::size_t> walk;
        std::optional<std::size_t> at = first;
        while (at && !is_met[*at]) {
            is_met[*at] = true;
            walk.push_back(*at);
            const PlannedReference* lower = FindLower(plan.At(*at));
            at = lower ? std::optional(lower->target) : std::nullopt;
        }
        if (!at) continue;  // the end of a stack
        // A cycle if it was visited on this walk, not on an earlier one.
        const auto start = std::find(walk.begin(), walk.end(), *at);
        if (start != walk.end()) Refuse(plan, {start, walk.end()}, mistakes);
    }
}

}  // namespace orv::app
