#include "control/IptvStopTestCommand.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

ClassId CIptvStopTestCommand::CLASS_ID() {
    static const ClassId id = ids::IptvStopTestCommand::CLASS;
    return id;
}

const framework::CMetaClass* CIptvStopTestCommand::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

void CIptvStopTestCommand::DoRun() {
    CIptvResultsManager* manager = CIptvResultsManager::GetResultsManager();
    if (!manager->IsFinishing()) manager->EndOfTestProcessing(true);
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvStopTestCommand> registration{CIptvStopTestCommand::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
