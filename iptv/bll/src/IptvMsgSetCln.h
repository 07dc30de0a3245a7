// The plug-in's client of one port.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "config/ChannelBlockIndex.h"
#include "config/ConfigChanges.h"
#include "config/StbBlockValues.h"
#include "orv/framework/meta_class.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/scriptable.h"

namespace orv::core {
class CPort;
}
namespace orv::framework {
class ApplyContext;
class ValidationContext;
}  // namespace orv::framework

namespace orv::iptv {

class CIptvStbBlockConfig;
class CIptvViewedChannels;
using framework::ApplyContext;
using framework::CScriptable;
using framework::ScriptableVec;
using tm::Message;

/// Keys of the apply map: what is to be done with the objects under them.
namespace apply_key {
inline constexpr const char* kDeleteSettopBlock = "DeleteSettopBlock";
inline constexpr const char* kDeleteChannelBlock = "DeleteChannelBlock";
inline constexpr const char* kDeleteProfile = "DeleteProfile";
inline constexpr const char* kUpdateProfile = "UpdateProfile";
inline constexpr const char* kUpdateChannelBlock = "UpdateChannelBlock";
inline constexpr const char* kUpdateSettopBlock = "UpdateSettopBlock";
}  // namespace apply_key

/// Brings one port in line with the IPTV configuration: works out what has changed for the port, and sends it
/// one request at a time, each after the response to the one before.
///
/// What a port knows (profiles, ranges, blocks) is noted when the port has answered, so that the next apply
/// completes one that failed half-way. Clients are made by the first apply that needs them and released when
/// their port is destroyed. Used by the apply task only.
class CIptvMsgSetCln {
  public:
    class BaseState;

    /// An STB block that the port has been sent, or whose interface is attached to it.
    struct KnownBlock {
        std::uint32_t il_interface = 0;  ///< the interface that was attached for it
        bool deleted = false;            ///< the port has the interface, but not (or no longer) the block
    };

    /// The port's client, made if there is none. Null for a null port. `ctx`, when not null, becomes the
    /// client's apply context.
    static CIptvMsgSetCln* GetPortClient(const core::CPort* port, ApplyContext* ctx);
    static void ReleasePortClient(CIptvMsgSetCln* client);
    /// The client of a port's handle, or null.
    static CIptvMsgSetCln* FindPortClient(std::uint32_t port);
    /// Applies the project to all ports in parallel: in each pass a port is sent one message. Throws
    /// COrvRunTimeError with the faults of all ports.
    static void OnApplyProject(ApplyContext& ctx);
    /// All STB blocks of a port have the same number of VLAN tags, and all of them PPPoE or none.
    static void OnValidateIptvNetworkInterface(framework::ValidationContext& ctx);
    /// Adds the block's VLAN layers to `vlanCount`, and sets `pppEnabled` when its stack has a PPPoE layer.
    static void CheckVlanAndPppEnable(CIptvStbBlockConfig* block, int& vlanCount, bool& pppEnabled);

    explicit CIptvMsgSetCln(const core::CPort* port);
    virtual ~CIptvMsgSetCln();
    CIptvMsgSetCln(const CIptvMsgSetCln&) = delete;
    CIptvMsgSetCln& operator=(const CIptvMsgSetCln&) = delete;

    /// Called when the port's Online property changes.
    void PortOfflineHandler(CScriptable* object, framework::PropId id);

    /// A null object is ignored.
    void AddToApplyMap(const std::string& key, CScriptable* object);
    /// For an object that may be destroyed already.
    void AddToApplyMap(const std::string& key, std::uint32_t handle) { m_applyMap[key].insert(handle); }
    /// Appends the objects under a key that still exist, by ascending handle.
    void GetFromApplyMap(const std::string& key, ScriptableVec& out) const;
    /// Handles under a key, ascending, those of destroyed objects included.
    std::vector<std::uint32_t> GetHandlesFromApplyMap(const std::string& key) const;
    /// The objects under a key that are of a class.
    template <class T>
    std::vector<T*> GetFromApplyMap(const std::string& key) const;
    /// Erases an entry, or with an empty key all of them.
    void ClearApplyMap(const std::string& key);
    /// True when there are objects under the key. An entry without objects is erased.
    bool EntriesInApplyMap(const std::string& key);

    void AddProcessedObject(CScriptable& object, bool flag);
    void AddProcessedObjects(ScriptableVec& objects, bool flag);

    /// Runs the current state one step. Sets `pending` while a request is outstanding.
    void Dispatch(bool& pending);
    /// Called with the answer to a request.
    void GenericResponseHandler(std::uint16_t sequence, Message* response, void* context);

    /// Handles, ascending, of the ports that carry STB blocks, know blocks that have left them, or whose last
    /// apply was not completed.
    static std::vector<std::uint32_t> FindPorts();

