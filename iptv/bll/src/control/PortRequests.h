// What a test start sends to a port. Nothing here waits for answers.
#pragma once

#include <cstdint>
#include <vector>

#include "control/InterfaceStacks.h"
#include "control/TestSettings.h"
#include "msgset/iptvcd_1.h"
#include "orv/framework/rpc_manager.h"
#include "results/IptvResultsManager.h"

namespace orv::core {
class CPort;
}

namespace orv::iptv {

class StreamMap;

/// The configuration of a test, as a port whose blocks have this interface stack is sent it.
iptvcd_1_bll::testConfig_s MakeTestConfig(const TestSettings& settings, const StackFlags& stack);

// Each of these three throws the RPC manager's result when that is negative.
void SendTestConfig(const core::CPort& port, const iptvcd_1_bll::testConfig_s& config,
                    const framework::ResponseDelegate& delegate);
/// The port's analyzer is to take frames with and without signature, and no damaged ones.
void SendCutThruRxFilterEnables(const core::CPort& port, const framework::ResponseDelegate& delegate);
void SendStart(const core::CPort& port, const std::vector<std::uint32_t>& stbBlocks,
               std::uint32_t start_delay_step, const framework::ResponseDelegate& delegate);

/// A map that cannot be sent is logged.
void SendStreamMap(const core::CPort& port, const StreamMap& map,
                   const framework::ResponseDelegate& delegate);

/// Registers for results and for the end of the test. `results` gets the port as context, `end` its handle. A
/// registration that fails is logged, and its id is 0; without the first there is no second.
deregHandles RegisterForNotifications(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks,
                                      std::uint32_t interval_ms, const framework::ResponseDelegate& results,
                                      const framework::ResponseDelegate& end);

}  // namespace orv::iptv
