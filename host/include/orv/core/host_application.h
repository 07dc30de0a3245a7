// The host: brings up data models, task manager, system and project, and takes them down again.
#pragma once

#include <filesystem>
#include <string>

#include "orv/framework/task_manager.h"

namespace orv::core {

class CProject;
class COrvSystem;

/// One running host. A process has at most one at a time; it may have several one after the other, and
/// plug-ins stay loaded from one to the next. The thread that makes it holds the task lock until it is
/// destroyed (waiting gives the lock back).
class CHostApplication {
  public:
    struct Options {
        framework::ClockKind clock = framework::ClockKind::Real;
    };

    CHostApplication() : CHostApplication(Options{}) {}
    /// Throws COrvRunTimeError when a data model is wrong, COrvLogicError when a host runs already.
    explicit CHostApplication(const Options& options);
    /// Stops the sequencer, cuts the connections, ends the tasks and destroys the object tree.
    ~CHostApplication();
    CHostApplication(const CHostApplication&) = delete;
    CHostApplication& operator=(const CHostApplication&) = delete;

    CProject& GetProject() const { return *project_; }
    /// Replaces the project by an empty one.
    CProject& NewProject();

    /// See CPluginLoader::Load.
    void LoadPlugin(const std::filesystem::path& path);

  private:
    COrvSystem* system_ = nullptr;
    CProject* project_ = nullptr;
};

}  // namespace orv::core
