// Test files: a test as a person writes it down (docs/test-file.md).
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "mistake.h"
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

    /// Empty when the file gives none.
    const std::string& GetTitle() const;
    const Simulation& GetSimulation() const;

    /// Makes the objects below an empty project, and the commands in place of those of the sequencer. Returns
    /// what the host refused, with positions in the file: the project is then incomplete and to be replaced.
    /// Throws COrvLogicError when the file is not good.
    std::vector<Mistake> Build(framework::CScriptable& project, framework::CSequencer& sequencer) const;

  private:
    TestFile();

    std::string file_;
    std::unique_ptr<Plan> plan_;
    std::vector<Mistake> mistakes_;
};

}  // namespace orv::app
