// Test files as bytes: from files, pipes and standard input.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

namespace orv::app {

/// Limit against endless input; enough for tens of thousands of devices.
inline constexpr std::size_t kLargestFile = std::size_t{16} << 20;

/// What a test file holds. It may be a pipe, which is read only once.
struct FileText {
    std::string name;  ///< its name in mistakes
    std::string text;
    std::string problem;  ///< why it could not be read; empty when it could
};

/// Reads to the end. A text larger than kLargestFile is a problem. "-" is the standard input.
FileText ReadFileText(const std::filesystem::path& path);

}  // namespace orv::app
