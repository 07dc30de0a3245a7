// Memory that a packet socket shares with the kernel.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <utility>

namespace orv::nic {

class MappedRing {
  public:
    MappedRing() = default;
    MappedRing(void* begin, std::size_t slot_size, std::size_t slots)
        : begin_(static_cast<std::byte*>(begin)), slot_size_(slot_size), slots_(slots) {}
    ~MappedRing() {
        if (begin_) ::munmap(begin_, slot_size_ * slots_);
    }
    MappedRing(MappedRing&& other) noexcept { *this = std::move(other); }
    MappedRing& operator=(MappedRing&& other) noexcept {
        std::swap(begin_, other.begin_);
        std::swap(slot_size_, other.slot_size_);
        std::swap(slots_, other.slots_);
        return *this;
    }

    std::byte* slot(std::size_t index) const { return begin_ + index * slot_size_; }
    std::size_t slot_size() const { return slot_size_; }
    std::size_t slots() const { return slots_; }

  private:
    std::byte* begin_ = nullptr;
    std::size_t slot_size_ = 0, slots_ = 0;
};

}  // namespace orv::nic
