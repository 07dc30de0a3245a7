// Shows a plug-in: loads it into a host, lists what it added, checks a small configuration, and sends one of
// its messages to bytes and back.
#include <fmt/format.h>

#include <cstdio>

#include "msgset/iptvcd_1.h"
#include "orv/common/exceptions.h"
#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/core/protocol.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/plugin_loader.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/validation.h"
#include "orv/tm/message.h"

namespace {

using namespace orv;  // NOLINT: a small program

void ShowClasses(std::uint8_t plugin_id) {
    fmt::print("Classes\n");
    for (const auto* meta_class : framework::CMetaClassManager::Instance().GetClasses()) {
        if (meta_class->GetClassId().GetPluginId() != plugin_id) continue;
        fmt::print("  {:#010x} {:26} {:2} properties   {}\n", meta_class->GetClassId().GetValue(),
                   meta_class->GetName(), meta_class->GetDefinition().own_properties.size(),
                   meta_class->GetDefinition().doc);
    }
    fmt::print("Relations\n");
    for (const auto* relation : framework::CRelationManager::Instance().GetRelations()) {
        if (relation->type >> 24 != plugin_id) continue;
        const auto& classes = framework::CMetaClassManager::Instance();
        fmt::print("  {:#010x} {:15} {} -> {}\n", relation->type, relation->name,
                   classes.GetClass(relation->source)->GetName(),
                   classes.GetClass(relation->target)->GetName());
    }
}

using framework::CScriptable;

CScriptable& Make(const char* class_name, CScriptable& parent, const char* name) {
    framework::CScriptableCreator creator;
    CScriptable* object = creator.Create(class_name, &parent);
    if (!object) throw common::COrvRunTimeError(creator.GetErrorText());
    object->Set("Name", name);
    return *object;
}

void Relate(CScriptable& from, const char* relation, CScriptable& to) {
    std::string why;
    if (!from.AddObject(to, {framework::CRelationManager::Instance().FindType(relation), 0}, &why))
        throw common::COrvRunTimeError(why);
}

void ShowReports(CScriptable& project) {
    framework::ValidationContext context;
    framework::ValidatorRegistry::Instance().ValidateTree(project, context);
    for (const auto& report : context.GetErrors()) fmt::print("    {}: {}\n", report.object, report.message);
    if (context.GetErrors().empty()) fmt::print("    nothing to report\n");
}

/// A block of a hundred set-top boxes on a port that watches the four channels of a multicast group.
void ShowValidation(CScriptable& project) {
    CScriptable& group = Make("Ipv4Group", project, "Groups of the news");
    CScriptable& channels = Make("IptvChannelBlock", project, "News");
    Relate(channels, "MulticastParam", group);
    CScriptable& range = Make("IptvViewedChannels", project, "All news");
    range.Set("ChannelBlock", std::to_string(channels.GetHandle()));
    CScriptable& profile = Make("IptvViewingProfileConfig", project, "Hasty");
    CScriptable& device = Make("EmulatedDevice", project, "Living rooms");
    device.Set("DeviceCount", "100");
    Relate(device, "AffiliationPort", Make("Port", project, "Port 1"));
    CScriptable& ethernet = Make("EthIIIf", device, "Ethernet");
    CScriptable& ip = Make("Ipv4If", device, "IPv4");
    Relate(ip, "StackedOn", ethernet);
    CScriptable& igmp = Make("IgmpHostConfig", device, "IGMP");
    Relate(igmp, "UsesIf", ip);
    CScriptable& block = Make("IptvStbBlockConfig", device, "Viewers");
    Relate(block, "IptvProfile", profile);
    Relate(block, "MulticastParam", igmp);
    Relate(block, "StbChannel", range);

    fmt::print("Validation\n  of a small configuration:\n");
    ShowReports(project);
    range.Set("ChannelRangeEnd", "9");
    profile.Set("Interval", "475");
    fmt::print("  of the same with channels that nobody sends, and an odd zap interval:\n");
    ShowReports(project);
}

void ShowMessage() {
    iptvcd_1_bll::profileConfig_s profile{};
    profile.profile_handle = 42;
    profile.zap_behavior = iptvcd_1_bll::ZapBehavior::ZAP_N_VIEW;
    profile.leave_to_leave_delay = 1000;
    profile.view_duration = 10000;

    tm::Message request;
    iptvcd_1_bll::create_req_UpdateProfile(&request, {profile}, true);
    const std::vector<std::byte> bytes = request.encode();
    fmt::print("Message {} as {} bytes\n", request.get_request_name(), bytes.size());

    const tm::Message received = tm::Message::decode(bytes);
    std::vector<iptvcd_1_bll::profileConfig_s> profiles;
    iptvcd_1_bll::parse_req_UpdateProfile(&received, &profiles);
    const auto& got = profiles.at(0);
    fmt::print("  read back: profile {}, {}, a zap every {} ms, views of {} ms\n", got.profile_handle,
               tm::tms_enum_to_string(static_cast<int>(got.zap_behavior), iptvcd_1_bll::em_ZapBehavior),
               got.leave_to_leave_delay, got.view_duration);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fmt::print(stderr, "Usage: {} PLUGIN\n", argv[0]);
        return 2;
    }
    try {
        core::CHostApplication host;
        host.LoadPlugin(argv[1]);
        const auto& plugin = framework::CPluginLoader::Instance().GetPlugins().front();
        fmt::print("Plug-in {}, version {}\n", plugin.path.filename().string(), plugin.version);
        for (const auto* protocol : core::CProtocolModule::Instance().GetProtocols()) {
            fmt::print("Protocol {} (id {}, category {})\n", protocol->GetName(), protocol->GetId(),
                       protocol->GetCategory());
        }
        ShowClasses(0x21);
        ShowValidation(host.GetProject());
        ShowMessage();
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
    return 0;
}
