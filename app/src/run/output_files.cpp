#include "output_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <string_view>
#include <utility>

#include "orv/core/test_result_manager.h"

namespace orv::app {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kEnding = ".db";
constexpr std::string_view kDatabaseBegin{"SQLite format 3\0", 16};
/// Files that the database engine keeps beside a database.
constexpr std::string_view kBeside[] = {"-wal", "-shm", "-journal"};

bool NamesFolder(const fs::path& path) {
    std::error_code none;
    return path.filename().empty() || path.filename() == "." || path.filename() == ".." ||
           fs::is_directory(path, none);
}

fs::path Resolve(fs::path path) {
    constexpr int kMostLinks = 40;
    std::error_code error;
    // A dangling link represents its target: that is what would be created.
    for (int i = 0; i < kMostLinks && fs::is_symlink(path, error) && !fs::exists(path, error); ++i)
        path = path.parent_path() / fs::read_symlink(path, error);
    const fs::path resolved = fs::weakly_canonical(path, error);
    return error ? fs::absolute(path).lexically_normal() : resolved;
}

/// A device accepts output from several writers.
bool IsShareable(const struct stat& status) {
    return !S_ISREG(status.st_mode) && !S_ISFIFO(status.st_mode);
}

bool IsBeside(const fs::path& file, const fs::path& database) {
    return std::any_of(std::begin(kBeside), std::end(kBeside),
                       [&](std::string_view ending) { return file == fs::path(database).concat(ending); });
}

/// The first bytes of a file; empty when it is empty or cannot be read.
std::string ReadBegin(const fs::path& path) {
    std::string begin(kDatabaseBegin.size(), '\0');
    std::ifstream file(path);
    file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    begin.resize(static_cast<std::size_t>(file.gcount()));
    return begin;
}

bool IsOtherThanFile(const fs::path& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

}  // namespace

fs::path MakeDatabasePath(const fs::path& name) {
    fs::path path = fs::absolute(name).lexically_normal();
    if (!path.native().ends_with(kEnding)) path += kEnding;
    return path;
}

OutputFiles::~OutputFiles() {
    for (const int file : held_) close(file);
    for (const Made& made : made_files_) {
        struct stat status {};
        const bool is_ours = lstat(made.path.c_str(), &status) == 0 && status.st_dev == made.device &&
                             status.st_ino == made.inode;
        if (is_ours && status.st_size == 0) unlink(made.path.c_str());
    }
    // Folders that are not empty are kept.
    std::for_each(made_folders_.rbegin(), made_folders_.rend(),
                  [](const fs::path& folder) { rmdir(folder.c_str()); });
}

void OutputFiles::AddInput(const std::string& name, const fs::path& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || IsShareable(status)) return;
    known_.push_back({name, Resolve(path), status.st_dev, status.st_ino});
}

void OutputFiles::AddStandardOutput() {
    struct stat status {};
    if (fstat(STDOUT_FILENO, &status) != 0 || IsShareable(status)) return;
    known_.push_back({"the standard output", "/dev/stdout", status.st_dev, status.st_ino});
}

std::string OutputFiles::AddOutput(const std::string& name, const fs::path& path, Kind kind) {
    std::string problem;
    if (NamesFolder(path)) {
        problem = "it names a folder";
    } else if (kind == Kind::Database && IsOtherThanFile(path)) {
        problem = "it is no regular file";  // a device, not a file that was meant as output
    } else {
        const fs::path file =
            kind == Kind::Database ? MakeDatabasePath(path) : fs::absolute(path).lexically_normal();
        problem = MakeFolders(file.parent_path());
        if (problem.empty())
            problem = kind == Kind::Database ? CheckDatabase(name, file) : OpenReport(name, file);
    }
    return problem.empty() ? "" : fmt::format("{} cannot be written: {}", path.string(), problem);
}

std::string OutputFiles::MakeFolders(const fs::path& folder) {
    std::error_code error;
    if (folder.empty() || fs::is_directory(folder, error)) return {};
    if (const std::string problem = MakeFolders(folder.parent_path()); !problem.empty()) return problem;
    if (mkdir(folder.c_str(), 0777) != 0) {
        // Another run may have created it meanwhile.
        if (errno == EEXIST && fs::is_directory(folder, error)) return {};
        return errno == EEXIST || errno == ENOTDIR ? folder.string() + " is no folder"
                                                   : folder.string() + ": " + std::strerror(errno);
    }
    made_folders_.push_back(folder);
    return {};
}

std::string OutputFiles::OpenReport(const std::string& name, const fs::path& path) {
    constexpr int kHow = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY;
    const fs::path target = Resolve(path);
    int file = open(target.c_str(), kHow | O_CREAT | O_EXCL, 0666);
    const bool is_new = file >= 0;
    if (file < 0 && errno == EEXIST) file = open(target.c_str(), kHow);
    if (file < 0) return std::strerror(errno);

    struct stat status {};
    fstat(file, &status);
    if (is_new) made_files_.push_back({target, status.st_dev, status.st_ino});
    std::string problem;
    if (S_ISREG(status.st_mode) && ReadBegin(target) == kDatabaseBegin)
        problem = "it is a database";  // a report must not overwrite test results
    if (problem.empty() && !IsShareable(status))
        problem = FindConflict({name, target, status.st_dev, status.st_ino});
    if (problem.empty() && S_ISFIFO(status.st_mode)) {
        held_.push_back(file);
    } else {
        close(file);
    }
    return problem;
}

/// A database that is not there is not made here: it could not be taken away again, because another run may
/// have opened it meanwhile. The run's first test makes it.
std::string OutputFiles::CheckDatabase(const std::string& name, const fs::path& path) {
    const fs::path target = Resolve(path), folder = target.parent_path();
    Known output{name, target, 0, 0, true};
    struct stat status {};
    if (stat(target.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) return "it is no regular file";
        // It must not be open here while the database engine locks it: closing would end its locks.
        const int file = open(target.c_str(), O_RDWR | O_CLOEXEC);
        if (file < 0) return std::strerror(errno);
        close(file);
        output.device = status.st_dev;
        output.inode = status.st_ino;
    } else if (errno != ENOENT) {
        return std::strerror(errno);
    }
    // Files beside it come and go while it is written.
    if (access(folder.c_str(), W_OK | X_OK) != 0) return folder.string() + ": " + std::strerror(errno);
    const std::string problem = FindConflict(std::move(output));
    return problem.empty() ? core::FindResultsFileProblem(target.string()) : problem;
}

/// Empty, and the file is known from now on, when there is none.
std::string OutputFiles::FindConflict(Known output) {
    for (const Known& other : known_) {
        const bool is_same_file =
            output.inode != 0 && output.device == other.device && output.inode == other.inode;
        if (is_same_file || output.path == other.path) {
            if (output.is_database && other.is_database) return {};
            return "it is the same file as " + other.name + ", " + other.path.string();
        }
        if ((other.is_database && IsBeside(output.path, other.path)) ||
            (output.is_database && IsBeside(other.path, output.path)))
            return "the database of the two keeps such a file for itself: " + other.name + ", " +
                   other.path.string();
    }
    known_.push_back(std::move(output));
    return {};
}

}  // namespace orv::app
