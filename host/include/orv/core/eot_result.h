// The tree of results that a test leaves for viewers.
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

    void SetDescription(const std::string& text);
    /// "SQL_GRID" or "EXTERNAL_REPORT".
    void SetResultViewType(const std::string& type);
    /// May hold parameters ("@DataSetId"), which the node names.
    void SetSqlCommand(const std::string& sql);
};

/// A node of the tree; a child of the system or of another node.
class CEotResultNode : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Null when the node has none, or it has been destroyed or deleted.
    CEotResultViewDefinition* GetViewDefinition() const;
    void SetViewDefinition(const CEotResultViewDefinition& definition);
    void SetDescription(const std::string& text);

    /// Gives a parameter of the view's SQL its value. `name` includes the "@".
    void SetParameter(const std::string& name, const std::string& value);
};

}  // namespace orv::core
