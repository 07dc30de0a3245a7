// libFuzzer entry: any bytes as a frame on the interface of a live port that runs a test.
#include <cstdint>

#include "fuzz/live_run_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    testing_aids::check_live_run_bytes({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
