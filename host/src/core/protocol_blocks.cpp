#include "orv/core/protocol_blocks.h"

#include <algorithm>
#include <chrono>

#include "command_inputs.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

using common::ClassId;
using framework::CScriptable;
using framework::ScriptableVec;

namespace {

/// The blocks of the command's protocol that its list names and that are active.
ScriptableVec FindBlocks(const framework::CCommand& command, framework::PropId list) {
    const ClassId id = command.GetClassId();
    const auto* protocol =
        std::find_if(std::begin(kProtocolCommands), std::end(kProtocolCommands), [id](const auto& commands) {
            return id == commands.bind || id == commands.release || id == commands.bind_wait ||
                   id == commands.release_wait;
        });
    ORV_ASSERT(protocol != std::end(kProtocolCommands), "The command belongs to no protocol");
    ScriptableVec blocks;
    command.ProcessInputHandleVec(protocol->blocks, command.GetCollection<std::uint32_t>(list), blocks);
    std::erase_if(blocks, [](const CScriptable* block) { return !block->GetActive() || block->IsDeleted(); });
    return blocks;
}

IHostAddressing* host_addressing = nullptr;

/// The blocks that get their addresses from the network; the others stay in `blocks`.
ScriptableVec TakeAddressBlocks(ScriptableVec& blocks) {
    ScriptableVec taken;
    if (!host_addressing) return taken;
    std::erase_if(blocks, [&taken](CScriptable* block) {
        if (!block->IsTypeOf(ids::AddressBlockConfig::CLASS)) return false;
        taken.push_back(block);
        return true;
    });
    return taken;
}

bool IsOnReachablePort(const CEmulatedDevice* device) {
    const CPort* port = device ? device->GetPort() : nullptr;
    return port && port->IsReachable();
}

/// "; 12 of 1000 hosts of "STBs" have no address: ..."
std::string DescribeFailures(const ScriptableVec& blocks) {
    std::string text;
    for (const CScriptable* block : blocks) {
        const std::string why = host_addressing ? host_addressing->GetFailure(*block) : "";
        if (!why.empty()) text += "; " + why;
    }
    return text;
}

void SetStates(const ScriptableVec& blocks, std::uint8_t state) {
    for (CScriptable* block : blocks) dynamic_cast<CProtocolBlockConfig&>(*block).SetBlockState(state);
}

}  // namespace

void SetHostAddressing(IHostAddressing* addressing) {
    host_addressing = addressing;
}

ClassId CProtocolBlockConfig::CLASS_ID() {
    return ids::ProtocolBlockConfig::CLASS;
}

std::uint8_t CProtocolBlockConfig::GetBlockState() const {
    return GetU8(ids::ProtocolBlockConfig::BlockState);
}

void CProtocolBlockConfig::SetBlockState(std::uint8_t state) {
    Set(ids::ProtocolBlockConfig::BlockState, state);
    if (!IsTypeOf(ids::PppoeClientBlockConfig::CLASS) || !GetParent()) return;
    ScriptableVec sessions;
    GetParent()->GetObjects(sessions, CPppoeIf::CLASS_ID(), common::kParentChild);
    const std::uint8_t resolved = state == ids::ProtocolBlockState::BOUND ? ids::ResolveState::RESOLVE_DONE
                                                                          : ids::ResolveState::RESOLVE_NEEDED;
    for (CScriptable* session : sessions) session->Set(ids::PppoeIf::SessionResolveState, resolved);
}

bool CProtocolBindCommand::OnInit() {
    CoverWholeProject(*this, ids::ProtocolBlockCommand::BlockList);
    return CCommand::OnInit();
}

void CProtocolBindCommand::DoRun() {
    ScriptableVec bound = FindBlocks(*this, ids::ProtocolBlockCommand::BlockList);
    ScriptableVec failed;
    for (CScriptable* block : bound) {
        if (!IsOnReachablePort(dynamic_cast<const CEmulatedDevice*>(block->GetParent())))
            failed.push_back(block);
    }
    std::erase_if(bound, [&failed](CScriptable* block) {
        return std::find(failed.begin(), failed.end(), block) != failed.end();
    });
    SetStates(failed, ids::ProtocolBlockState::FAILED);
    if (const ScriptableVec asking = TakeAddressBlocks(bound); !asking.empty()) host_addressing->Bind(asking);
    SetStates(bound, ids::ProtocolBlockState::BOUND);
    if (!failed.empty()) SetStatus("no port that can be reached: " + JoinNames(failed));
}

bool CProtocolReleaseCommand::OnInit() {
    CoverWholeProject(*this, ids::ProtocolBlockCommand::BlockList);
    return CCommand::OnInit();
}

void CProtocolReleaseCommand::DoRun() {
    ScriptableVec blocks = FindBlocks(*this, ids::ProtocolBlockCommand::BlockList);
    if (const ScriptableVec releasing = TakeAddressBlocks(blocks); !releasing.empty())
        host_addressing->Release(releasing);
    SetStates(blocks, ids::ProtocolBlockState::IDLE);
}

