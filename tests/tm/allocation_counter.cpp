#include "tm/allocation_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> g_allocated = 0;

}  // namespace

void* operator new(std::size_t size) {
    g_allocated += size;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

std::size_t orv::tm::testing::allocated_bytes() {
    return g_allocated;
}
