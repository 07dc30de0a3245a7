// Explains YAML syntax errors.
#pragma once

#include <yaml.h>

#include <cstddef>
#include <optional>

#include "mistake.h"
#include "text_places.h"

namespace orv::app {

/// The range of a quoted text: its first byte, and the first one after it.
struct QuotedText {
    std::size_t begin = 0;
    std::size_t end = 0;
};

/// What was read before a parser stopped.
struct ReadSoFar {
    std::optional<QuotedText> last_quoted;  ///< a quote closed in the wrong place causes many mistakes
    std::optional<Position> innermost;      ///< beginning of the innermost open list or map
};

/// Adds why a parser has stopped.
void AddYamlMistake(const yaml_parser_t& parser, const TextPlaces& places, const ReadSoFar& so_far,
                    MistakeList& mistakes);

}  // namespace orv::app
