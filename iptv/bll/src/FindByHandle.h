// Lookup of objects by handle.
#pragma once

#include <cstdint>

#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable.h"

namespace orv::iptv {

/// Null if no object has the handle or it is of another class.
template <class T>
T* FindByHandle(std::uint32_t handle) {
    return dynamic_cast<T*>(framework::CHandleRegistry::Instance().Find(handle));
}

}  // namespace orv::iptv