    /// Begins an apply of this port.
    void Begin(std::unique_ptr<BaseState> state);
    bool IsBusy() const { return m_state != nullptr; }
    /// Aborts the apply of this port: requests without a response count as not sent.
    void Abandon();
    /// At the end of an apply of all ports: if this port's was aborted, the addresses of the ranges that it
    /// was to be sent count as not sent, whatever other ports were sent after it.
    void ForgetAddresses();
    /// Moves the errors of sending to `errors`, in the form of the RPC manager's errors.
    void TakeSendErrors(std::vector<framework::ErrorMsg>& errors);

    /// Adds the groups that the port's hosts subscribe to: their own, and those of the channels that the
    /// blocks watch.
    void GetSubscribedMulticastGroups(std::set<CScriptable*>& groups,
                                      const std::vector<std::uint32_t>& stbBlockHandles) const;
    /// The port may have lost its configuration: it counts as knowing nothing.
    void ForgetEverything();
    /// Notes that this apply sends a range with its addresses. If the group was changed meanwhile, so that
    /// ports were sent different addresses, the next apply sends the range again.
    static void NoteAddresses(CIptvViewedChannels& range, bool changed);

    /// Adds the groups that the port expects now.
    void GetExpectedMulticastGroups(std::set<CScriptable*>& groups) const;
    void UpdateExpectedRxPorts(const std::vector<std::uint32_t>& stbBlockHandles);

    /// The port, or null when it is gone.
    const core::CPort* GetPort() const;
    std::uint32_t GetPortHandle() const { return m_portHandle; }

    /// What the port knows of STB blocks, by block handle.
    std::map<std::uint32_t, KnownBlock>& KnownBlocks() { return m_knownBlocks; }
    /// The values of blocks, by block handle, that are in flight to the port.
    std::map<std::uint32_t, StbBlockValues>& SentValues() { return m_sentValues; }
    /// The interfaces, by block handle, whose attach request is in flight.
    std::map<std::uint32_t, std::uint32_t>& AttachedInterfaces() { return m_attachedInterfaces; }

    /// The project's viewing profiles and viewed-channel ranges, those removed since the last apply last.
    static ScriptableVec m_profileList;
    static ScriptableVec m_viewedChannelList;
    /// The project's channel blocks. Like the lists, as they were when anything that ports share last
    /// changed.
    static std::optional<ChannelBlockIndex> m_channelBlocks;

  private:
    static void ReleaseClientsOfGonePorts();
    static void KeepDirty(const CScriptable& project, ApplyContext& ctx);
    std::set<CScriptable*> GetOwnGroups() const;
    static ConfigChanges FindChanges();
    static void ListSharedObjects(const CScriptable& project);
    void Send(Message& message, bool await_response, bool& pending);
    std::string DescribeError(const std::string& prefix, const Message& message) const;

    /// By port handle; owns the clients. Never destroyed: at the end of the process, what a client's
    /// destructor needs may be destroyed already.
    static std::map<std::uint32_t, CIptvMsgSetCln*>& m_portMap;
    static framework::PropId m_portOnlineProp;  ///< looked up by the first client
    /// What this look saw has been sent to all ports, if the host has settled it since.
    static ConfigLook m_sent;
    /// Handles of the ranges whose addresses were filled in during this apply; true: differently.
    static std::map<std::uint32_t, bool> m_filledRanges;

    std::map<std::string, std::set<std::uint32_t>> m_applyMap;  ///< handles by key
    const std::uint32_t m_portHandle;
    ApplyContext* m_applyContext = nullptr;
    bool m_waitingResponse = false;
    bool m_abandoned = false;            ///< the last apply of this port was not completed
    std::unique_ptr<BaseState> m_state;  ///< null while idle
    framework::ResponseDelegate m_responseDelegate;
    std::set<std::uint32_t> m_expectedGroups;  ///< handles of groups that this client made the port expect
    framework::PropertyChangeDelegate m_portOnlineDelegate;
    std::map<std::uint32_t, KnownBlock> m_knownBlocks;
    std::map<std::uint32_t, StbBlockValues> m_sentValues;
    std::map<std::uint32_t, std::uint32_t> m_attachedInterfaces;
    std::vector<framework::ErrorMsg> m_sendErrors;
};

template <class T>
std::vector<T*> CIptvMsgSetCln::GetFromApplyMap(const std::string& key) const {
    ScriptableVec all;
    GetFromApplyMap(key, all);
    std::vector<T*> objects;
    for (CScriptable* object : all) {
        if (T* wanted = dynamic_cast<T*>(object)) objects.push_back(wanted);
    }
    return objects;
}

}  // namespace orv::iptv
