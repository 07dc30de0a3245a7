#include "results/IptvChannelResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace Id = ids::IptvChannelResults;

ClassId CIptvChannelResults::CLASS_ID() {
    static const ClassId id = Id::CLASS;
    return id;
}

const framework::CMetaClass* CIptvChannelResults::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

void CIptvChannelResults::ResetResults() {
    Set(Id::ChannelName, "NA");
    Set(Id::NumOfChannels, std::uint32_t{0});
    CompleteResetJoinLeaveResults();
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvChannelResults> registration{CIptvChannelResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
