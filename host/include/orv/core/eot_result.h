// The tree of results that a test leaves behind for whoever reads them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::core {

/// What a node shows: the SQL of a grid, or the template of a report. A child of the system.
class CEotResultViewDefinition : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    const std::string& GetDescription() const;
    void SetDescription(const std::string& text);
    const std::string& GetCategory() const;
    void SetCategory(const std::string& category);
    /// "SQL_GRID" or "EXTERNAL_REPORT".
    const std::string& GetResultViewType() const;
    void SetResultViewType(const std::string& type);
    /// May hold parameters ("@DataSetId"), which the node names.
    const std::string& GetSqlCommand() const;
    void SetSqlCommand(const std::string& sql);
    const std::string& GetExternalReportCommandLine() const;
    void SetExternalReportCommandLine(const std::string& command_line);
};

/// A node of the tree; a child of the system or of another node.
class CEotResultNode : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Null when the node has none, or it has been destroyed or deleted.
    CEotResultViewDefinition* GetViewDefinition() const;
    void SetViewDefinition(const CEotResultViewDefinition& definition);
    const std::string& GetDescription() const;
    void SetDescription(const std::string& text);
    /// 0 while nothing is wrong, 2 for a failure.
    std::uint8_t GetStatus() const;
    void SetStatus(std::uint8_t status);

    /// Gives a parameter of the view's SQL its value. `name` includes the "@".
    void SetParameter(const std::string& name, const std::string& value);
    /// Null when there is no such parameter.
    const std::string* FindParameter(const std::string& name) const;
};

}  // namespace orv::core
