// The figures compare the work done, not the size of the processor's caches: each pass starts with cold ones.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

namespace bench {

/// Call it while timing is paused.
inline void EmptyCaches() {
    static std::vector<char> memory(48 << 20);
    for (std::size_t i = 0; i < memory.size(); i += 64) ++memory[i];
    benchmark::ClobberMemory();
}

}  // namespace bench
