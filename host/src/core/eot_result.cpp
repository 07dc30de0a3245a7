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
void CEotResultViewDefinition::SetDescription(const std::string& text) {
    Set(view_ids::Description, text);
}
void CEotResultViewDefinition::SetResultViewType(const std::string& type) {
    Set(view_ids::ResultViewType, type);
}
void CEotResultViewDefinition::SetSqlCommand(const std::string& sql) {
    Set(view_ids::SqlCommand, sql);
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
void CEotResultNode::SetDescription(const std::string& text) {
    Set(node_ids::Description, text);
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

ORV_REGISTER_CLASS(CEotResultViewDefinition);
ORV_REGISTER_CLASS(CEotResultNode);

}  // namespace orv::core
