// One layer of the interface stack of a device.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/core/network_endpoint.h"

namespace orv::core {

class CEmulatedDevice;
class CPort;

/// Base of the interface classes. An interface belongs to a device and is stacked on the layer below it by
/// the relation StackedOn. Its values describe all hosts of the device at once: a first value with a step, or
/// a list.
class CNetworkInterface : public CNetworkEndpoint {
  public:
    ~CNetworkInterface() override;
    static framework::ClassId CLASS_ID();

    /// The number under which a port knows the interface: not 0, the same as long as the interface exists,
    /// counted from 1 without gaps on each port (numbers of destroyed interfaces are used again). `user`, who
    /// asks for it, makes no difference. 0 for a null port.
    std::uint32_t GetIlIfHandle(const CPort* port, const framework::CScriptable* user = nullptr) const;

    /// Appends the layers from the link layer up to this interface.
    void GetNetworkInterfaceStack(std::vector<CNetworkInterface*>& stack) const;
    /// The interface that this one is stacked on, or null for the link layer.
    CNetworkInterface* GetLowerInterface() const;

    /// The device the interface belongs to, or null.
    CEmulatedDevice* GetDevice() const;
    /// Number of instances: one for each host of the device.
    std::uint32_t GetInstanceCount() const;
    std::uint64_t GetEndpointCount() const override { return GetInstanceCount(); }

    /// Takes the values of one host (counted from 0) of `range`, an interface of the same class. Classes
    /// whose values differ between hosts override this.
    virtual void TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host);

    /// Rejects being stacked on itself, directly or through other layers.
    bool OnPreValidateRelationChange(framework::RelationType type, framework::CScriptable& object, bool added,
                                     std::string& reason) override;
};

}  // namespace orv::core
