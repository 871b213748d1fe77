// The device the host programs play when nothing else is said: what the vendor stream answers and
// which sensors the camera devices use.
//
//   sensor 0: 640x480 and 320x240 at 5, 10, 15, 30 fps (attribute 1), mode mask 0x3
//   sensor 2: 640x480 at 5, 10, 15 fps (attribute 2), mode mask 0x1
//   camera device 0 uses sensor 0, camera device 1 uses sensor 2
#pragma once

#include <vector>

#include "host/AovStreamObserver.h"
#include "host/FakeAovStream.h"
#include "host/SimulatedAovStream.h"

namespace aon_tools {

std::vector<host::FakeSensor> DefaultSensors();
// Scripts the camera devices of the logical device list.
void ApplyDefaultCameraDevices();

// Installs the simulated vendor stream the library will find, on the default sensors: with
// kOwnThread it delivers frames on a thread of its own while initialised (as a device does), with
// kOnCommand only when asked. `observer` may be null. The stream is never freed, as the vendor's.
host::SimulatedAovStream* InstallSimulatedStream(host::SimulatedAovStream::Delivery delivery,
                                                 host::AovStreamObserver* observer);

}  // namespace aon_tools
