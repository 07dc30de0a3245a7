// A plug-in whose parts are chosen by the build.
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/static_registration.h"

namespace {

using namespace orv::framework;  // NOLINT: a test

#ifdef MODEL
const bool model = [] {
    CStaticRegistration::Run([] { CMetaClassManager::Instance().ActivateDataModel(MODEL); });
    return true;
}();
#endif
#ifdef FACTORY_FOR
const StaticRegisterClass<CScriptable> registration{FACTORY_FOR};
#endif

}  // namespace

extern "C" {
#ifdef ENTRY_VERSION
const char* PluginVersion() {
    return "1.2.3";
}
#endif
#ifdef ENTRY_REGISTER
int PluginRegister() {
    return ENTRY_REGISTER;
}
#endif
#ifdef ENTRY_UNREGISTER
int PluginUnregister() {
    return 0;
}
#endif
int UnusedByTheHost() {
    return 0;
}
}
