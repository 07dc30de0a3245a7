// Test files: a test as a person writes it down (docs/test-file.md).
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "mistake.h"
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
    static TestFile Load(const std::filesystem::path& path);
    /// `file` names the text in mistakes.
    static TestFile Parse(const std::string& text, const std::string& file);

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
    /// Empty when the file gives none.
    const std::string& GetTitle() const;
    const Simulation& GetSimulation() const;
    /// Of the section "live".
    const nic::MembershipSettings& GetMembership() const;

    /// What came of building a file.
    struct Built {
        /// What the host refused: the project is then incomplete and to be replaced.
        std::vector<Mistake> mistakes;
        /// Where the objects stand in the file, by handle.
        std::unordered_map<std::uint32_t, Position> positions;
    };
    /// Makes the objects below an empty project, and the commands in place of those of the sequencer. Throws
    /// COrvLogicError when the file is not good.
    Built Build(framework::CScriptable& project, framework::CSequencer& sequencer) const;
    /// A mistake that shows only when the objects are there.
    Mistake MakeMistake(Position at, const std::string& object, const std::string& problem) const;
    /// True when the file says itself which commands are run.
    bool HasSequence() const;

  private:
    TestFile();

    std::string file_;
    std::string text_;
    std::unique_ptr<Plan> plan_;
    std::vector<Mistake> mistakes_;
};

}  // namespace orv::app
