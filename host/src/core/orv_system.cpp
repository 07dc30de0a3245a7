#include "orv/core/orv_system.h"

#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"

namespace orv::core {

namespace {

COrvSystem* the_system = nullptr;

}  // namespace

COrvSystem::COrvSystem() {
    the_system = this;
}

COrvSystem::~COrvSystem() {
    if (the_system == this) the_system = nullptr;
}

framework::ClassId COrvSystem::CLASS_ID() {
    return ids::System::CLASS;
}

COrvSystem& COrvSystem::Instance() {
    ORV_ASSERT(the_system != nullptr, "No host is running");
    return *the_system;
}

bool COrvSystem::OfflinePortsTakePart() {
    return the_system && the_system->GetMetaClass() && the_system->GetBool(ids::System::OfflinePortsTakePart);
}

ORV_REGISTER_CLASS(COrvSystem);

}  // namespace orv::core
