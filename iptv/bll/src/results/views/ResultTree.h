// The tree of result nodes that a test leaves behind.
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

/// Makes result nodes, each with the definition of its view, below the nodes that it is given. Throws
/// COrvLogicError when one cannot be made.
class ResultTree {
  public:
    ResultTree(const TestKind& kind, std::uint32_t data_set_id) : kind_(kind), data_set_id_(data_set_id) {}

    /// Iteration 0: the test as a whole.
    framework::CScriptable* CreateIterationSummaryViewNode(framework::CScriptable* parent, int iteration);
    framework::CScriptable* CreateViewNode(framework::CScriptable* parent, const views::View& view);
    framework::CScriptable* CreateSummaryTemplateViewNode(framework::CScriptable* parent);
    framework::CScriptable* CreateDetailedTemplateViewNode(framework::CScriptable* parent);

    /// A grid of what an SQL query selects. Columns without a title get their display names; a column without
    /// table is one of the first table. `viewOut`, when not null, is the view's definition.
    framework::CScriptable* CreateResultDbNodeDef(framework::CScriptable* parent, const std::string& name,
                                                  const std::string& description, const std::string& select,
                                                  const std::string& from, const std::string& where,
                                                  framework::CScriptable** viewOut = nullptr);

    /// Destroys what was made.
    void Destroy();

  private:
    framework::CScriptable* CreateTemplateViewNode(framework::CScriptable* parent, const std::string& name,
                                                   const std::string& description,
                                                   const std::string& command_line);

    TestKind kind_;
    std::uint32_t data_set_id_;
    std::vector<std::uint32_t> created_;  ///< handles
};

/// "SELECT ... FROM ... WHERE ..."; empty when all three are.
std::string BuildSql(const std::string& select, const std::string& from, const std::string& where);

}  // namespace orv::iptv
