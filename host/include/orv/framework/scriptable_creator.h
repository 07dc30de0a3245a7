// Making objects.
#pragma once

#include <cstdint>
#include <string>

#include "orv/common/ids.h"

namespace orv::framework {

class CMetaClass;
class CScriptable;

/// Makes objects of the data model's classes. Use one on the stack.
class CScriptableCreator {
  public:
    /// A new object under `parent` (null: without parent; the caller releases or adopts it).
    ///
    /// `defaultChildren`: the class's default children are made too. `init`: OnInit is called. `handle`: the
    /// handle to give, 0 for the next free one. Returns null on failure, see GetErrorText: unknown class, a
    /// class without factory, a parent that cannot have such children, a handle in use, a second object of a
    /// singleton class, or OnInit refused. What the class's factory or OnInit throws passes through, and
    /// nothing is left behind.
    CScriptable* Create(common::ClassId id, CScriptable* parent, bool defaultChildren = true,
                        bool init = true, std::uint32_t handle = 0);
    CScriptable* Create(const std::string& className, CScriptable* parent, bool defaultChildren = true,
                        bool init = true, std::uint32_t handle = 0);
    CScriptable* Create(const CMetaClass* metaClass, CScriptable* parent, bool defaultChildren = true,
                        bool init = true, std::uint32_t handle = 0);

    /// Why the last call returned null.
    const std::string& GetErrorText() const { return error_text_; }

    /// The same, of the C++ class that `T::CLASS_ID()` names. Throws COrvRunTimeError instead of returning
    /// null.
    template <class T>
    T& Make(CScriptable* parent) {
        return MakeAs<T>(T::CLASS_ID(), parent);
    }
    template <class T>
    T& MakeAs(common::ClassId id, CScriptable* parent) {
        auto* object = dynamic_cast<T*>(Create(id, parent));
        if (!object) ThrowNotMade(id);
        return *object;
    }

  private:
    [[noreturn]] void ThrowNotMade(common::ClassId id) const;
    std::string error_text_;
};

}  // namespace orv::framework
