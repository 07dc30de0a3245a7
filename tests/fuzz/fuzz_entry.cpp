// libFuzzer entry: any bytes for the check that the target's definition ORV_FUZZ_CHECK names.
#include <cstdint>

#include "fuzz/checks.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    testing_aids::ORV_FUZZ_CHECK({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
