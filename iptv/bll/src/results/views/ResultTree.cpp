#include "results/views/ResultTree.h"

#include "orv/common/exceptions.h"
#include "orv/core/orv_system.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"
#include "results/views/ViewDefinitions.h"

namespace orv::iptv {

using framework::CScriptable;

CScriptable* ResultTree::CreateResultDbNodeDef(CScriptable* parent, const std::string& name,
                                               const std::string& description, const std::string& select,
                                               const std::string& from, const std::string& where,
                                               CScriptable** viewOut) {
    framework::CScriptableCreator creator;
    CScriptable* view = creator.Create(ids::EotResultViewDefinition::CLASS, &core::COrvSystem::Instance());
    ORV_ASSERT(view != NULL, "Failed to create End of Test Result View");
    created_.push_back(view->GetHandle());
    view->Set("Name", name);
    view->Set("Description", description);
    view->Set("Category", "");
    view->Set("ResultViewType", "SQL_GRID");
    view->Set("SqlCommand", BuildSql(select, from, where));

    CScriptable* node = creator.Create(ids::EotResultNode::CLASS, parent);
    ORV_ASSERT(node != NULL, "Failed to create End of Test Result Node");
    created_.push_back(node->GetHandle());
    node->SetT<std::string>(ids::Scriptable::Name, name);
    node->SetT<std::string>(ids::EotResultNode::Description, description);
    node->Set(ids::EotResultNode::ViewDefinition, view->GetHandle());
    node->Set(ids::EotResultNode::Status, std::uint8_t{0});
    node->SetCollection<std::string>(ids::EotResultNode::ParameterNames, {"@DataSetId"});
    node->SetCollection<std::string>(ids::EotResultNode::ParameterValues, {std::to_string(data_set_id_)});
    if (viewOut) *viewOut = view;
    return node;
}

CScriptable* ResultTree::CreateViewNode(CScriptable* parent, const views::View& view) {
    return CreateResultDbNodeDef(parent, view.name, view.description, view.GetSelect(kind_), view.from,
                                 view.where);
}

CScriptable* ResultTree::CreateIterationSummaryViewNode(CScriptable* parent, int iteration) {
    const views::View& view = views::kTestSummary;
    const std::string name = iteration == 0 ? view.name : "IPTV Iteration #" + std::to_string(iteration);
    return CreateResultDbNodeDef(parent, name, view.description, view.GetSelect(kind_), view.from,
                                 view.where);
}

CScriptable* ResultTree::CreateTemplateViewNode(CScriptable* parent, const std::string& name,
                                                const std::string& description,
                                                const std::string& command_line) {
    CScriptable* view = nullptr;
    CScriptable* node = CreateResultDbNodeDef(parent, name, description, "", "", "", &view);
    view->Set("ResultViewType", "EXTERNAL_REPORT");
    view->Set("ExternalReportCommandLine", command_line);
    return node;
}

CScriptable* ResultTree::CreateSummaryTemplateViewNode(CScriptable* parent) {
    return CreateTemplateViewNode(parent, "Test Result Summary Template View",
                                  "Summary Template of Test Results",
                                  "templates/IptvAggregateResultsTemplate.rtp");
}

CScriptable* ResultTree::CreateDetailedTemplateViewNode(CScriptable* parent) {
    return CreateTemplateViewNode(parent, "Test Result Detailed Template View",
                                  "Individual STB and Channel Results Template",
                                  "templates/IptvSetTopBoxAndIndividualChannelResults.rtp");
}

void ResultTree::Destroy() {
    for (auto handle = created_.rbegin(); handle != created_.rend(); ++handle) {
        // Deleting a node deletes those below it, which may be in the list as well.
        if (CScriptable* object = framework::CHandleRegistry::Instance().Find(*handle)) object->Delete();
    }
    created_.clear();
}

}  // namespace orv::iptv
