// A block of emulated set-top boxes.
#pragma once

#include <cstdint>

#include "orv/common/indexed_object.h"
#include "orv/framework/scriptable.h"

namespace orv::iptv {

using common::ClassId;
using common::RelationType;
using framework::CScriptable;

/// Turns the hosts of its parent, an emulated device, into set-top boxes. Registered under the port that the
/// device is on, with an index that is unique among the blocks of the port; it follows its device from port
/// to port.
class CIptvStbBlockConfig : public CScriptable,
                            public common::IndexedObject<CIptvStbBlockConfig, unsigned short, unsigned int> {
  public:
    CIptvStbBlockConfig();
    ~CIptvStbBlockConfig() override;
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    /// Handle of the port that the parent device is on, 0 without parent or port.
    std::uint32_t GetIndexHandle() const;

    bool OnInit() override;
    bool OnMarkDelete() override;
    void OnRelationModified(RelationType type, CScriptable& other, bool added) override;
    bool IsSingleton() const override { return false; }

    /// Told of every relation change of the parent device.
    void RelChangeHandler(CScriptable& source, CScriptable& other, RelationType type, bool added);

  private:
    void Listen(CScriptable& device);
    void StopListening();

    std::uint32_t listening_to_ = 0;  ///< handle of the device whose relation changes it is told of
};

}  // namespace orv::iptv
