#include "figures.h"

#include "run/report_of_test.h"

namespace orv::app {

std::span<const Subject> GetSubjects() {
    static constexpr Subject subjects[] = {
        {"test", "a test", "", nullptr, true, true},
        {"port", "a port", "Port", &TestReport::ports, false, false},
        {"STB block", "an STB block", "IptvStbBlockConfig", &TestReport::stb_blocks, true, true},
        {"profile", "a profile", "IptvViewingProfileConfig", &TestReport::profiles},
        {"channel range", "a channel range", "IptvViewedChannels", &TestReport::channel_ranges},
    };
    return subjects;
}

std::span<const Count> GetCounts() {
    using enum Count::Share;
    static constexpr Count counts[] = {
        {"views", {"NumOfChannelChanges"}},
        {"failed joins", {"JoinFails", "UnicastJoinFails"}, OfJoins},
        {"duplicate joins", {"DuplicateJoins", "DuplicateUnicastJoins"}},
        {"flagged joins", {"FlaggedJoins", "FlaggedUnicastJoins"}, None, true, true},
        {"flagged leaves", {"FlaggedLeaves", "FlaggedUnicastLeaves"}, None, true, true},
        {"failed retransmissions", {"FailedRetransmissionCount"}},
        {"packets", {"TotalPkts"}, None, false},
        {"lost", {"DroppedFrameCount", "DroppedUnicastFrameCount"}, OfPackets, false},
        {"reordered", {"ReorderedFrameCount", "ReorderedUnicastFrameCount"}, OfPackets, false},
        {"duplicate", {"DuplicateFrameCount", "DuplicateUnicastFrameCount"}, OfPackets, false},
        {"late", {"LateFrameCount", "LateUnicastFrameCount"}, OfPackets, false},
        {"payload errors", {"PrbsErrorCount", "UnicastPrbsErrorCount"}, OfPackets, false},
    };
    return counts;
}

std::span<const char* const> GetLatencies() {
    static constexpr const char* latencies[] = {
        "join latency",    "leave latency",        "change latency",        "gap latency",
        "overlap latency", "unicast join latency", "retransmission latency"};
    return latencies;
}

std::span<const TimeUnit> GetTimeUnits() {
    static constexpr TimeUnit units[] = {
        {"us", 1e3, 1}, {"\u00b5s", 1e3, 1}, {"ms", 1, 1}, {"s", 1, 1e3}, {"min", 1, 6e4}};
    return units;
}

std::vector<std::string> GetFigureNames(const Subject& subject) {
    const auto latencies = GetLatencies();
    std::vector<std::string> names(latencies.begin(), latencies.end());
    for (const Count& count : GetCounts()) {
        if (count.IsKnownOf(subject)) names.emplace_back(count.name);
    }
    return names;
}

}  // namespace orv::app
