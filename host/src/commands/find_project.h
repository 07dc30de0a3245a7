// The project that an object belongs to.
#pragma once

namespace orv::framework {

class CScriptable;

/// The project above an object; for one that is not below a project, the project of the system. Null when
/// there is none.
CScriptable* FindProject(const CScriptable& object);

}  // namespace orv::framework
