#include "orv/il/streams_on_air.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace orv::il {

StreamsOnAir::StreamsOnAir(Paths paths) : paths_(std::move(paths)) {
    for (std::size_t path = 0; path < paths_.size(); ++path) {
        const auto& [hosts, groups] = paths_[path];
        if (hosts.empty()) continue;
        // Group i has every nth host. There may be a million streams, so they are not enumerated.
        const std::size_t step = std::gcd(hosts.size(), groups.size());
        for (std::size_t i = 0; i < groups.size(); ++i) senders_[groups[i]].push_back({path, i % step, step});
    }
}

bool StreamsOnAir::IsSent(const ipAddress_t& group, const SourceFilter& filter) const {
    const auto found = senders_.find(group);
    if (found == senders_.end()) return false;
    const auto passes = [&filter](const ipAddress_t& source) {
        const bool is_listed =
            std::find(filter.sources.begin(), filter.sources.end(), source) != filter.sources.end();
        return is_listed == filter.include;
    };
    return std::any_of(found->second.begin(), found->second.end(), [&](const Senders& senders) {
        const std::vector<ipAddress_t>& hosts = paths_[senders.path].hosts;
        for (std::size_t i = senders.first; i < hosts.size(); i += senders.step) {
            if (passes(hosts[i])) return true;
        }
        return false;
    });
}

}  // namespace orv::il
