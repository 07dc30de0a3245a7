#include "orv/framework/handle_registry.h"

namespace orv::framework {

CHandleRegistry& CHandleRegistry::Instance() {
    static CHandleRegistry registry;
    return registry;
}

CScriptable* CHandleRegistry::Find(std::uint32_t handle) const {
    CScriptable* object = FindExisting(handle);
    return object || deferred_.empty() ? object : MakeDeferred(handle);
}

CScriptable* CHandleRegistry::MakeDeferred(std::uint32_t handle) const {
    for (IDeferredObjects* objects : deferred_) {
        if (CScriptable* object = objects->MakeObject(handle)) return object;
    }
    return nullptr;
}

void CHandleRegistry::MakeChildren(const CScriptable& parent, common::ClassId id) const {
    for (IDeferredObjects* objects : deferred_) objects->MakeChildren(parent, id);
}

std::uint32_t CHandleRegistry::Register(CScriptable& object, std::uint32_t wanted) {
    std::uint32_t handle = wanted;
    if (wanted == 0) {
        handle = Reserve();
    } else if (Find(wanted)) {
        return 0;
    }
    const std::size_t index = handle >> kPageBits;
    if (index >= pages_.size()) pages_.resize(index + 1);
    if (!pages_[index]) pages_[index] = std::make_unique<Page>();
    pages_[index]->objects[handle & kPageMask] = &object;
    ++pages_[index]->used;
    ++size_;
    return handle;
}

std::uint32_t CHandleRegistry::Reserve() {
    // Handles that were asked for by number are passed over.
    while (next_ == 0 || FindExisting(next_)) ++next_;
    return next_++;
}

void CHandleRegistry::Unregister(std::uint32_t handle) {
    if (!FindExisting(handle)) return;
    auto& page = pages_[handle >> kPageBits];
    page->objects[handle & kPageMask] = nullptr;
    --size_;
    if (--page->used == 0) page.reset();
}

}  // namespace orv::framework
