// Counts what a benchmark allocates.
#pragma once

#include <cstddef>

namespace bench {

struct Allocations {
    std::size_t count = 0;
    std::size_t bytes = 0;
};

/// Allocations of this process so far, through any form of operator new.
Allocations CountAllocations();

}  // namespace bench
