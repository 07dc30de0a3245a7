// Counts what the test program allocates.
#pragma once

#include <cstddef>

namespace orv::tm::testing {

/// Bytes that operator new has handed out so far, freed ones included.
std::size_t allocated_bytes();

}  // namespace orv::tm::testing
