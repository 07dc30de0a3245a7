// Relations by name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv::framework {

class CScriptable;

class CRelationHelper {
  public:
    static CRelationHelper& Instance();

    /// Relates `source` to the objects of the handles. The text is a relation name ("UsesIf"), alone or
    /// followed by "-Targets" (the same), or by "-Sources" (the objects become sources of a relation to
    /// `source`). On failure returns false and the reason, and relates none of them.
    bool AddRelation(CScriptable* source, const std::string& relationSpec,
                     const std::vector<std::uint32_t>& targetHandles, std::string& errorText);

    /// Splits the text into type and direction; false for an unknown name.
    bool ParseRelation(const std::string& relationSpec, std::uint32_t& type, std::uint32_t& direction) const;
};

}  // namespace orv::framework
