// Protocols that give hosts their addresses or sessions, as far as the host needs to know them.
//
// Addresses come from the network of the device's port, if the application has somebody who sees to it
// (IHostAddressing). Without, and for sessions of PPP and L2TP, there is no server on the other side: a block
// whose device is active and whose port can be reached gets what it asks for at once, and keeps the addresses
// that are configured.
#pragma once

#include <string>

#include "orv/framework/command.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

/// The commands of a protocol, and the class of the blocks they work on.
struct ProtocolCommands {
    common::ClassId bind, release, bind_wait, release_wait, blocks;
};
inline constexpr ProtocolCommands kProtocolCommands[] = {
    {ids::Dhcpv4BindCommand::CLASS, ids::Dhcpv4ReleaseCommand::CLASS, ids::Dhcpv4BindWaitCommand::CLASS,
     ids::Dhcpv4ReleaseWaitCommand::CLASS, ids::Dhcpv4BlockConfig::CLASS},
    {ids::Dhcpv6BindCommand::CLASS, ids::Dhcpv6ReleaseCommand::CLASS, ids::Dhcpv6BindWaitCommand::CLASS,
     ids::Dhcpv6ReleaseWaitCommand::CLASS, ids::Dhcpv6BaseBlockConfig::CLASS},
    {ids::PppoxConnectCommand::CLASS, ids::PppoxDisconnectCommand::CLASS, ids::PppoxConnectWaitCommand::CLASS,
     ids::PppoxDisconnectWaitCommand::CLASS, ids::AbstPppBlockConfig::CLASS},
    {ids::L2tpConnectCommand::CLASS, ids::L2tpDisconnectCommand::CLASS, ids::L2tpConnectWaitCommand::CLASS,
     ids::L2tpDisconnectWaitCommand::CLASS, ids::L2tpBlockConfig::CLASS},
    {ids::SlaacBindCommand::CLASS, ids::SlaacReleaseCommand::CLASS, ids::SlaacBindWaitCommand::CLASS,
     ids::SlaacReleaseWaitCommand::CLASS, ids::SlaacBlockConfig::CLASS},
};

/// Has the hosts of blocks get their addresses from the network, and give them back. Used under the task
/// lock.
class IHostAddressing {
  public:
    virtual ~IHostAddressing() = default;

    /// The blocks are active, of classes derived from AddressBlockConfig, and on ports that can be reached.
    /// They become BINDING, and BOUND or FAILED later.
    virtual void Bind(const framework::ScriptableVec& blocks) = 0;
    /// They become RELEASING, and IDLE later.
    virtual void Release(const framework::ScriptableVec& blocks) = 0;
    /// The time to wait for a block is over: whether it is BOUND nevertheless, because the hosts that have an
    /// address will do. Asks its port, and yields the task lock meanwhile.
    virtual bool GoOnWithSome(const framework::CScriptable& block) = 0;
    /// Why a block has failed, or how far it is, for people; empty if it is not known.
    virtual std::string GetFailure(const framework::CScriptable& block) const = 0;
};
/// Null: nobody. The application's.
void SetHostAddressing(IHostAddressing* addressing);

class CProtocolBlockConfig : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Of ids::ProtocolBlockState.
    std::uint8_t GetBlockState() const;
    /// Sets the state, and that of the PPPoE sessions of the device when the block is one of PPPoE.
    void SetBlockState(std::uint8_t state);
};

/// The commands of one protocol work on the blocks of that protocol only; other input is ignored.
/// Inactive blocks are left alone.
class CProtocolBindCommand : public framework::CCommand {
  public:
    bool OnInit() override;
    /// Blocks that cannot bind become FAILED; the status names them. A wait command reports the result.
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
