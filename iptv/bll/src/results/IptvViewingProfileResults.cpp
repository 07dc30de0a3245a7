#include "results/IptvViewingProfileResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"

namespace orv::iptv {

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvViewingProfileResults> registration{
    CIptvViewingProfileResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
