// Test files: tests as users write them (docs/test-file.md).
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "file_text.h"
#include "mistake.h"
#include "orv/framework/meta_class.h"
#include "orv/nic/live_port.h"
#include "simulation.h"

namespace orv::framework {
class CScriptable;
class CSequencer;
}  // namespace orv::framework

namespace orv::app {

class Plan;

/// One test file, checked as a whole against the data models that are active: load plug-ins first. Loading
/// makes no object. All of it under the host's task lock.
class TestFile {
  public:
    /// A file that cannot be read is a mistake, too.
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
    /// All that is wrong, in the order of the file.
    const std::vector<Mistake>& GetMistakes() const { return mistakes_; }

    /// As it is named in mistakes.
    const std::string& GetFile() const { return file_; }
    /// All that was read.
    const std::string& GetText() const { return text_; }
    /// What replaces values of the file, each "--set NAME/Property=VALUE".
    const std::vector<std::string>& GetSettings() const { return settings_; }
    /// Empty when the file gives none.
    const std::string& GetTitle() const;
    const Simulation& GetSimulation() const;
    /// Of the section "live".
    const nic::MembershipSettings& GetMembership() const;

    /// What came of building a file.
    struct Built {
        /// What the host refused: the project is then incomplete and to be replaced.
        std::vector<Mistake> mistakes;
        /// What the objects are in the file's plan, by handle.
        std::unordered_map<std::uint32_t, std::size_t> objects;
    };
    /// Makes the objects below an empty project, and the commands in place of those of the sequencer. Throws
    /// COrvLogicError when the file is not good.
    Built Build(framework::CScriptable& project, framework::CSequencer& sequencer) const;
    /// A mistake of one of the sections "project" and "sequence"; for want of the latter it stands at the
    /// former.
    Mistake MakeMistake(const std::string& section, const std::string& problem,
                        const std::string& expected = {}) const;
    /// A mistake that shows only when the objects are there, of an object of the file: `handle` is among the
    /// built ones. It is where `key`, a property or relation, has its value; otherwise where the object is.
    Mistake MakeMistake(const Built& built, std::uint32_t handle, const std::string& key,
                        const std::string& problem, const std::string& expected = {}) const;
    /// What people call an object of the file: its name, or for want of one a reference that leads to it.
    /// Nothing for what is not of the file.
    std::optional<std::string> FindReference(const Built& built, std::uint32_t handle) const;
    /// True when the file says itself which commands are run.
    bool HasSequence() const;
    /// The texts that objects of the file have for a property, as far as the file could be read.
    std::vector<std::string> GetValues(framework::PropId property) const;

  private:
    TestFile();

    MistakeList MakeMistakeList() const;

    std::string file_;
    std::vector<std::string> settings_;  ///< as mistakes name them
    std::string text_;
    std::unique_ptr<Plan> plan_;
    std::vector<Mistake> mistakes_;
};

}  // namespace orv::app
