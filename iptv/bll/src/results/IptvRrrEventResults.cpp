#include "results/IptvRrrEventResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"

namespace orv::iptv {

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvRrrEventResults> registration{CIptvRrrEventResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
