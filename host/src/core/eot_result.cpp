#include "orv/core/eot_result.h"

#include <algorithm>
#include <utility>

#include "orv/framework/handle_registry.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"

namespace orv::core {

namespace node_ids = ids::EotResultNode;
namespace view_ids = ids::EotResultViewDefinition;

framework::ClassId CEotResultViewDefinition::CLASS_ID() {
    return view_ids::CLASS;
}
const std::string& CEotResultViewDefinition::GetDescription() const {
    return GetString(view_ids::Description);
}
void CEotResultViewDefinition::SetDescription(const std::string& text) {
    Set(view_ids::Description, text);
}
const std::string& CEotResultViewDefinition::GetCategory() const {
    return GetString(view_ids::Category);
}
void CEotResultViewDefinition::SetCategory(const std::string& category) {
    Set(view_ids::Category, category);
}
const std::string& CEotResultViewDefinition::GetResultViewType() const {
    return GetString(view_ids::ResultViewType);
}
void CEotResultViewDefinition::SetResultViewType(const std::string& type) {
    Set(view_ids::ResultViewType, type);
}
const std::string& CEotResultViewDefinition::GetSqlCommand() const {
    return GetString(view_ids::SqlCommand);
}
void CEotResultViewDefinition::SetSqlCommand(const std::string& sql) {
    Set(view_ids::SqlCommand, sql);
}
const std::string& CEotResultViewDefinition::GetExternalReportCommandLine() const {
    return GetString(view_ids::ExternalReportCommandLine);
}
void CEotResultViewDefinition::SetExternalReportCommandLine(const std::string& command_line) {
    Set(view_ids::ExternalReportCommandLine, command_line);
}

framework::ClassId CEotResultNode::CLASS_ID() {
    return node_ids::CLASS;
}
CEotResultViewDefinition* CEotResultNode::GetViewDefinition() const {
    framework::CScriptable* object =
        framework::CHandleRegistry::Instance().Find(GetU32(node_ids::ViewDefinition));
    return object && !object->IsDeleted() ? dynamic_cast<CEotResultViewDefinition*>(object) : nullptr;
}
void CEotResultNode::SetViewDefinition(const CEotResultViewDefinition& definition) {
    Set(node_ids::ViewDefinition, definition.GetHandle());
}
const std::string& CEotResultNode::GetDescription() const {
    return GetString(node_ids::Description);
}
void CEotResultNode::SetDescription(const std::string& text) {
    Set(node_ids::Description, text);
}
std::uint8_t CEotResultNode::GetStatus() const {
    return GetU8(node_ids::Status);
}
void CEotResultNode::SetStatus(std::uint8_t status) {
    Set(node_ids::Status, status);
}

void CEotResultNode::SetParameter(const std::string& name, const std::string& value) {
    auto names = GetCollection<std::string>(node_ids::ParameterNames);
    auto values = GetCollection<std::string>(node_ids::ParameterValues);
    values.resize(names.size());
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
        names.push_back(name);
        values.push_back(value);
    } else {
        values[static_cast<std::size_t>(found - names.begin())] = value;
    }
    SetCollection(node_ids::ParameterNames, std::move(names));
    SetCollection(node_ids::ParameterValues, std::move(values));
}

const std::string* CEotResultNode::FindParameter(const std::string& name) const {
    const auto& names = GetCollection<std::string>(node_ids::ParameterNames);
    const auto& values = GetCollection<std::string>(node_ids::ParameterValues);
    const auto index = static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin());
    return index < names.size() && index < values.size() ? &values[index] : nullptr;
}

static const framework::StaticRegisterClass<CEotResultViewDefinition> view_registration{
    CEotResultViewDefinition::CLASS_ID()};
static const framework::StaticRegisterClass<CEotResultNode> node_registration{CEotResultNode::CLASS_ID()};

}  // namespace orv::core
