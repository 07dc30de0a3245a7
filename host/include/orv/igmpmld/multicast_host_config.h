// IGMP and MLD on the hosts of a device.
#pragma once

#include <cstdint>

#include "orv/framework/scriptable.h"

namespace orv::igmpmld {

class CMulticastHostConfig : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// One of ids::GroupMembershipVersion; COrvRunTimeError for any other number.
    void SetVersion(std::uint8_t version);
};

class CIgmpHostConfig : public CMulticastHostConfig {
  public:
    static framework::ClassId CLASS_ID();
};

/// A new one has the version MLD_V1.
class CMldHostConfig : public CMulticastHostConfig {
  public:
    static framework::ClassId CLASS_ID();
    void SetMetaClass(const framework::CMetaClass* metaClass) override;
    void ResetDefaults() override;
};

}  // namespace orv::igmpmld
