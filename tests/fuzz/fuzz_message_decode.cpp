// libFuzzer entry: any bytes as a message from a port.
#include <cstdint>

#include "fuzz/message_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    orv::tm::testing::check_message_bytes({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
