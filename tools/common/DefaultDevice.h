// The device aon-sim plays when nothing else is said: what the vendor stream answers and which
// sensors the camera devices use.
//
//   sensor 0: 640x480 and 320x240 at 5, 10, 15, 30 fps (attribute 1), mode mask 0x3
//   sensor 2: 640x480 at 5, 10, 15 fps (attribute 2), mode mask 0x1
//   camera device 0 uses sensor 0, camera device 1 uses sensor 2
#pragma once

#include <vector>

#include "host/FakeAovStream.h"

namespace aon_tools {

std::vector<host::FakeSensor> DefaultSensors();
// Scripts the camera devices of the logical device list.
void ApplyDefaultCameraDevices();

}  // namespace aon_tools
