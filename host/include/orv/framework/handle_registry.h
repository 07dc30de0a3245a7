// Objects by handle.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "orv/common/ids.h"

namespace orv::framework {

class CScriptable;

/// Objects that are made once somebody asks for them, by their handles or as children of their parent: for
/// children of which there are many for a short time, and hardly ever an observer. Asked under the task lock.
class IDeferredObjects {
  public:
    virtual ~IDeferredObjects() = default;
    /// Makes the object that the handle was reserved for and returns it. Null if the handle is not one of
    /// these objects', or if the object cannot be made (any more).
    virtual CScriptable* MakeObject(std::uint32_t handle) = 0;
    /// Makes those children of a parent that are of a class or derived from it.
    virtual void MakeChildren(const CScriptable& parent, common::ClassId id) = 0;
};

/// Every object of the process by its 32-bit handle. Handles are given in ascending order and not used again
/// within a process; 0 is no handle.
class CHandleRegistry {
  public:
    static CHandleRegistry& Instance();

    /// The object, made now if it is a deferred one, or null. Constant time for objects that exist.
    CScriptable* Find(std::uint32_t handle) const;
    /// Number of objects that exist.
    std::size_t GetSize() const { return size_; }

    /// Gives an object its handle: `wanted`, or the next free one for 0. Returns 0 when `wanted` is in use.
    std::uint32_t Register(CScriptable& object, std::uint32_t wanted);
    void Unregister(std::uint32_t handle);

    /// The next free handle, for a deferred object. Nobody else gets it.
    std::uint32_t Reserve();
    void AddDeferred(IDeferredObjects& objects) { deferred_.push_back(&objects); }
    void RemoveDeferred(IDeferredObjects& objects) { std::erase(deferred_, &objects); }
    /// Makes the deferred children of a parent that are of a class.
    void MakeChildren(const CScriptable& parent, common::ClassId id) const;

  private:
    // Handles are dense, so they are looked up in pages of an array. A page is freed with its last handle.
    static constexpr std::uint32_t kPageBits = 12;
    static constexpr std::uint32_t kPageMask = (1u << kPageBits) - 1;
    struct Page {
        std::array<CScriptable*, std::size_t{1} << kPageBits> objects{};
        std::size_t used = 0;
    };

    CScriptable* FindExisting(std::uint32_t handle) const {
        const std::size_t page = handle >> kPageBits;
        if (page >= pages_.size() || !pages_[page]) return nullptr;
        return pages_[page]->objects[handle & kPageMask];
    }
    CScriptable* MakeDeferred(std::uint32_t handle) const;

    std::vector<std::unique_ptr<Page>> pages_;
    std::vector<IDeferredObjects*> deferred_;
    std::size_t size_ = 0;
    std::uint32_t next_ = 1;
};

}  // namespace orv::framework
