#include "live_section.h"
#include "schema_parts.h"

namespace orv::app {

Json MakeLiveDefinition() {
    const nic::MembershipSettings defaults;
    return {{"type", {"object", "null"}},
            {"description", "How the hosts of live ports, those on a network interface, behave."},
            {"additionalProperties", false},
            {"properties",
             {{"report_suppression",
               {{"type", "boolean"},
                {"default", defaults.suppress_reports},
                {"description",
                 "IGMPv1, IGMPv2, MLDv1: a host keeps quiet about a group when another has reported it."}}},
              {"robustness",
               {{"type", "integer"},
                {"minimum", kLeastRobustness},
                {"maximum", kMostRobustness},
                {"default", defaults.robustness},
                {"description", "How often a join or leave is told (RFC 3376 section 8.1)."}}}}}};
}

}  // namespace orv::app
