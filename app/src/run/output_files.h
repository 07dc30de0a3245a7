// The files that a run will write.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace orv::app {

/// Checks and opens the output files before a run begins, so that a report that cannot be written, or that
/// would overwrite another file, is detected at once and not after an hour of testing. Contents of existing
/// files are kept. The destructor removes the reports and folders that were created here and are still empty,
/// so a run that did not begin leaves no files behind. Databases are checked, but not created.
class OutputFiles {
  public:
    enum class Kind {
        Report,   ///< is overwritten
        Database  ///< is appended to; may be shared by several tests; has further files beside it
    };

    OutputFiles() = default;
    ~OutputFiles();
    OutputFiles(const OutputFiles&) = delete;
    OutputFiles& operator=(const OutputFiles&) = delete;

    /// A file that the run reads: no output may be the same file, by any path or link. Missing files are
    /// ignored.
    void AddInput(const std::string& name, const std::filesystem::path& path);
    /// If standard output is a file or pipe, no report may be written to it as well.
    void AddStandardOutput();
    /// Opens a file, and creates it and its folders if missing; of a missing database only the folders.
    /// Returns why the run cannot write it, or an empty text. `name`: its name in such texts, "--db".
    std::string AddOutput(const std::string& name, const std::filesystem::path& path, Kind kind);

  private:
    /// An existing file, or a database to be created.
    struct Known {
        std::string name;
        std::filesystem::path path;  ///< without links
        dev_t device = 0;
        ino_t inode = 0;  ///< 0: does not exist
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
    std::vector<std::filesystem::path> made_folders_;  ///< parents first
    std::vector<int> held_;  ///< pipes stay open: if one were closed, its readers would see the end
};

/// Where a test stores its results: `name` with the ending .db, which is added where it is missing. Relative
/// names begin in the current folder.
std::filesystem::path MakeDatabasePath(const std::filesystem::path& name);

}  // namespace orv::app
