// The program as a user starts it, test files with chosen values, and the databases that it writes.
#pragma once

#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace testing_aids {

struct ProgramRun {
    int status = -1;
    std::string out, err;
};

/// Runs `iptvtest` with arguments of a command line of bash, in that folder if one is given.
ProgramRun RunIptvtest(const std::string& arguments, const std::filesystem::path& folder = {});

/// A folder that goes with its test.
struct TemporaryFolder {
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder& operator=(TemporaryFolder&&) = delete;  // nor is it copied

    const std::filesystem::path& GetPath() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

std::string ReadFile(const std::filesystem::path& path);
void WriteFile(const std::filesystem::path& path, const std::string& text);

/// All rows of all tables as text, but for times of day, paths, and how it was measured: two runs of the same
/// test give the same text.
std::string DumpDatabase(const std::filesystem::path& path);

/// The first line of one text that differs from the other's; empty when there is none.
std::string FirstDifference(const std::string& a, const std::string& b);

/// Text of one value: the first column of the first row.
std::string Query(const std::filesystem::path& database, const std::string& sql);

/// As another program with write access to the file; its connection stays open.
std::shared_ptr<sqlite3> Execute(const std::filesystem::path& path, const char* sql);

/// A small test; what is not set is the data model's default. The properties are lines "Name: value" of YAML.
struct TestText {
    std::string type = "ZAPPING", environment = "REAL_WORLD";
    int seconds = 10;
    bool ipv6 = false;
    int ports = 1;                          ///< with set-top boxes
    int stbs = 4;                           ///< on each port, each in a VLAN of its own
    int channels = 8;                       ///< in one block, from number 1 on
    std::vector<std::string> groups = {};   ///< properties of their network block
    std::vector<std::string> test = {};     ///< properties of the start command
    std::vector<std::string> profile = {};  ///< of the viewing profile
    std::vector<std::string> block = {};    ///< of the STB blocks
    std::vector<std::string> network = {};  ///< of simulation, defaults
    std::vector<std::string> faults = {};   ///< of port "Viewers", each {kind: ...}
    std::string sequence = {};              ///< in place of the default one

    std::string ToString() const;
};

}  // namespace testing_aids
