#include "output_paths.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

namespace orv::app {

namespace {

namespace fs = std::filesystem;
using NamedPath = std::pair<const char*, fs::path>;

/// Empty when a file can be written there.
std::string FindObstacle(const fs::path& path) {
    std::error_code error;
    if (fs::is_directory(path, error)) return "it is a folder";
    if (fs::exists(path, error)) return access(path.c_str(), W_OK) == 0 ? "" : std::strerror(errno);
    // The nearest folder that is there takes what is missing.
    fs::path folder = fs::absolute(path).parent_path();
    while (!fs::exists(folder, error) && folder.has_relative_path()) folder = folder.parent_path();
    if (!fs::is_directory(folder, error)) return folder.string() + " is no folder";
    return access(folder.c_str(), W_OK) == 0 ? "" : folder.string() + ": " + std::strerror(errno);
}

/// Links followed as far as they lead to files: pipes have no path.
fs::path Resolve(const fs::path& path) {
    std::error_code error;
    const fs::path resolved = fs::weakly_canonical(path, error);
    return error ? fs::absolute(path).lexically_normal() : resolved;
}

}  // namespace

std::string FindPathProblem(const Arguments& arguments) {
    std::vector<NamedPath> seen{{"the test file", arguments.file}, {"--replay", arguments.run.replay}};
    for (const NamedPath& output : std::initializer_list<NamedPath>{{"--db", arguments.run.database},
                                                                    {"--junit", arguments.junit},
                                                                    {"--record", arguments.run.record}}) {
        if (output.second.empty()) continue;
        for (const auto& [name, path] : seen) {
            if (!path.empty() && Resolve(path) == Resolve(output.second))
                return fmt::format("{} and {} are the same file, {}", output.first, name, path.string());
        }
        if (const std::string obstacle = FindObstacle(output.second); !obstacle.empty())
            return fmt::format("{} {} cannot be written: {}", output.first, output.second.string(), obstacle);
        seen.push_back(output);
    }
    return {};
}

}  // namespace orv::app
