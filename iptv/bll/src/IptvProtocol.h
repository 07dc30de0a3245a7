// The IPTV protocol, as the host lists it.
#pragma once

#include "orv/core/protocol.h"

namespace orv::iptv {

/// Tells the host which configuration objects belong to IPTV. Stateless.
class CIptvProtocol : public core::CProtocol {
  public:
    static CIptvProtocol* Instance();

    int GetId() const override { return 3; }
    std::string GetName() const override { return "Iptv"; }
    std::string GetCategory() const override { return "Mulvane"; }
    int GetCategoryStartPriority() const override { return 3; }
    int GetProtocolStartPriority() const override { return 3; }
    void ProcessControlMessage(const ControlMessage*, const std::vector<std::uint32_t>&) override {}
    /// Appends the handle of every live set-top-box block: ports ascending, on each port in index order.
    void GetManagedProtocolConfig(std::vector<std::uint32_t>& handles) override;
    std::vector<common::ClassId> GetManagedProtocolConfigType() const override { return {}; }
    void ClearResult() override {}
    int GetProtocolTransmitOSILayer() override { return 3; }
    int GetProtocolOperationOSILayer() override { return 3; }
    void GetFlappableObjectClassIds(std::vector<int>&) const override {}
};

}  // namespace orv::iptv
