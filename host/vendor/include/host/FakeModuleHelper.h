// Host-only controls of the stand-in for the vendor's camera module helper
// (libmtkcam_modulehelper.so): which sensors each logical camera device reports, and whether the
// module factory and the logical device list are there at all.
#pragma once

#include <cstdint>
#include <vector>

namespace host {

// getSensorId(instanceId) answers `sensorIds` from now on; unscripted devices answer nothing.
void SetSensorIdsOfDevice(int32_t instanceId, std::vector<int32_t> sensorIds);
// false: getMtkcamModuleFactory(0x30001) returns null.
void SetModuleFactoryAvailable(bool available);
// false: the logical device list's factory returns null.
void SetLogicalDeviceListAvailable(bool available);

// The instance ids getSensorId was asked about, in call order.
std::vector<int32_t> SensorIdRequests();

}  // namespace host
