// Frames as a network sends them to emulated hosts, and their contents.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orv/live/address_client.h"
#include "orv/live/frame_parser.h"

namespace testing_aids {

/// One of each kind. Bytes behind the packet are padding.
struct SampleFrame {
    std::string name;
    std::string text;  ///< text_of() what is parsed
    std::string hex;
};
std::span<const SampleFrame> sample_frames();
std::vector<std::byte> sample_frame(std::string_view name);

/// Skips everything that is no hexadecimal digit.
std::vector<std::byte> bytes_of(std::string_view hex);
std::string hex_text(std::span<const std::byte> bytes);
std::uint16_t number_at(std::span<const std::byte> bytes, std::size_t at);
orv::live::IpAddress ip(const std::string& text);

/// Everything that the views hold.
std::string text_of(const std::optional<orv::live::ParsedFrame>& frame);

/// What has happened, without what has not, and without what was sent.
std::string text_of(const orv::live::AddressCounts& counts);

/// Corrects the checksums of an IP packet as far as its lengths lead to them.
void refit_checksums(std::span<std::byte> frame);

}  // namespace testing_aids
