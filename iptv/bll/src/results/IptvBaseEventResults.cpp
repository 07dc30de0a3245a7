#include "results/IptvBaseEventResults.h"

#include "InitAttributeBuilder.h"

namespace orv::iptv {

namespace base_event_results {

const bool init_ab = InitAttributeBuilder();

}  // namespace base_event_results

}  // namespace orv::iptv
