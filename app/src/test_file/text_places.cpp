#include "text_places.h"

#include <algorithm>

namespace orv::app {

namespace {

/// Characters from one checkpoint to the next: few enough to count, many enough to save memory.
constexpr std::size_t kStride = 64;

bool BeginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
}

}  // namespace

TextPlaces::TextPlaces(std::string_view text) : text_(text), lines_{0} {
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (BeginsCharacter(text[i]) && characters++ % kStride == 0) checkpoints_.push_back(i);
        // "\r\n" is one break, at its end.
        if (text[i] == '\n' || (text[i] == '\r' && text.substr(i + 1, 1) != "\n")) lines_.push_back(i + 1);
    }
}

std::size_t TextPlaces::GetByteOf(std::size_t character) const {
    if (character / kStride >= checkpoints_.size()) return text_.size();
    std::size_t byte = checkpoints_[character / kStride];
    for (std::size_t left = character % kStride; left > 0 && byte < text_.size(); --left) {
        do ++byte;
        while (byte < text_.size() && !BeginsCharacter(text_[byte]));
    }
    return byte;
}

std::size_t TextPlaces::FindLine(std::size_t byte) const {
    const auto behind = std::upper_bound(lines_.begin(), lines_.end(), byte);
    return static_cast<std::size_t>(behind - lines_.begin()) - 1;
}

Position TextPlaces::GetPosition(std::size_t byte) const {
    const std::size_t line = FindLine(std::min(byte, text_.size()));
    return {static_cast<int>(line) + 1, static_cast<int>(std::min(byte, text_.size()) - lines_[line]) + 1};
}

std::string_view TextPlaces::GetLine(std::size_t byte) const {
    const std::size_t start = lines_[FindLine(byte)];
    return text_.substr(start, text_.find_first_of("\r\n", start) - start);
}

}  // namespace orv::app
