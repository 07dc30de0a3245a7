// The name of a file that a test writes.
#pragma once

#include <compare>
#include <string>

namespace orv::common {

/// A path as the user wrote it: a bare name (placed in the results folder), relative, or absolute. A type of
/// its own so that an output path is never confused with a text.
class OutputFilePath {
  public:
    OutputFilePath() = default;
    explicit OutputFilePath(std::string path) : path_(std::move(path)) {}

    const std::string& ToString() const { return path_; }
    bool IsEmpty() const { return path_.empty(); }
    auto operator<=>(const OutputFilePath&) const = default;

  private:
    std::string path_;
};

}  // namespace orv::common
