// Objects by handle.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace orv::framework {

class CScriptable;

/// Every object of the process by its 32-bit handle. Handles are given in ascending order and not used again
/// within a process; 0 is no handle.
class CHandleRegistry {
  public:
    static CHandleRegistry& Instance();

    /// The object, or null. Constant time.
    CScriptable* Find(std::uint32_t handle) const;
    std::size_t GetSize() const { return size_; }

    /// Gives an object its handle: `wanted`, or the next free one for 0. Returns 0 when `wanted` is in use.
    std::uint32_t Register(CScriptable& object, std::uint32_t wanted);
    void Unregister(std::uint32_t handle);

  private:
    // Handles are dense, so they are looked up in pages of an array. A page is freed with its last handle.
    static constexpr std::uint32_t kPageBits = 12;
    struct Page {
        std::array<CScriptable*, std::size_t{1} << kPageBits> objects{};
        std::size_t used = 0;
    };

    std::vector<std::unique_ptr<Page>> pages_;
    std::size_t size_ = 0;
    std::uint32_t next_ = 1;
};

}  // namespace orv::framework
