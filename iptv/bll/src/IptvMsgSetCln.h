// The plug-in's client for one port.
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

/// Keys of the apply map: the pending operation on the objects under a key.
namespace apply_key {
inline constexpr const char* kDeleteSettopBlock = "DeleteSettopBlock";
inline constexpr const char* kDeleteChannelBlock = "DeleteChannelBlock";
inline constexpr const char* kDeleteProfile = "DeleteProfile";
inline constexpr const char* kUpdateProfile = "UpdateProfile";
inline constexpr const char* kUpdateChannelBlock = "UpdateChannelBlock";
inline constexpr const char* kUpdateSettopBlock = "UpdateSettopBlock";
}  // namespace apply_key

/// Brings one port in line with the IPTV configuration: determines what has changed for the port, and sends
/// it one request at a time, each after the response to the previous one.
/// What a port has been sent (profiles, ranges, blocks) is recorded when it has responded, so that the next
/// apply completes one that failed half-way. The first apply that needs a client creates it; it is released
/// when its port is destroyed. Used by the apply task only.
class CIptvMsgSetCln {
  public:
    class BaseState;

    /// An STB block that the port has been sent, or whose interface is attached to it.
    struct KnownBlock {
        std::uint32_t il_interface = 0;  ///< the interface that was attached for it
        bool deleted = false;            ///< the port has the interface, but not (or no longer) the block
    };

    /// The port's client, created if there is none. Null for a null port. `ctx`, if not null, becomes the
    /// client's apply context.
    static CIptvMsgSetCln* GetPortClient(const core::CPort* port, ApplyContext* ctx);
    static void ReleasePortClient(CIptvMsgSetCln* client);
    /// The client of the port with this handle, or null.
    static CIptvMsgSetCln* FindPortClient(std::uint32_t port);
    /// Applies the project to all ports in parallel: in each pass a port is sent one message. Throws
    /// COrvRunTimeError with the faults of all ports.
    static void OnApplyProject(ApplyContext& ctx);
    /// Rule: all STB blocks of a port have the same number of VLAN tags, and either all or none use PPPoE.
    static void OnValidateIptvNetworkInterface(framework::ValidationContext& ctx);
    /// Adds the number of the block's VLAN layers to `vlanCount`; sets `pppEnabled` if its stack has a PPPoE
    /// layer.
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
    /// Handles under a key, ascending, including those of destroyed objects.
    std::vector<std::uint32_t> GetHandlesFromApplyMap(const std::string& key) const;
    /// The objects under a key that are of a class.
    template <class T>
    std::vector<T*> GetFromApplyMap(const std::string& key) const;
    /// Erases the entry of a key, or all entries if the key is empty.
    void ClearApplyMap(const std::string& key);
    /// True if there are objects under the key. Erases an empty entry.
    bool EntriesInApplyMap(const std::string& key);

    void AddProcessedObject(CScriptable& object, bool flag);
    void AddProcessedObjects(ScriptableVec& objects, bool flag);

    /// Runs the current state one step. Sets `pending` while a request is outstanding.
    void Dispatch(bool& pending);
    /// Handles the response to a request.
    void GenericResponseHandler(std::uint16_t sequence, Message* response, void* context);

    /// Handles, ascending, of the ports that have STB blocks, still hold blocks moved elsewhere, or whose
    /// last apply was not completed.
    static std::vector<std::uint32_t> FindPorts();

    /// Begins an apply of this port.
    void Begin(std::unique_ptr<BaseState> state);
    bool IsBusy() const { return m_state != nullptr; }
    /// Aborts the apply of this port: requests without a response count as not sent.
    void Abandon();
    /// Call at the end of an apply of all ports. If this port's apply was aborted, the addresses of its
    /// ranges count as not sent, even if other ports have received them since.
    void ForgetAddresses();
    /// Moves the send errors to `errors`, in the format of the RPC manager's errors.
    void TakeSendErrors(std::vector<framework::ErrorMsg>& errors);

    /// Adds the groups that the port's hosts subscribe to: their own, and those of the channels that the
    /// blocks watch.
    void GetSubscribedMulticastGroups(std::set<CScriptable*>& groups,
                                      const std::vector<std::uint32_t>& stbBlockHandles) const;
    /// Forgets all that the port has been sent: it may have lost its configuration.
    void ForgetEverything();
    /// Records that this apply sends a range with its addresses. If the group changes meanwhile, so that
    /// ports are sent different addresses, the next apply sends the range again.
    static void NoteAddresses(CIptvViewedChannels& range, bool changed);

    /// Adds the groups that the port currently expects.
    void GetExpectedMulticastGroups(std::set<CScriptable*>& groups) const;
    void UpdateExpectedRxPorts(const std::vector<std::uint32_t>& stbBlockHandles);

    /// The port, or null if it was destroyed.
    const core::CPort* GetPort() const;
    std::uint32_t GetPortHandle() const { return m_portHandle; }

    /// The STB blocks that the port has been sent, by block handle.
    std::map<std::uint32_t, KnownBlock>& KnownBlocks() { return m_knownBlocks; }
    /// Block values in flight to the port, by block handle.
    std::map<std::uint32_t, StbBlockValues>& SentValues() { return m_sentValues; }
    /// Interfaces whose attach request is in flight, by block handle.
    std::map<std::uint32_t, std::uint32_t>& AttachedInterfaces() { return m_attachedInterfaces; }

    /// The project's viewing profiles and viewed-channel ranges; those removed since the last apply are at
    /// the end.
    static ScriptableVec m_profileList;
    static ScriptableVec m_viewedChannelList;
    /// The project's channel blocks. Like the lists, renewed when anything that ports share has changed.
    static std::optional<ChannelBlockIndex> m_channelBlocks;

  private:
    static void ReleaseClientsOfGonePorts();
    static void KeepDirty(const CScriptable& project, ApplyContext& ctx);
    std::set<CScriptable*> GetOwnGroups() const;
    static ConfigChanges FindChanges();
    static void ListSharedObjects(const CScriptable& project);
    void Send(Message& message, bool await_response, bool& pending);
    std::string DescribeError(const std::string& prefix, const Message& message) const;

    /// By port handle; owns the clients. Never destroyed: at process exit, objects that a client's destructor
    /// needs may already be gone.
    static std::map<std::uint32_t, CIptvMsgSetCln*>& m_portMap;
    static framework::PropId m_portOnlineProp;  ///< looked up by the first client
    /// The changes up to this look have been sent to all ports, if the host has settled them since.
    static ConfigLook m_sent;
    /// Handles of the ranges whose addresses were filled in during this apply; true: with differing
    /// addresses.
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
