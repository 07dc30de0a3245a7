// Objects below an object.
#pragma once

#include <cstdint>

#include "orv/framework/scriptable.h"

namespace orv::framework {

class CScriptableLocator {
  public:
    /// Options of GetObjectsEx, to be joined with |.
    enum Option : std::uint32_t {
        LOCATE_ALL = 0,
        LOCATE_SKIP_INACTIVE_ROOTS = 1,  ///< nothing at all below an inactive root
        LOCATE_SKIP_DELETED = 2,
    };

    static CScriptableLocator& Instance();

    /// Appends the objects of a class (or of one derived from it) at and below `root`, parents before
    /// children, in the order of the tree. A null root means the whole tree.
    void GetObjectsEx(ScriptableVec& objects, ClassId id, const CScriptable* root,
                      std::uint32_t options = LOCATE_ALL) const;
};

}  // namespace orv::framework
