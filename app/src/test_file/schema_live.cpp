#include <limits>

#include "live_section.h"
#include "schema_parts.h"

namespace orv::app {

namespace {

Json MakeBool(bool value, const char* description) {
    return {{"type", "boolean"}, {"default", value}, {"description", description}};
}

template <class T>
Json MakeWhole(T least, T most, const char* description) {
    return {{"type", "integer"}, {"minimum", least}, {"maximum", most}, {"description", description}};
}

}  // namespace

Json MakeLiveDefinition() {
    const LiveSettings defaults;
    Json robustness = MakeWhole(kLeastRobustness, kMostRobustness,
                                "How often a join or leave is told (RFC 3376 section 8.1).");
    robustness["default"] = defaults.membership.robustness;
    return {
        {"type", {"object", "null"}},
        {"description", "How the hosts of live ports, those on a network interface, behave."},
        {"additionalProperties", false},
        {"properties",
         {{"report_suppression",
           MakeBool(defaults.membership.suppress_reports,
                    "IGMPv1, IGMPv2, MLDv1: a host keeps quiet about a group when another has reported it.")},
          {"robustness", robustness},
          {"port_mapping",
           MakeBool(defaults.unicast.port_mapping,
                    "Requests to the server carry a token that it has given before (RFC 6284).")},
          {"reduced_size_rtcp", MakeBool(defaults.unicast.reduced_size,
                                         "RTCP packets without receiver report and CNAME (RFC 5506).")},
          {"s_bit",
           {{"enum", GetSbitNames()},
            {"default", GetSbitNames()[static_cast<std::size_t>(defaults.unicast.sbit)]},
            {"description",
             "What tells a host during a burst to join: a bit in the RTP header extension, the join time "
             "of the server's response (RFC 6285), or whichever comes."}}},
          {"channel_ssrc_base",
           MakeWhole<std::uint32_t>(
               0, std::numeric_limits<std::uint32_t>::max(),
               "Channel number n is the RTP stream with this SSRC plus n; without it, the "
               "one whose SSRC is the last 32 bits of its group.")},
          {"burst_bitrate_limit",
           MakeWhole<std::uint64_t>(0, std::numeric_limits<std::uint64_t>::max(),
                                    "bit/s that a host can receive during a burst, as it tells the server; "
                                    "0: it does not.")}}}};
}

}  // namespace orv::app
