// The living objects of singleton classes.
#pragma once

#include "orv/common/ids.h"

namespace orv::framework {

class CScriptable;

/// The one object of a singleton class, or null while there is none.
CScriptable* FindSingleton(common::ClassId id);

/// Remembers the object of a singleton class; it is forgotten when its handle ends.
void RememberSingleton(const CScriptable& object);

}  // namespace orv::framework
