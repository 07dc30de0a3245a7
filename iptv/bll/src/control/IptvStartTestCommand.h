// Starts a test.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ModelClass.h"
#include "config/IptvStbBlockConfig.h"
#include "control/StreamMap.h"
#include "orv/framework/command.h"
#include "orv/framework/rpc_manager.h"

namespace orv::core {
class CEmulatedDevice;
class CNetworkInterface;
class CPort;
class CProject;
}  // namespace orv::core
namespace orv::l2l3 {
class CAnalyzer;
class CAnalyzer16BitFilter;
class CAnalyzer32BitFilter;
class CAnalyzerStartCommand;
}  // namespace orv::l2l3

namespace orv::iptv {

using tm::Message;

/// Starts a test: checks that it can be run, sets up the analyzers, applies the configuration, tells every
/// online port of the listed STB blocks what to do, and hands the test to the results manager. Ends when the
/// ports have been told to start; the test runs on.
///
/// Runs on the command's task. Nothing waits for the ports' answers; a fault among them is logged. A new
/// command takes back what an earlier start has left that came to no test: its ports, and their
/// notifications.
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

    // --- Checks (StartTestValidation.cpp, StartTestPreconditions.cpp, DuplicateHosts.cpp, StreamLimit.cpp)

    /// False, with the block's handle, for a block whose channels are not a multiple of 4.
    bool CheckZappingTestRestrictionOnChannels(std::uint32_t& stbBlock) const;
    /// False when two hosts of a port have the same address; says so in the context.
    bool CheckForDuplicateAddresses(framework::CBaseValidationContext& context);
    /// True when two hosts of a port share a layer 2 interface.
    bool CheckForDuplicateInterfaces(framework::CBaseValidationContext& context) const;
    /// False, with the handles of device and port when they are known, for a block whose address is not
    /// resolved.
    bool HasIpAddressBeenResolved(std::uint32_t& device, std::uint32_t& port) const;
    /// Throws COrvRunTimeError when a group of the watched channels cannot be told apart by its last two
    /// bits.
    void CheckIpAddressStepForZapTest() const;
    /// Says in the developer log when the port's analyzer cannot tell so many streams apart.
    void CheckForCardLimitOnStreams(const std::vector<std::uint32_t>& stbBlocks, std::uint32_t port) const;
    /// Streams that the port's analyzer can tell apart, -1 when that is not known.
    static std::int32_t GetCardLimitOnStreams(std::uint32_t port);
    static bool DeviceIsPppoxClient(const core::CEmulatedDevice* device);
    static bool DeviceIsDhcpClient(const core::CEmulatedDevice* device);
    /// The VLAN ids of a stack listed from the top, outermost first, each followed by a slash.
    static std::string GetVlanIds(const std::vector<core::CNetworkInterface*>& interfaces);
    /// Sorts the active blocks by port, in their order; ports that are in the map already keep their entries,
    /// emptied. `onlineOnly`: ports that are offline take no part, unless the system tests without hardware.
    static void CreateStbMap(StbPortMap& map, const std::vector<std::uint32_t>& stbBlocks, bool onlineOnly);

    // --- Analyzers (AnalyzerSetup.cpp)

    /// Stops, clears and programs the port's analyzer for the hosts of a block.
    void init_analyzer(core::CPort& port, CIptvStbBlockConfig& stbBlock);
    void clear_comparators(l2l3::CAnalyzer& analyzer);
    void init_comparators(l2l3::CAnalyzer& analyzer, CIptvStbBlockConfig& stbBlock);
    void createIpFilters(l2l3::CAnalyzer& analyzer, CIptvStbBlockConfig& stbBlock,
                         l2l3::CAnalyzer16BitFilter*& upper, l2l3::CAnalyzer16BitFilter*& lower);
    void create32bitFilters(l2l3::CAnalyzer& analyzer, l2l3::CAnalyzer32BitFilter*& filter);

    // --- The run (StartTestRun.cpp, PortRequests.cpp, StreamMap.cpp, ResetResultClasses.cpp,
    // SaveCommandToDb.cpp)

