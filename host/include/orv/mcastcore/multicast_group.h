// Multicast groups.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::core {
class CNetworkBlock;
}

namespace orv::mcastcore {

/// A set of multicast addresses: those of the network block below it.
class CMulticastGroup : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// The addresses, or null when the block has been destroyed.
    core::CNetworkBlock* GetNetworkBlock() const;
};

/// A new group holds the four addresses from 225.0.0.1 on.
class CIpv4Group : public CMulticastGroup {
  public:
    static framework::ClassId CLASS_ID();
    bool OnCreateDefaultChild(const framework::CMetaClass& childClass) override;
};

/// A new group holds the four addresses from ff1e::1 on.
class CIpv6Group : public CMulticastGroup {
  public:
    static framework::ClassId CLASS_ID();
    bool OnCreateDefaultChild(const framework::CMetaClass& childClass) override;
};

}  // namespace orv::mcastcore
