// The files that a run will write.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace orv::app {

/// Opens what a run will write before it begins, so that a report that cannot be written, or that would
/// overwrite another, is known then and not after an hour of testing. What is in a file stays there. What was
/// made here, a report or folder, and is still empty goes when this goes: a run that did not begin leaves
/// nothing behind. Databases are checked, not made.
class OutputFiles {
  public:
    enum class Kind {
        Report,   ///< is replaced as a whole
        Database  ///< is added to; several tests may have the same; has its own files beside
    };

    OutputFiles() = default;
    ~OutputFiles();
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;

    /// A file that the run reads: no output may be the same, by whatever path or link. One that is not there
    /// is no concern of this.
    void AddInput(const std::string& name, const std::filesystem::path& path);
    /// What the program writes to standard output: where it is a file or pipe no report may go there, too.
    void AddStandardOutput();
    /// Opens a file, made with its folders where it is missing; of a database that is missing only the
    /// folders. Returns why the run cannot write it, empty when it can. `name`: what it is called in such
    /// texts, "--db".
    std::string AddOutput(const std::string& name, const std::filesystem::path& path, Kind kind);

  private:
    /// A file that is there, or a database that will be.
    struct Known {
        std::string name;
        std::filesystem::path path;  ///< without links
        dev_t device = 0;
        ino_t inode = 0;  ///< 0: it is not there
        bool is_database = false;
    };
    struct Made {
        std::filesystem::path path;
        dev_t device = 0;
        ino_t inode = 0;
    };

    std::string MakeFolders(const std::filesystem::path& folder);
    std::string OpenReport(const std::string& name, const std::filesystem::path& path);
    std::string CheckDatabase(const std::string& name, const std::filesystem::path& path);
    std::string FindConflict(Known output);

    std::vector<Known> known_;
    std::vector<Made> made_files_;
    std::vector<std::filesystem::path> made_folders_;  ///< outer ones first
    std::vector<int> held_;  ///< pipes: their readers would take a second opening for the end of the first
};

/// Where a test stores its results: `name` with the ending .db, which is added where it is missing. Relative
/// names begin in the current folder.
std::filesystem::path MakeDatabasePath(const std::filesystem::path& name);

}  // namespace orv::app
