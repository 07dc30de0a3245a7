// Everything that the plug-in registers, against a list: a registration that is lost by the linker or added
// by accident shows as a difference. To renew the list after a wanted change, run this test with
// ORV_RENEW_GOLDEN=1.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "orv/core/host_application.h"
#include "orv/core/protocol.h"
#include "orv/core/result.h"
#include "orv/framework/apply.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/resources.h"
#include "orv/framework/validation.h"

namespace {

using namespace orv::framework;  // NOLINT: a test

std::string Hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

std::set<std::string> TakeInventory() {
    std::set<std::string> inventory;
    const auto& classes = CMetaClassManager::Instance();
    for (const ClassId id : CMetaClass::GetClassesWithFactory()) {
        if (id.GetPluginId() == 0x21)
            inventory.insert("factory " + Hex(id.GetValue()) + " " + classes.GetClass(id)->GetName());
    }
    for (const CMetaClass* meta_class : classes.GetClasses()) {
        if (meta_class->GetClassId().GetPluginId() != 0x21) continue;
        for (const CPropertyMeta& property : meta_class->GetDefinition().own_properties) {
            inventory.insert("property " + Hex(property.id.GetValue()) + " " + meta_class->GetName() + "." +
                             property.name + " " + GetTypeName(property.type) +
                             (property.collection ? " list" : "") + " default " +
                             property.Format(property.default_value));
        }
    }
    for (const CRelationMeta* relation : CRelationManager::Instance().GetRelations()) {
        if (relation->type >> 24 != 0x21) continue;
        inventory.insert("relation " + Hex(relation->type) + " " + relation->name + " " +
                         classes.GetClass(relation->source)->GetName() + " -> " +
                         classes.GetClass(relation->target)->GetName());
    }
    const auto add_of_class = [&inventory](const std::string& kind, const auto& of) {
        inventory.insert(kind + of.GetCategory() + " " + of.GetName() + " " +
                         Hex(of.GetClassId().GetValue()));
    };
    for (const auto* each : ValidatorRegistry::Instance().GetValidators()) add_of_class("validator ", *each);
    for (const auto* each : ApplyToILHandlerRegistry::Instance().GetHandlers())
        add_of_class("apply handler ", *each);
    for (const auto* each : orv::core::CProtocolModule::Instance().GetProtocols())
        inventory.insert("protocol " + each->GetCategory() + " " + each->GetName());
    for (const auto* each : orv::core::CResultModule::Instance().GetHandlers())
        inventory.insert("result handler " + each->GetName());
    for (const std::uint32_t id : CResourceManager::Instance().GetIds()) {
        if (id >> 24 == 0x21)
            inventory.insert("resource " + Hex(id) + " [" +
                             CResourceManager::Instance().GetStringResource(id) + "]");
    }
    return inventory;
}

TEST(InventoryTest, IsWhatTheListSays) {
    orv::core::CHostApplication host({ClockKind::Virtual});
    host.LoadPlugin(PLUGIN_PATH);
    std::string found;
    for (const std::string& entry : TakeInventory()) found += entry + "\n";
    if (std::getenv("ORV_RENEW_GOLDEN")) std::ofstream(INVENTORY_FILE) << found;
    std::ostringstream listed;
    listed << std::ifstream(INVENTORY_FILE).rdbuf();
    EXPECT_EQ(found, listed.str());
}

}  // namespace
