#include "orv/core/emulated_device.h"

#include "orv/core/port.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

framework::ClassId CEmulatedDevice::CLASS_ID() {
    return ids::EmulatedDevice::CLASS;
}

std::uint32_t CEmulatedDevice::GetDeviceCount() const {
    return GetU32(ids::EmulatedDevice::DeviceCount);
}

CPort* CEmulatedDevice::GetPort() const {
    return dynamic_cast<CPort*>(GetObject(CPort::CLASS_ID(), ids::relations::AffiliationPort));
}

ORV_REGISTER_CLASS(CEmulatedDevice);

}  // namespace orv::core
