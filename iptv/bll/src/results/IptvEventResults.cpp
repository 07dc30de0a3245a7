#include "results/IptvEventResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"

namespace orv::iptv {

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvEventResults> registration{CIptvEventResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
