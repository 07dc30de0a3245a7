#include "host_addressing.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "address_block.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/tm/message.h"
#include "port_request.h"

namespace orv::app {

using namespace hostaddr_1_bll;  // NOLINT: the requests are what this file is about
using framework::CScriptable;
using framework::CTaskManager;
using framework::ScriptableVec;
namespace State = ids::ProtocolBlockState;

namespace {

constexpr std::chrono::milliseconds kWhileUnderWay{100};
constexpr std::chrono::seconds kWhileBound{1};
constexpr std::uint32_t kHostsAtOnce = 1'000;

}  // namespace

struct HostAddressing::Block {
    std::uint32_t handle;
    const core::CPort* port;
    std::string device;
    AddressProtocol protocol = AddressProtocol::DHCPV4;
    std::size_t host_count = 0;
    bool needs_all = true;  ///< one host without an address fails the block
    std::uint8_t state = State::IDLE;
    bool has_begun = false;  ///< the port has answered
    bool is_asking_for_hosts = false;
    addressCounts_s counts;
    std::uint64_t lost_told = 0;
    std::vector<hostAddress_s> hosts;
    std::string failure;
};

HostAddressing::HostAddressing(Complain complain, std::function<void()> binds)
    : complain_(std::move(complain)), binds_(std::move(binds)) {
    core::SetHostAddressing(this);
}

HostAddressing::~HostAddressing() {
    Stop();
}

void HostAddressing::Stop() {
    is_stopped_ = true;
    core::SetHostAddressing(nullptr);
    if (timer_ != 0) CTaskManager::Instance().CancelTimer(std::exchange(timer_, 0));
}

void HostAddressing::Configure(const core::CProject& project) {
    ScriptableVec ports;
    project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (const CScriptable* object : ports) {
        const auto& port = dynamic_cast<const core::CPort&>(*object);
        std::vector<addressBlock_s> records;
        for (core::CProtocolBlockConfig* block : FindAddressBlocks(port)) {
            try {
                records.push_back(MakeAddressBlock(*block, port));
            } catch (const common::COrvRunTimeError& error) {
                throw common::COrvRunTimeError(fmt::format("{}: {}", block->Describe(), error.what()));
            }
            auto made = std::make_unique<Block>();
            made->handle = block->GetHandle();
            made->port = &port;
            made->device = block->GetParent()->GetName();
            made->protocol = records.back().protocol;
            made->host_count = records.back().hosts.size();
            made->needs_all =
                block->GetU8(ids::AddressBlockConfig::FailureMode) == ids::AddressFailureMode::STOP;
            blocks_[block->GetHandle()] = std::move(made);
        }
        if (records.empty()) continue;
        tm::Message request;
        create_req_ConfigAddressing(&request, records, true);
        try {
            AskPort(port, std::move(request));
        } catch (const common::COrvRunTimeError& error) {
            throw common::COrvRunTimeError(
                fmt::format("Port \"{}\" refuses how its hosts are to get their addresses: {}",
                            port.GetName(), error.what()));
        }
    }
}

void HostAddressing::Bind(const ScriptableVec& blocks) {
    Begin(blocks, State::BINDING);
}

void HostAddressing::Release(const ScriptableVec& blocks) {
    Begin(blocks, State::RELEASING);
}

/// Of each port the blocks together, so that they begin at the same time.
void HostAddressing::Begin(const ScriptableVec& blocks, std::uint8_t state) {
    ++begins_;
    if (state == State::BINDING && binds_) binds_();
    std::map<const core::CPort*, Handles> by_port;
    for (CScriptable* object : blocks) {
        Block* block = Find(*object);
        if (!block) {  // added after the ports were told
            dynamic_cast<core::CProtocolBlockConfig&>(*object).SetBlockState(
                state == State::BINDING ? State::FAILED : State::IDLE);
            continue;
        }
        block->has_begun = false;
        block->failure.clear();
        if (state == State::BINDING) block->hosts.clear();
        SetState(*block, state);
        by_port[block->port].push_back(object->GetHandle());
    }
    for (const auto& [port, handles] : by_port) {
        tm::Message request;
        state == State::BINDING ? create_req_BindHosts(&request, handles, true)
                                : create_req_ReleaseHosts(&request, handles, true);
        Ask(*port, Question::Begin, handles, request);
    }
    LookLater();
}

/// The delegate runs later, or never if the connections are given up.
void HostAddressing::Ask(const core::CPort& port, Question question, const Handles& handles,
                         tm::Message& request) {
    const std::uintptr_t number = ++last_asked_;
    asked_[number] = {question, handles, begins_};
    const auto delegate = framework::ResponseDelegate::To<&HostAddressing::OnAnswer>(this);
    constexpr std::uint32_t kDefaultTimeout = 0;
    if (framework::CRpcManager::Instance().SendAsyncMessage(port.GetMessenger(), request, &delegate,
                                                            reinterpret_cast<void*>(number), kDefaultTimeout,
                                                            false) == 0)
        return;
    asked_.erase(number);
    for (const std::uint32_t handle : handles) Fail(*Find(handle), "its port is offline");
}

void HostAddressing::OnAnswer(std::uint16_t, tm::Message* message, void* context) {
    const auto asked = asked_.extract(reinterpret_cast<std::uintptr_t>(context));
    if (!asked || is_stopped_) return;
    const auto& [question, handles, begin] = asked.mapped();
    try {
        if (message->get_msg_type() == tm::TMT_FAULT)
            throw common::COrvRunTimeError(message->get_fault_string());
        if (question == Question::Begin) {
            for (const std::uint32_t handle : handles) Find(handle)->has_begun = true;
        } else if (question == Question::Counts) {
            std::vector<addressCounts_s> counts;
            parse_resp_GetAddressCounts(message, &counts);
            if (counts.size() != handles.size())
                throw common::COrvRunTimeError("its port answers for other blocks");
            for (std::size_t i = 0; i < handles.size(); ++i) TakeCounts(*Find(handles[i]), counts[i]);
        } else {
            std::vector<hostAddress_s> hosts;
            parse_resp_GetHostAddresses(message, &hosts);
            Block& block = *Find(handles.front());
            // Those of a bind before the latest one are old.
            begin == begins_ ? TakeHosts(block, hosts) : static_cast<void>(block.is_asking_for_hosts = false);
        }
    } catch (const std::exception& error) {
        for (const std::uint32_t handle : handles) Fail(*Find(handle), error.what());
    }
    if (asked_.empty()) LookLater();
}

void HostAddressing::LookLater() {
    if (timer_ != 0) CTaskManager::Instance().CancelTimer(std::exchange(timer_, 0));
    const bool is_under_way = IsAny({State::BINDING, State::RELEASING});
    if (is_stopped_ || (!is_under_way && !IsAny({State::BOUND}))) return;
    const std::chrono::nanoseconds delay =
        is_under_way ? std::chrono::nanoseconds(kWhileUnderWay) : kWhileBound;
    timer_ = CTaskManager::Instance().PostAfter(delay, [this] {
        timer_ = 0;
        Look();
    });
}

/// Asks the ports how far their hosts are. An answer that is still to come continues.
void HostAddressing::Look() {
    if (!asked_.empty()) return;
    std::map<const core::CPort*, Handles> by_port;
    for (const auto& [handle, block] : blocks_)
        if (block->has_begun && block->state != State::IDLE && block->state != State::FAILED)
            by_port[block->port].push_back(handle);
    for (const auto& [port, handles] : by_port) {
        tm::Message request;
        create_req_GetAddressCounts(&request, handles, true);
        Ask(*port, Question::Counts, handles, request);
    }
    if (asked_.empty()) LookLater();
}

void HostAddressing::TakeCounts(Block& block, const addressCounts_s& counts) {
    block.counts = counts;
    if (counts.lost > std::exchange(block.lost_told, counts.lost) && block.state == State::BOUND)
        complain_(fmt::format("hosts of device \"{}\" have lost their addresses, {} of {} so far; {}",
                              block.device, counts.lost, block.host_count, counts.first_failure));
    if (block.state == State::RELEASING && counts.bound + counts.binding + counts.releasing == 0)
        SetState(block, State::IDLE);
    if (block.state == State::BINDING && counts.binding + counts.idle + counts.releasing == 0 &&
        !std::exchange(block.is_asking_for_hosts, true)) {
        block.hosts.clear();
        AskForHosts(block);
    }
}

/// What each host was given, before the block counts as bound or failed; some at a time.
void HostAddressing::AskForHosts(Block& block) {
    tm::Message request;
    create_req_GetHostAddresses(&request, block.handle, static_cast<std::uint32_t>(block.hosts.size()),
                                kHostsAtOnce, true);
    Ask(*block.port, Question::Hosts, {block.handle}, request);
}

void HostAddressing::TakeHosts(Block& block, const std::vector<hostAddress_s>& hosts) {
    if (block.state != State::BINDING) {  // released meanwhile
        block.is_asking_for_hosts = false;
        return;
    }
    if (hosts.empty() && block.hosts.size() < block.host_count)
        throw common::COrvRunTimeError("its port does not know all of its hosts");
    block.hosts.insert(block.hosts.end(), hosts.begin(), hosts.end());
    if (block.hosts.size() < block.host_count) return AskForHosts(block);
    block.is_asking_for_hosts = false;
    const addressCounts_s& counts = block.counts;
    if (counts.failed > 0) {
        block.failure = fmt::format("{} of {} hosts of device \"{}\" have no address; {}", counts.failed,
                                    block.host_count, block.device, counts.first_failure);
        if (block.needs_all || counts.bound == 0) return SetState(block, State::FAILED);
    }
    SetState(block, State::BOUND);
}

void HostAddressing::SetState(Block& block, std::uint8_t state) {
    block.state = state;
    if (auto* object = dynamic_cast<core::CProtocolBlockConfig*>(
            framework::CHandleRegistry::Instance().Find(block.handle)))
        object->SetBlockState(state);
}

void HostAddressing::Fail(Block& block, const std::string& why) {
    block.is_asking_for_hosts = false;
    block.failure = fmt::format("hosts of device \"{}\": {}", block.device, why);
    if (block.state == State::BOUND) complain_(block.failure);
    SetState(block, block.state == State::RELEASING ? State::IDLE : State::FAILED);
}

HostAddressing::Block* HostAddressing::Find(const CScriptable& block) const {
    return Find(block.GetHandle());
}

HostAddressing::Block* HostAddressing::Find(std::uint32_t handle) const {
    const auto found = blocks_.find(handle);
    return found == blocks_.end() ? nullptr : found->second.get();
}

bool HostAddressing::IsAny(std::initializer_list<std::uint8_t> states) const {
    return std::ranges::any_of(
        blocks_, [&](const auto& entry) { return std::ranges::count(states, entry.second->state) > 0; });
}

bool HostAddressing::GoOnWithSome(const CScriptable& object) {
    Block* block = Find(object);
    if (!block || !block->has_begun || is_stopped_) return false;
    try {
        RefreshCounts(*block);
        if (block->needs_all || block->counts.bound == 0) return false;
        auto hosts = FetchHosts(*block);
        if (block->state != State::BINDING) return block->state == State::BOUND;  // in the meantime
        block->hosts = std::move(hosts);
        SetState(*block, State::BOUND);
        return true;
    } catch (const common::COrvRunTimeError& error) {
        Fail(*block, error.what());
        return false;
    }
}

std::string HostAddressing::GetFailure(const CScriptable& object) const {
    const Block* block = Find(object);
    if (!block) return "";
    if (!block->failure.empty() || block->state != State::BINDING || !block->has_begun) return block->failure;
    const addressCounts_s& counts = block->counts;
    std::string text = fmt::format("{} of {} hosts of device \"{}\" have an address, {} are still asking",
                                   counts.bound, block->host_count, block->device, counts.binding);
    if (counts.failed > 0) text += fmt::format(", {} have failed; {}", counts.failed, counts.first_failure);
    return text;
}

/// The counts of a block, at once.
void HostAddressing::RefreshCounts(Block& block) {
    tm::Message request;
    create_req_GetAddressCounts(&request, Handles{block.handle}, true);
    AskPort(*block.port, std::move(request), [&counts = block.counts](const tm::Message& response) {
        std::vector<addressCounts_s> some;
        parse_resp_GetAddressCounts(&response, &some);
        if (!some.empty()) counts = some.front();
    });
}

/// The hosts of a block, at once.
std::vector<hostAddress_s> HostAddressing::FetchHosts(const Block& block) {
    std::vector<hostAddress_s> hosts;
    while (hosts.size() < block.host_count) {
        tm::Message request;
        create_req_GetHostAddresses(&request, block.handle, static_cast<std::uint32_t>(hosts.size()),
                                    kHostsAtOnce, true);
        const std::size_t before = hosts.size();
        AskPort(*block.port, std::move(request), [&hosts](const tm::Message& response) {
            std::vector<hostAddress_s> some;
            parse_resp_GetHostAddresses(&response, &some);
            hosts.insert(hosts.end(), some.begin(), some.end());
        });
        if (hosts.size() == before) throw common::COrvRunTimeError("its port does not know all of its hosts");
    }
    return hosts;
}

std::vector<AddressReport> HostAddressing::GetReports() {
    std::vector<AddressReport> reports;
    for (const auto& [handle, block] : blocks_) {
        std::vector<hostAddress_s> hosts = block->hosts;
        try {
            RefreshCounts(*block);
            if (hosts.size() < block->host_count) hosts = FetchHosts(*block);
        } catch (const common::COrvRunTimeError&) {  // the port has gone: what it said last
        }
        reports.push_back({block->port->GetName(), block->device, GetProtocolName(block->protocol),
                           block->host_count, std::move(hosts), block->counts});
    }
    return reports;
}

}  // namespace orv::app
