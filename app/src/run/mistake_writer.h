// What is wrong with the objects of a test, in the words of its file.
#pragma once

#include "object_problem.h"
#include "test_file/parsed_file.h"

namespace orv::app {

/// Mistakes of objects that the wizard has made are reported for their source objects. Objects without a name
/// of their own are called by a reference that leads to them, not by the name that the host gave them.
class MistakeWriter {
  public:
    /// Both arguments must outlive the object.
    MistakeWriter(const TestFile& file, const TestFile::Built& built) : file_(file), built_(built) {}

    Mistake Write(const ObjectProblem& problem) const;

  private:
    bool IsInFile(const framework::CScriptable& object) const;
    const framework::CScriptable& FindOrigin(const framework::CScriptable& object) const;
    std::string RenameObjects(const std::string& text) const;

    const TestFile& file_;
    const TestFile::Built& built_;
};

}  // namespace orv::app
