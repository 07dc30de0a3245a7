// What a port has been configured with.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "msgset/HwGeneral_1.h"
#include "msgset/iptvcd_1.h"
#include "orv/il/port_fault.h"

namespace orv::il {

/// Of a block, and of a test: a peer must not be able to exhaust the memory.
inline constexpr std::uint32_t kMostStbs = 1 << 20;

/// Records of one kind by their handle.
template <class Record>
class RecordsByHandle {
  public:
    using Handle = std::uint32_t;

    /// `kind` names the records in faults: "viewing profile".
    explicit RecordsByHandle(const char* kind) : kind_(kind) {}

    bool contains(Handle handle) const { return records_.contains(handle); }
    void put(Handle handle, Record record) { records_.insert_or_assign(handle, std::move(record)); }
    void clear() { records_.clear(); }
    /// Calls `work(handle, record)` for all, in the order of the handles.
    template <class Work>
    void for_each(Work work) const {
        for (const auto& [handle, record] : records_) work(handle, record);
    }

    /// Throws PortFault that names kind and handle.
    const Record& at(Handle handle) const {
        const auto found = records_.find(handle);
        if (found == records_.end()) {
            throw PortFault(FaultCode::UnknownHandle,
                            "there is no " + std::string(kind_) + " with handle " + std::to_string(handle));
        }
        return found->second;
    }
    Record& at(Handle handle) { return const_cast<Record&>(std::as_const(*this).at(handle)); }

    /// All or none: throws as at() before anything is removed.
    void remove(const std::vector<Handle>& handles) {
        for (const Handle handle : handles) at(handle);
        for (const Handle handle : handles) records_.erase(handle);
    }

  private:
    const char* kind_;
    std::map<Handle, Record> records_;
};

/// Interface stacks of a port, their groups, and settings of the interface library.
struct InterfaceConfiguration {
    RecordsByHandle<IFSETUP_1_bll::NetworkInterfaceStack_s> stacks{"interface"};
    std::set<std::uint32_t> attached;
    std::map<std::uint32_t, IFSETUP_1_bll::GroupMemberConfig_s> groups;
    std::map<IFSETUP_1_bll::ifSetupLibParamType_t, std::uint32_t> library_parameters;
    std::uint32_t last_handle = 0;
    /// Changes with every change of the stacks, including a reset, and never repeats, so that derived values
    /// can be cached.
    std::uint64_t revision = 0;
};

/// One entry per stream in lists of one length; an empty list of stream ids means that streams are
/// distinguished by their group.
struct StreamMap {
    std::vector<iptvcd_1_bll::ipAddress_t> sources;
    std::vector<iptvcd_1_bll::ipAddress_t> groups;
    std::vector<std::uint32_t> stream_ids;
};

/// Records as received in requests, in the units of the messages.
struct PortConfiguration {
    RecordsByHandle<iptvcd_1_bll::testConfig_s> tests{"test configuration"};
    RecordsByHandle<iptvcd_1_bll::profileConfig_s> profiles{"viewing profile"};
    RecordsByHandle<iptvcd_1_bll::channelBlockConfig_s> channel_blocks{"channel block"};
    RecordsByHandle<iptvcd_1_bll::settopBlockConfig_s> stb_blocks{"STB block"};
    StreamMap stream_map;
    InterfaceConfiguration interfaces;
    HwGeneral_1_bll::rxFilterEnables_s receive_filter;
    std::map<std::uint16_t, HwGeneral_1_bll::PortSet_s> port_sets;

    /// Clears the configuration of all `iptvcd_1` requests; settings of the port's hardware are kept.
    void reset_iptv();
    void reset_hardware();
};

}  // namespace orv::il
