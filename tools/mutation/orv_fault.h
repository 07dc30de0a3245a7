// The switch of injected faults. Every source of the instrumented copy is compiled with -include of this.
//
// ORV_FAULT=7                the fault that is active in this process and in those that it starts
// ORV_FAULTS_REACHED=FILE    a file of one byte per fault; the byte of each fault that is reached becomes 1
//
// A process consists of several libraries, one of them with hidden symbols. Each has a state of its own,
// which it takes from the environment; the file is shared by name. This text stays the same whatever the
// faults are, so that the compiler cache keeps its value.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#pragma GCC visibility push(hidden)

namespace orv_fault {

struct State {
    long active = -1;
    long size = 0;
    std::atomic<unsigned char>* reached = nullptr;

    State() noexcept {
        const char* number = std::getenv("ORV_FAULT");
        if (number && *number) active = std::atol(number);
        const char* path = std::getenv("ORV_FAULTS_REACHED");
        const int file = path ? ::open(path, O_RDWR | O_CLOEXEC) : -1;
        if (file < 0) return;
        struct stat status;
        if (::fstat(file, &status) == 0 && status.st_size > 0) {
            const auto bytes = static_cast<std::size_t>(status.st_size);
            void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
            if (memory != MAP_FAILED) {
                reached = static_cast<std::atomic<unsigned char>*>(memory);
                size = status.st_size;
            }
        }
        ::close(file);
    }
};

inline bool IsActive(long number) noexcept {
    static const State state;
    if (number < state.size && state.reached[number].load(std::memory_order_relaxed) == 0)
        state.reached[number].store(1, std::memory_order_relaxed);
    return number == state.active;
}

}  // namespace orv_fault

/// Whether fault `number` is active; never in what the compiler evaluates. (A builtin, because the C++17 that
/// CMake first looks at the compiler with has no std::is_constant_evaluated().)
inline constexpr bool ORV_FAULT(long number) noexcept {
    return !__builtin_is_constant_evaluated() && orv_fault::IsActive(number);
}

#pragma GCC visibility pop
