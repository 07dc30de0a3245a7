#include "results/IptvBaseEventResults.h"

#include "InitAttributeBuilder.h"

namespace orv::iptv {

namespace {

const bool init_ab = InitAttributeBuilder();

}  // namespace

}  // namespace orv::iptv
