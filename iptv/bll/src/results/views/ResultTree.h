// The tree of result nodes of a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/framework/scriptable.h"
#include "running/TestKind.h"

namespace orv::iptv {

namespace views {
struct View;
}

/// Creates result nodes and their view definitions. Throws COrvLogicError if one cannot be created.
class ResultTree {
  public:
    ResultTree(const TestKind& kind, std::uint32_t data_set_id) : kind_(kind), data_set_id_(data_set_id) {}

    /// Iteration 0: the whole test.
    framework::CScriptable* CreateIterationSummaryViewNode(framework::CScriptable* parent, int iteration);
    framework::CScriptable* CreateViewNode(framework::CScriptable* parent, const views::View& view);
    framework::CScriptable* CreateSummaryTemplateViewNode(framework::CScriptable* parent);
    framework::CScriptable* CreateDetailedTemplateViewNode(framework::CScriptable* parent);

    /// A grid with the result of an SQL query. The title of a column is its display name unless given; a
    /// column without a table belongs to the first table. `viewOut`, if not null, receives the view
    /// definition.
    framework::CScriptable* CreateResultDbNodeDef(framework::CScriptable* parent, const std::string& name,
                                                  const std::string& description, const std::string& select,
                                                  const std::string& from, const std::string& where,
                                                  framework::CScriptable** viewOut = nullptr);

    /// Destroys all nodes and definitions created.
    void Destroy();

  private:
    framework::CScriptable* CreateTemplateViewNode(framework::CScriptable* parent, const std::string& name,
                                                   const std::string& description,
                                                   const std::string& command_line);

    TestKind kind_;
    std::uint32_t data_set_id_;
    std::vector<std::uint32_t> created_;  ///< handles
};

/// "SELECT ... FROM ... WHERE ..."; empty if all three parameters are.
std::string BuildSql(const std::string& select, const std::string& from, const std::string& where);

}  // namespace orv::iptv
