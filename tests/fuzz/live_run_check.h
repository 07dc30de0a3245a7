// What must hold for a live port that gets any bytes from its interface.
#pragma once

#include <cstddef>
#include <span>

namespace testing_aids {

/// Runs a short test, in the middle of which the bytes come in, untagged and tagged, and are seen going out,
/// with checksums that fit. The last byte chooses what kind of test it is. Throws std::logic_error when the
/// test does not end as it should.
void check_live_run_bytes(std::span<const std::byte> bytes);

}  // namespace testing_aids
