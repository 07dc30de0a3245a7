// A block of emulated set-top boxes.
#pragma once

#include <cstdint>
#include <vector>

#include "ModelClass.h"
#include "config/StbBlockValues.h"
#include "orv/common/indexed_object.h"
#include "orv/framework/scriptable.h"
#include "running/RunningTest.h"

namespace orv::core {
class CNetworkInterface;
}
namespace orv::framework {
class ValidationContext;
}

namespace orv::iptv {

using common::ClassId;
using common::RelationType;
using framework::CScriptable;

/// Turns the hosts of its parent, an emulated device, into set-top boxes. Registered under the port that the
/// device is on, with an index that is unique among the blocks of the port; it follows its device from port
/// to port. A port has at most 65535 blocks: creating one more throws COrvRunTimeError; one that is moved
/// there with its device is kept without index, and the user log says so.
class CIptvStbBlockConfig : public ModelClass<ids::IptvStbBlockConfig::CLASS.GetValue(), CScriptable>,
                            public common::IndexedObject<CIptvStbBlockConfig, unsigned short, unsigned int> {
  public:
    CIptvStbBlockConfig();
    ~CIptvStbBlockConfig() override;

    /// Handle of the port that the parent device is on, 0 without parent or port.
    std::uint32_t GetIndexHandle() const;

    /// The device's IGMP or MLD host configuration, or null.
    CScriptable* GetMcastCfg() const;
    /// The interface that the host configuration uses, or null.
    core::CNetworkInterface* GetMcastIf() const;

    /// Fills in the block's present values. Keeps the fast-channel-change values as they are unless
    /// m_bFccCheck is set, and appends to the channel handles. While the sessions of a PPPoE interface are
    /// not known, VLAN values, sessions and channel handles are left out. A missing related object throws
    /// COrvRunTimeError.
    void GetNewValues(StbBlockValues& values) const;
    /// The values as they were sent last.
    const StbBlockValues& GetNewValuesForApply() const { return m_appliedValues; }
    void SetAppliedValues(StbBlockValues values) { m_appliedValues = std::move(values); }
    /// The interface that its port had attached for it is detached.
    void ForgetInterface() { m_appliedValues.vif_handle = 0; }
    /// True when a value differs from what was sent last. `update`: the present values count as sent from now
    /// on.
    bool CheckIfAnyRelatedObjectsAreDirty(bool update);

    /// Index of the block's first set-top box in the running test: the number of set-top boxes in the blocks
    /// before it.
    std::uint32_t GetBaseStbIndex() const { return m_baseStbIndex; }
    void SetBaseStbIndex(std::uint32_t index) { m_baseStbIndex = index; }

    bool OnInit() override;
    bool OnMarkDelete() override;
    void OnRelationModified(RelationType type, CScriptable& other, bool added) override;

    /// Called on every relation change of the parent device.
    void RelChangeHandler(CScriptable& source, CScriptable& other, RelationType type, bool added);

    /// Every block has what it needs to run; a port carries blocks of one IP version.
    static void OnValidateStbBlock(framework::ValidationContext& context);
    /// No processor serves more set-top boxes than it can.
    static void CheckCcpuDeviceLimit(framework::ValidationContext& context);

    /// The blocks that take part in the running test. Set by RunningTest only.
    static const StbPortMap& m_startTestStbMap;
    /// True when the test that was validated last is for fast channel change or retransmission. Set by
    /// RunningTest only.
    static const bool& m_bFccCheck;
    /// The finder of the interfaces that blocks use is registered with the host.
    static bool m_ifFinderRegistered;

  private:
    void Listen(CScriptable& device);
    void StopListening();
    void FileUnderPort();
    void LeavePort();

    std::uint32_t m_listeningTo = 0;  ///< handle of the device whose relation changes it is notified of
    StbBlockValues m_appliedValues;
    std::uint32_t m_baseStbIndex = 0;
};

}  // namespace orv::iptv
