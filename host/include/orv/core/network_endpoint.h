// Where traffic starts or ends.
#pragma once

#include <cstdint>

#include "orv/framework/scriptable.h"

namespace orv::core {

/// Base of interfaces and network blocks, which is what stream blocks are bound to.
class CNetworkEndpoint : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Number of addresses that the endpoint represents.
    virtual std::uint64_t GetEndpointCount() const = 0;
};

}  // namespace orv::core
