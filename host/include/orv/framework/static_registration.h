// Registration by file-level objects while a library loads.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "orv/framework/meta_class.h"

namespace orv::framework {

/// What went wrong in static initialisers. An exception may not leave them (the process would end), so it is
/// kept here for the loader of the library.
class CStaticRegistration {
  public:
    /// Runs a registration; an exception becomes an entry of the error list.
    static void Run(const std::function<void()>& registration) noexcept;
    /// Takes the errors gathered so far.
    static std::vector<std::string> TakeErrors();
};

/// Registers the factory of a class of the data model. `ORV_REGISTER_CLASS` is how a class file uses it.
template <class T>
class StaticRegisterClass {
  public:
    explicit StaticRegisterClass(common::ClassId id) {
        CStaticRegistration::Run([id] {
            CMetaClass::InitMakeDestroyFuncs(
                id, []() -> CScriptable* { return new T; },
                [](CScriptable* object) { delete static_cast<T*>(object); });
        });
    }
};

}  // namespace orv::framework

/// One line at the end of a class's file, in the class's namespace: `ORV_REGISTER_CLASS(CPort);`
#define ORV_REGISTER_CLASS(Class)                                                    \
    static const ::orv::framework::StaticRegisterClass<Class> Class##_registration { \
        Class::CLASS_ID()                                                            \
    }
