// Reads recordings.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "orv/core/project.h"
#include "orv/il/recording.h"
#include "test_file/mistake.h"

namespace orv::app {

/// What a file contains for the ports of a project.
struct RecordingFile {
    std::map<std::string, il::Recordings>
        ports;                      ///< by name; one, perhaps empty, for every port of the project
    std::vector<Mistake> mistakes;  ///< all mistakes of the file; with any, nothing may be replayed
    std::vector<std::string> warnings;
};

/// Whether a recording without its last line, which is truncated, is rejected.
enum class RecordingEnd { Required, MayBeMissing };

/// Reads a file that Recorder wrote, or any other file of that form, for the ports and blocks of a
/// project; "-" is the standard input. With MayBeMissing a truncated line is discarded.
RecordingFile ReadRecording(const std::filesystem::path& path, const core::CProject& project,
                            RecordingEnd end);

}  // namespace orv::app