bool CProtocolWaitCommand::OnInit() {
    CoverWholeProject(*this, ids::ProtocolWaitCommand::ObjectList);
    return CCommand::OnInit();
}

void CProtocolWaitCommand::DoRun() {
    const bool for_bind = IsTypeOf(ids::ProtocolBindWaitCommand::CLASS);
    const std::uint8_t wanted = for_bind ? ids::ProtocolBlockState::BOUND : ids::ProtocolBlockState::IDLE;
    const std::chrono::seconds wait_time(GetU32(ids::ProtocolWaitCommand::WaitTime));
    ScriptableVec waited_for;
    // The blocks are looked up each time: other tasks may delete some while this one waits.
    const bool reached = framework::CTaskManager::Instance().WaitUntil(
        [&] {
            waited_for = FindBlocks(*this, ids::ProtocolWaitCommand::ObjectList);
            bool one_failed = false;
            std::erase_if(waited_for, [&](CScriptable* block) {
                const std::uint8_t state = dynamic_cast<CProtocolBlockConfig&>(*block).GetBlockState();
                one_failed = one_failed || (for_bind && state == ids::ProtocolBlockState::FAILED);
                return state == wanted;
            });
            return waited_for.empty() || one_failed || GetProgressCancelled();
        },
        wait_time);
    if (for_bind && !reached && host_addressing)
        std::erase_if(waited_for,
                      [](const CScriptable* block) { return host_addressing->GoOnWithSome(*block); });
    if (waited_for.empty() || GetProgressCancelled()) return;
    throw common::COrvRunTimeError(
        (for_bind ? "not bound" : "not released") +
        (reached ? std::string(": ") : " after " + std::to_string(wait_time.count()) + " seconds: ") +
        JoinNames(waited_for) + DescribeFailures(waited_for));
}

ClassId CArpNdStartOnAllDevicesCommand::CLASS_ID() {
    return ids::ArpNdStartOnAllDevicesCommand::CLASS;
}

void CArpNdStartOnAllDevicesCommand::DoRun() {
    ScriptableVec interfaces;
    const CProject* project = CProject::GetCurrentActiveInstance();
    if (!project) throw common::COrvRunTimeError("no project is open");
    framework::CScriptableLocator::Instance().GetObjectsEx(
        interfaces, CNetworkInterface::CLASS_ID(), project,
        framework::CScriptableLocator::LOCATE_SKIP_DELETED);
    ScriptableVec failed;
    for (CScriptable* interface : interfaces) {
        const bool is_ipv4 = interface->IsTypeOf(ids::Ipv4If::CLASS);
        if (!interface->GetActive() || (!is_ipv4 && !interface->IsTypeOf(ids::Ipv6If::CLASS))) continue;
        const bool resolved = IsOnReachablePort(dynamic_cast<const CEmulatedDevice*>(interface->GetParent()));
        interface->Set(is_ipv4 ? ids::Ipv4If::AddrResolveState : ids::Ipv6If::AddrResolveState,
                       static_cast<std::uint8_t>(resolved ? ids::ResolveState::RESOLVE_DONE
                                                          : ids::ResolveState::RESOLVE_FAILED));
        if (!resolved) failed.push_back(interface);
    }
    if (!failed.empty()) SetStatus("no port that can be reached: " + JoinNames(failed));
}

namespace {

using RegisterBlock = framework::StaticRegisterClass<CProtocolBlockConfig>;
using RegisterBind = framework::StaticRegisterClass<CProtocolBindCommand>;
using RegisterRelease = framework::StaticRegisterClass<CProtocolReleaseCommand>;
using RegisterWait = framework::StaticRegisterClass<CProtocolWaitCommand>;

const RegisterBlock block_registrations[] = {
    RegisterBlock{ids::Dhcpv4BlockConfig::CLASS},      RegisterBlock{ids::Dhcpv6BlockConfig::CLASS},
    RegisterBlock{ids::Dhcpv6PdBlockConfig::CLASS},    RegisterBlock{ids::PppoeClientBlockConfig::CLASS},
    RegisterBlock{ids::PppoaClientBlockConfig::CLASS}, RegisterBlock{ids::L2tpBlockConfig::CLASS},
    RegisterBlock{ids::SlaacBlockConfig::CLASS}};

/// All commands of a protocol.
struct RegisterCommands {
    explicit RegisterCommands(const ProtocolCommands& commands)
        : bind(commands.bind),
          release(commands.release),
          bind_wait(commands.bind_wait),
          release_wait(commands.release_wait) {}

    RegisterBind bind;
    RegisterRelease release;
    RegisterWait bind_wait, release_wait;
};

const RegisterCommands command_registrations[] = {
    RegisterCommands{kProtocolCommands[0]}, RegisterCommands{kProtocolCommands[1]},
    RegisterCommands{kProtocolCommands[2]}, RegisterCommands{kProtocolCommands[3]},
    RegisterCommands{kProtocolCommands[4]}};

ORV_REGISTER_CLASS(CArpNdStartOnAllDevicesCommand);

}  // namespace

}  // namespace orv::core
