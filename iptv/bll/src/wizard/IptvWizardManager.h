// Builds a whole test from the wizard's objects.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::core {
class CPort;
}

namespace orv::iptv {

class CIptvWizardTestConfig;

/// The one wizard of the process; it is never part of the object tree. Works on the open project, under the
/// task lock.
///
/// What cannot be found or made ends the set-up with COrvRunTimeError. Objects that it has made by then stay
/// until the next set-up removes them; the command sequence is replaced as the very last step, so it stays as
/// it was.
class CIptvWizardManager : public framework::CScriptable {
  public:
    static CIptvWizardManager* GetWizardManager();

    /// Replaces what the wizard made before with the test that the project's wizard objects describe now, and
    /// the sequence with the commands that run it. Refused, and nothing is changed then, while the sequence
    /// or an IPTV test runs, the ports of a test are stopping, or a command is under way that would have to
    /// go.
    void SetupTest();

    /// The steps of SetupTest.
    void CleanUp();
    void ProcessWizardMcastSources();
    /// Appends the handles of the set-top-box blocks that are made.
    void SetupStbBlocks(std::vector<std::uint32_t>& stbBlockHandles);
    void SetupStartTestCommand(std::vector<std::uint32_t>& stbBlockHandles);
    /// Runs the project's start command, the first one if there are several; none is an internal lookup
    /// failure.
    void SetupIptvSequencer();

    /// The project's wizard test configuration.
    static CIptvWizardTestConfig& GetWizTestConfig();
    /// Relates two objects by the name of a relation, as the host's set-relatives command does it. `targets`:
    /// the relative becomes a target of the relation, otherwise a source. `append`: objects that are related
    /// already stay so.
    static void SetupRelations(std::uint32_t objectHandle, std::string relationName, bool targets,
                               std::uint32_t relativeHandle, bool append);
    /// Marks the objects that are still there for deletion, and empties the list.
    static void DeleteBllObjInVec(std::vector<std::uint32_t>& handles);
    /// Marks the port's stream blocks for deletion that send to multicast groups and to nothing else.
    static void RemoveStaleMcastStreamBlocks(core::CPort* port);

  private:
    CIptvWizardManager() = default;

    // Handles of what the last set-up made; 0 for what it could not make any more.
    std::vector<std::uint32_t> m_mcastGroupHandles;
    std::vector<std::uint32_t> m_streamBlockHandles;
    std::vector<std::uint32_t> m_hostConfigHandles;
};

}  // namespace orv::iptv
