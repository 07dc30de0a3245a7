// Protocols that give hosts their addresses or sessions, as far as the host needs to know them.
//
// There is no server on the other side: a block whose device is active and whose port can be reached gets
// what it asks for at once, and keeps the addresses that are configured.
#pragma once

#include "orv/framework/command.h"

namespace orv::core {

class CProtocolBlockConfig : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// IDLE, BOUND or FAILED of ids::ProtocolBlockState.
    std::uint8_t GetBlockState() const;
    /// Sets the state, and that of the PPPoE sessions of the device when the block is one of PPPoE.
    void SetBlockState(std::uint8_t state);
};

/// The commands of one protocol work on the blocks of that protocol only, whatever else their input names.
/// Inactive blocks are left alone.
class CProtocolBindCommand : public framework::CCommand {
  public:
    bool OnInit() override;
    /// Blocks that cannot bind become FAILED; the status names them. A wait command tells whether to go on.
    void DoRun() override;
};

class CProtocolReleaseCommand : public framework::CCommand {
  public:
    bool OnInit() override;
    void DoRun() override;
};

/// Waits until all blocks have the state, at most WaitTime seconds. Fails naming the blocks that have not; at
/// once when a block has failed.
class CProtocolWaitCommand : public framework::CCommand {
  public:
    bool OnInit() override;
    void DoRun() override;
};

/// Resolves the gateway of every active IP interface of the project. An interface whose port cannot be
/// reached becomes RESOLVE_FAILED, and the status names it.
class CArpNdStartOnAllDevicesCommand : public framework::CCommand {
  public:
    static framework::ClassId CLASS_ID();
    void DoRun() override;
};

}  // namespace orv::core
