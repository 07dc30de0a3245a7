// The program as a user starts it, and the databases that it writes.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace testing_aids {

struct ProgramRun {
    int status = -1;
    std::string out;
    std::string err;
};

/// Runs `iptvtest` with arguments of a command line of bash.
ProgramRun RunIptvtest(const std::string& arguments);

/// A folder that goes with its test.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& GetPath() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& text);

/// All rows of all tables as text, but for times of day and paths: two runs of the same test give the same
/// text.
std::string DumpDatabase(const std::filesystem::path& path);

/// The first line of one text that differs from the other's; empty when there is none.
std::string FirstDifference(const std::string& a, const std::string& b);

/// Text of one value: the first column of the first row.
std::string Query(const std::filesystem::path& database, const std::string& sql);

/// Paths of the example test files.
std::vector<std::filesystem::path> FindExamples();

}  // namespace testing_aids
