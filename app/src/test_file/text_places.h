// Places in a text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "mistake.h"

namespace orv::app {

/// Finds lines and columns in a text, which must outlive the object.
class TextPlaces {
  public:
    explicit TextPlaces(std::string_view text);

    std::string_view GetText() const { return text_; }
    /// Position of the nth character, from 0; the end of the text for larger numbers. Positions after an
    /// invalid UTF-8 sequence are wrong.
    std::size_t GetByteOf(std::size_t character) const;
    Position GetPosition(std::size_t byte) const;
    /// The line that contains a byte, without line end.
    std::string_view GetLine(std::size_t byte) const;

  private:
    std::size_t FindLine(std::size_t byte) const;

    std::string_view text_;
    std::vector<std::size_t> lines_;        ///< byte offset of each line
    std::vector<std::size_t> checkpoints_;  ///< byte offset of every nth character
};

}  // namespace orv::app
