// Texts that differ from host to host.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/common/addresses.h"

namespace orv::app {

/// Bytes of a text for host number `host`, from 0: "{1}" is a number that counts from 1 on, "{0+2:4}" counts
/// from 0 on by 2 and has at least four digits, "{mac}" is the MAC address in twelve hexadecimal digits, "{{"
/// is a brace. A text that begins with "0x" gives the bytes that its hexadecimal digits say; numbers in it
/// are hexadecimal. Throws COrvRunTimeError that says what is wrong with the text.
std::vector<std::uint8_t> ExpandHostText(const std::string& text, std::uint32_t host,
                                         const common::CMacAddress& mac);

}  // namespace orv::app
