#include "orv/framework/singletons.h"

#include <unordered_map>

#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable.h"

namespace orv::framework {

namespace {

std::unordered_map<common::ClassId, std::uint32_t>& Handles() {
    static std::unordered_map<common::ClassId, std::uint32_t> handles;
    return handles;
}

}  // namespace

CScriptable* FindSingleton(common::ClassId id) {
    const auto found = Handles().find(id);
    CScriptable* object =
        found == Handles().end() ? nullptr : CHandleRegistry::Instance().Find(found->second);
    // The handle of a destroyed one may belong to another object by now.
    return object && object->GetClassId() == id ? object : nullptr;
}

void RememberSingleton(const CScriptable& object) {
    Handles()[object.GetClassId()] = object.GetHandle();
}

}  // namespace orv::framework
