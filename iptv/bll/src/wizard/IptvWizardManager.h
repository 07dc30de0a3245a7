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

/// The wizard; one per process, not part of the object tree. Works on the open project, under the task lock.
/// If something is missing or cannot be created, the set-up ends with COrvRunTimeError. Objects created by
/// then stay until the next set-up removes them. The command sequence is replaced last, so it is unchanged.
class CIptvWizardManager : public framework::CScriptable {
  public:
    static CIptvWizardManager* GetWizardManager();

    /// Replaces the objects of the previous set-up with the test that the project's wizard objects describe
    /// now, and the sequence with the commands that run it. Refused, without any change, while the sequence
    /// or an IPTV test runs, the ports of a test are stopping, or a command that would be deleted is running.
    void SetupTest();

    /// The steps of SetupTest.
    void CleanUp();
    void ProcessWizardMcastSources();
    /// Appends the handles of the new set-top-box blocks.
    void SetupStbBlocks(std::vector<std::uint32_t>& stbBlockHandles);
    void SetupStartTestCommand(std::vector<std::uint32_t>& stbBlockHandles);
    /// The new sequence runs the project's start command, the first one if there are several. A missing one
    /// is an internal lookup failure.
    void SetupIptvSequencer();

    /// The project's wizard test configuration.
    static CIptvWizardTestConfig& GetWizTestConfig();
    /// Relates two objects by the name of a relation, like the host's set-relatives command. `targets`: the
    /// relative becomes a target of the relation, otherwise a source. `append`: existing relations are kept.
    static void SetupRelations(std::uint32_t objectHandle, std::string relationName, bool targets,
                               std::uint32_t relativeHandle, bool append);
    /// Marks the objects that still exist for deletion, and clears the list.
    static void DeleteBllObjInVec(std::vector<std::uint32_t>& handles);
    /// Marks for deletion the port's stream blocks that send to multicast groups only.
    static void RemoveStaleMcastStreamBlocks(core::CPort* port);

  private:
    CIptvWizardManager() = default;

    // Handles of the objects of the last set-up; 0 for those that it could not create.
    std::vector<std::uint32_t> m_mcastGroupHandles;
    std::vector<std::uint32_t> m_streamBlockHandles;
    std::vector<std::uint32_t> m_hostConfigHandles;
};

}  // namespace orv::iptv
