// Starts a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ModelClass.h"
#include "control/InterfaceStacks.h"
#include "control/StreamMap.h"
#include "orv/framework/command.h"
#include "orv/tm/message.h"
#include "running/RunningTest.h"

namespace orv::core {
class CEmulatedDevice;
class CNetworkInterface;
class CPort;
class CProject;
}  // namespace orv::core
namespace orv::l2l3 {
class CAnalyzerStartCommand;
}

namespace orv::iptv {

using tm::Message;

/// Starts a test: checks that it can be run, sets up the analyzers, applies the configuration, tells every
/// online port of the listed STB blocks what to do, and hands the test to the results manager. Ends when the
/// ports have been told to start; the test continues.
///
/// The command determines the order of the steps and passes data between them. The work is done by units that
/// get their input as arguments: StbMap, DuplicateHosts, InterfaceStacks, StartTestPreconditions,
/// StreamLimit, AnalyzerSetup, StreamMap, PortRequests, ResetResultClasses.
///
/// Runs on the command's task. Nothing waits for the ports' answers; a fault among them is logged. When a new
/// command is made, what a start without a test has left behind (its ports and their notifications) is
/// dropped.
class CIptvStartTestCommand
    : public ModelClass<ids::IptvStartTestCommand::CLASS.GetValue(), framework::CCommand> {
  public:
    CIptvStartTestCommand();
    ~CIptvStartTestCommand() override;

    std::uint8_t GetTypeOfTest() const;
    std::uint8_t GetTestEnv() const;
    std::uint8_t GetMulticastJoinTrigger() const;
    std::uint8_t GetUnicastLeaveTrigger() const;
    const std::vector<std::uint32_t>& GetStbBlockList() const;
    const std::string& GetDatabaseFileName() const;

    bool OnInit() override;
    bool DoReset() override { return true; }
    /// A command inside a sequence is saved with the project.
    bool CanSave() const override { return GetParent() != nullptr; }
    /// Refuses while a test runs or is being started: a second start would take the first one's results.
    bool DoRunnableValidate(std::string& reason) const override;
    bool Validate(framework::CBaseValidationContext& context) override;
    void DoRun() override;

    // --- Checks (StartTestValidation.cpp)

    /// False, with the block's handle, for a block whose channels are not a multiple of 4.
    bool CheckZappingTestRestrictionOnChannels(std::uint32_t& stbBlock) const;
    /// False when two hosts of a port have the same address, which is reported.
    bool CheckForDuplicateAddresses(framework::CBaseValidationContext& context);
    /// True when two hosts of a port share a layer 2 interface.
    bool CheckForDuplicateInterfaces(framework::CBaseValidationContext& context) const;
    /// The link layers below the hosts of all listed blocks; filled in by Validate.
    const LinkLayers& GetLinkLayers() const { return m_link; }
    /// Throws COrvRunTimeError when the test cannot be run now; waits for a generator that is starting.
    void CheckPreconditions() const;
    /// False, with the handles of device and port when they are known, for a block whose address is not
    /// resolved.
    bool HasIpAddressBeenResolved(std::uint32_t& device, std::uint32_t& port) const;
    /// Throws COrvRunTimeError when a group of the viewed channels cannot be told apart by its last two bits.
    void CheckIpAddressStepForZapTest() const;
    /// Logs an error for developers when the port's analyzer cannot tell so many streams apart.
    void CheckForCardLimitOnStreams(const std::vector<std::uint32_t>& stbBlocks, std::uint32_t port) const;
    static std::int32_t GetCardLimitOnStreams(std::uint32_t port);
    static bool DeviceIsPppoxClient(const core::CEmulatedDevice* device);
    static bool DeviceIsDhcpClient(const core::CEmulatedDevice* device);
    static std::string GetVlanIds(const std::vector<core::CNetworkInterface*>& interfaces);
    static void CreateStbMap(StbPortMap& map, const std::vector<std::uint32_t>& stbBlocks, bool onlineOnly);

    // --- The run (StartTestRun.cpp)

    /// Numbers the set-top boxes of the run through all its blocks.
    void SetBlockIndex();
    /// Notes the interface stack of a port's first block, for the next two.
    void CheckVlanAndPppEnable(const CIptvStbBlockConfig& stbBlock);
    /// Sends the test's configuration. Throws the RPC manager's negative result.
    void OnApplyTestUpdate(core::CPort& port);
    /// Stops, clears and programs the port's analyzer for the hosts of a block.
    void init_analyzer(core::CPort& port, const CIptvStbBlockConfig& stbBlock);
    /// Tells the online ports which stream carries which channel.
    void MakeMap(const core::CProject& project);
    void RegisterForResultAndEotNotifications(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks,
                                              int portCount);
    /// Sends the start. Throws the RPC manager's negative result.
    void SendMessageToIL(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks);
    static void ResetResultClasses(const std::vector<std::uint32_t>& handles);
    void SaveCommandToDb();
    void DeregisterDueToSequencerCancel();

    // Called with the ports' answers, possibly after the command was destroyed.
    static void StartTestHandler(std::uint16_t sequence, Message* response, void* context);
    static void SetConfigHandler(std::uint16_t sequence, Message* response, void* context);
    static void UpdateStreamMapHandler(std::uint16_t sequence, Message* response, void* context);
    static void SetCutThruRxFilterEnablesHandler(std::uint16_t sequence, Message* response, void* context);

  private:
    /// The listed STB blocks, in the list's order, those below the named objects included. Blocks that are
    /// being deleted take no part. A handle that names nothing throws COrvRunTimeError.
    std::vector<CIptvStbBlockConfig*> ListStbBlocks() const;
    std::vector<std::uint32_t> ListStbBlockHandles() const;
    /// The listed blocks by port, offline ones included.
    StbPortMap SortStbBlocksByPort() const;
    /// The parts of Validate. Each reports the first rule that is broken, and is false then.
    bool CheckTestType(framework::CBaseValidationContext& context);
    bool CheckChannelCounts(framework::CBaseValidationContext& context) const;
    bool CheckBlocks(framework::CBaseValidationContext& context);

    // Steps of the run.
    void ChooseParticipants();
    bool IsInSequence() const;
    void PrepareResultsManager();
    void MakeAnalyzerStartCommand();
    /// These three return false when the run ends there.
    bool SetUpPorts();
    bool RegisterPorts();
    bool StartPorts();
    void MakeTestResults(core::CProject& project);
    void StopTest();
    /// Does the work for one port. False, after noting what went wrong, when it throws.
    template <class Work>
    bool TryOnPort(std::uint32_t port, const char* step, const Work& work);

    std::vector<std::uint32_t> m_stbBlocks;  ///< handles of the blocks that this run was asked for
    LinkLayers m_link;
    StackFlags m_stack;  ///< of the port that is being set up
    StreamMap m_streamMap;
    l2l3::CAnalyzerStartCommand* m_pAnalyzerStartCommand = nullptr;  ///< of this run
};

}  // namespace orv::iptv
