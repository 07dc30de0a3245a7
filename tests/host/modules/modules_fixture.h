// Ports and devices below the project of a running host.
#pragma once

#include "host/host_fixture.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/ids/core_ids.h"

namespace host_test {

using namespace orv;  // NOLINT: tests

struct ModulesTest : HostTest {
    core::CPort& MakePort(const std::string& location = "") {
        auto& port = Make<core::CPort>();
        port.Set(ids::Port::Location, location);
        return port;
    }
    core::CEmulatedDevice& MakeDevice(core::CPort* port, std::uint32_t count = 1) {
        auto& device = Make<core::CEmulatedDevice>();
        device.Set(ids::EmulatedDevice::DeviceCount, count);
        if (port) Relate(device, *port, ids::relations::AffiliationPort);
        return device;
    }
};

}  // namespace host_test
