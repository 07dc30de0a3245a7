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

/// Registers the factory of a class of the data model: one line at the end of the class's file.
/// `static const StaticRegisterClass<CPort> registration{CPort::CLASS_ID()};`
template <class T>
class StaticRegisterClass {
  public:
    explicit StaticRegisterClass(common::ClassId id) {
        CStaticRegistration::Run([id] {
            CMetaClass::InitMakeDestroyFuncs(
                id, []() -> CScriptable* { return new T; }, [](CScriptable* object) { delete object; });
        });
    }
};

}  // namespace orv::framework