    /// Numbers the set-top boxes of the run through all its blocks.
    void SetBlockIndex();
    void CheckVlanAndPppEnable(CIptvStbBlockConfig& stbBlock);
    /// Sends the test's configuration. Throws the RPC manager's negative result.
    void OnApplyTestUpdate(core::CPort& port);
    /// Tells the online ports which stream carries which channel.
    void MakeMap(const core::CProject& project);
    void RegisterForResultAndEotNotifications(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks,
                                              int portCount);
    /// Sends the start. Throws the RPC manager's negative result.
    void SendMessageToIL(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks);
    /// Every result of the projects of these handles starts from zero.
    static void ResetResultClasses(const std::vector<std::uint32_t>& handles);
    void SaveCommandToDb();
    void DeregisterDueToSequencerCancel();

    // Told of the ports' answers, which may come when the command is gone.
    static void StartTestHandler(std::uint16_t sequence, Message* response, void* context);
    static void SetConfigHandler(std::uint16_t sequence, Message* response, void* context);
    static void UpdateStreamMapHandler(std::uint16_t sequence, Message* response, void* context);
    static void SetCutThruRxFilterEnablesHandler(std::uint16_t sequence, Message* response, void* context);

  private:
    /// The link layers below the hosts of all listed blocks; filled in by Validate.
    struct LinkLayers {
        bool m_bAtmPort = false;
        bool m_bEthPort = false;
        std::uint8_t m_atmEncapsulation = 1;  ///< of the last AAL5 interface found
    };
    /// The stack of the block that is being set up.
    struct StackFlags {
        bool m_bVlanOuter = false;
        bool m_bVlanInner = false;
        bool m_bPppEnable = false;
        std::uint32_t m_vlanCount = 0;
    };

    /// The listed STB blocks, in the list's order, those below the named objects included. Blocks that are
    /// being deleted take no part. A handle that names nothing throws COrvRunTimeError.
    std::vector<CIptvStbBlockConfig*> GetStbBlocks() const;
    /// The parts of Validate. Each reports the first rule that is broken, and is false then.
    bool CheckTestType(framework::CBaseValidationContext& context);
    bool CheckChannelCounts(framework::CBaseValidationContext& context) const;
    bool CheckBlocks(framework::CBaseValidationContext& context);
    /// Notes the link layers below an interface.
    void NoteLinkLayers(const core::CNetworkInterface& top);
    /// Throws COrvRunTimeError when the test cannot be run now; waits for a generator that is starting.
    void CheckPreconditions() const;
    /// The filter for the VLAN tag, when there is one.
    void AddVlanFilter(l2l3::CAnalyzer& analyzer) const;
    /// The filter for the S-bit, the PPPoE session or the second VLAN tag, when there is one.
    void AddFourthFilter(l2l3::CAnalyzer& analyzer) const;
    /// The distance from the start of the frame to the first VLAN tag, bytes.
    std::uint32_t GetLinkLayerOffset() const;
    /// The stream id tells the channels apart.
    bool IsStreamIdMode() const;
    /// The S-bit of a burst is looked for.
    bool IsSbitMode() const;

    // Steps of the run.
    static bool IsStartUnderWay();
    void ListStbBlocks();
    bool IsInSequence() const;
    void PrepareResultsManager();
    void MakeAnalyzerStartCommand();
    /// These three return false when the run ends there.
    bool SetUpPorts();
    bool RegisterPorts();
    bool StartPorts();
    void Apply(const core::CProject& project);
    void MakeTestResults(core::CProject& project);
    void StopTest();
    /// Does the work for one port. False, after noting what went wrong, when it throws.
    template <class Work>
    bool TryOnPort(std::uint32_t port, const char* step, const Work& work);

    std::vector<std::uint32_t> m_stbBlocks;  ///< handles of the blocks that this run was asked for
    LinkLayers m_link;
    StackFlags m_stack;
    StreamMap m_streamMap;
    l2l3::CAnalyzerStartCommand* m_pAnalyzerStartCommand = nullptr;  ///< of this run

    friend struct StartTestInternals;  ///< lets tests set what the checks fill in
};

/// True when a child of the class is active; false for no device.
bool DeviceHasActiveConfig(const core::CEmulatedDevice* device, const std::string& className);

}  // namespace orv::iptv
