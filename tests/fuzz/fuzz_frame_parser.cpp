// libFuzzer entry: any bytes as a frame from a network.
#include <cstdint>

#include "fuzz/frame_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    testing_aids::check_frame_bytes({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
