// Test files: tests as users write them (docs/test-file.md).
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "expect_section.h"
#include "file_text.h"
#include "live_settings.h"
#include "mistake.h"
#include "orv/framework/meta_class.h"
#include "simulation.h"
#include "sweep.h"

namespace orv::framework {
class CScriptable;
class CSequencer;
}  // namespace orv::framework

namespace orv::app {

class Plan;

/// One test file, checked as a whole against the data models that are active: load plug-ins first. Loading
/// creates no objects. Used under the host's task lock.
class TestFile {
  public:
    /// An unreadable file is reported as a mistake, too.
    static TestFile Load(const std::filesystem::path& path) { return Parse(ReadFileText(path)); }
    /// `file` names the text in mistakes.
    static TestFile Parse(const std::string& text, const std::string& file) {
        return Parse(FileText{file, text, {}});
    }
    /// `settings`, each "NAME/Property=VALUE", replace values of the file.
    static TestFile Parse(const FileText& file, const std::vector<std::string>& settings = {});

    TestFile(TestFile&&) noexcept;
    TestFile& operator=(TestFile&&) noexcept;
    ~TestFile();

    bool IsGood() const { return mistakes_.empty(); }
    /// All mistakes, in the order of the file.
    const std::vector<Mistake>& GetMistakes() const { return mistakes_; }

    /// Its name in mistakes.
    const std::string& GetFile() const { return file_; }
    /// The whole text.
    const std::string& GetText() const { return text_; }
    /// The options that replace values of the file, each "--set NAME/Property=VALUE".
    const std::vector<std::string>& GetSettings() const { return settings_; }
    /// Empty if the file has none.
    const std::string& GetTitle() const;
    const Simulation& GetSimulation() const;
    /// Of the section "live".
    const LiveSettings& GetLiveSettings() const;
    /// What each test of the file is to measure.
    const Expectations& GetExpectations() const;

    /// Of the section "sweep"; none if there is none. The values of the test itself are the first ones then,
    /// and each value has been checked, but not yet all in their combinations.
    const std::optional<Sweep>& GetSweep() const;
    /// The same test with certain values of the swept properties, given by index. It has no sweep itself.
    TestFile MakeIteration(const std::vector<std::size_t>& values) const;

    /// The result of building a file.
    struct Built {
        /// What the host refused. The project is then incomplete and must be replaced.
        std::vector<Mistake> mistakes;
        /// What the objects are in the file's plan, by handle.
        std::unordered_map<std::uint32_t, std::size_t> objects;
    };
    /// Creates the objects below an empty project, and replaces the sequencer's commands. Throws
    /// COrvLogicError if the file has mistakes.
    Built Build(framework::CScriptable& project, framework::CSequencer& sequencer) const;
    /// Mistakes of expectations, which name objects that do not exist: those of the wizard are known only
    /// when it has built its test.
    std::vector<Mistake> FindUnknownSubjects(const NamesOfClass& names_of) const;
    /// A mistake in the section "project" or "sequence"; at the former if the latter is missing.
    Mistake MakeMistake(const std::string& section, const std::string& problem,
                        const std::string& expected = {}) const;
    /// A mistake of an object of the file that is found only after building. `handle` must be of a built
    /// object. The position is that of the value of `key`, a property or relation, otherwise that of the
    /// object.
    Mistake MakeMistake(const Built& built, std::uint32_t handle, const std::string& key,
                        const std::string& problem, const std::string& expected = {}) const;
    /// The name of an object of the file for users, or a reference to it if it has none. No value for objects
    /// that are not from the file.
    std::optional<std::string> FindReference(const Built& built, std::uint32_t handle) const;
    /// True if the file has its own sequence.
    bool HasSequence() const;
    /// The texts that objects of the file have for a property, as far as the file could be read.
    std::vector<std::string> GetValues(framework::PropId property) const;

  private:
    TestFile();

    static TestFile Parse(const FileText& file, const std::vector<std::string>& settings,
                          const std::vector<std::size_t>* iteration);
    MistakeList MakeMistakeList() const;

    std::string file_;
    std::vector<std::string> given_settings_;
    std::vector<std::string> settings_;  ///< their names in mistakes
    std::string text_;
    std::unique_ptr<Plan> plan_;
    std::vector<Mistake> mistakes_;
};

}  // namespace orv::app
