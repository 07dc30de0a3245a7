// Entry points of the plug-in. The host looks them up by name, so their names are not mangled.
#include "IptvLog.h"
#include "IptvProtocol.h"
#include "IptvResourceRegisterer.h"
#include "IptvResources.h"
#include "PluginVersion.h"

#include "control/IptvStartTestCommand.h"
#include "orv/core/protocol.h"
#include "orv/core/result.h"
#include "results/IptvResultsHandler.h"

extern "C" {

int PluginRegister() {
    const orv::iptv::IptvResourceRegisterer resources;
    orv::iptv::LogResource(orv::iptv::devLogger(), orv::framework::LogLevelType::Info,
                           orv::iptv::resource::kRegistering, {""});
    orv::core::CProtocolModule::Instance().RegisterProtocol(orv::iptv::CIptvProtocol::Instance());
    orv::core::CResultModule::Instance().RegisterResultHandler(orv::iptv::CIptvResultsHandler::Instance(),
                                                               false);
    orv::core::CClearResultHandlerRegistry::Instance().RegisterClearResultHandler(
        orv::core::CClearResultHandlerRegistry::Handler::To<
            &orv::iptv::CIptvStartTestCommand::ResetResultClasses>());
    return 0;
}

/// Nothing to undo: registrations last until the process ends.
int PluginUnregister() {
    return 0;
}

const char* PluginVersion() {
    return orv::iptv::kPluginVersion;
}

}  // extern "C"
