// What differs between the program on a device and on a desk, and nothing else. Each build links
// one of the two implementations: DevicePlatform.cpp (Android.bp) or HostPlatform.cpp (CMake).
//
// On a device the service lives in the camera HAL process: this process only needs binder threads
// to receive its callbacks and death notifications. On a desk there is no camera HAL process, so
// the host build plays it: it hosts the library in-process on the simulated vendor stream and
// places the service and the client's callback in simulated processes of their own, so that the
// client holds a proxy of the service and the service links to the callback's death, as on a
// device.
//
// Called from the main thread only.
#pragma once

#include <android/binder_ibinder.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace aon_client {

// "device" or "host", for the usage text.
const char* PlatformName();

// Gets the process ready to reach the service; called once, before the service is looked up and
// after the signals are blocked (every thread it starts inherits the mask).
void PreparePlatform();

// Gives the client's callback its place before it is handed to the service.
void PlaceCallback(AIBinder* callback);

// The host's test drill: the process that serves the service dies. Not possible on a device.
bool CanKillService();
void KillService();

// PNG needs libpng, which a vendor image does not carry.
bool CanWritePng();
// Writes an 8-bit grayscale image of `width` x `height` pixels whose rows are `stride` bytes
// apart. False with `error` set when it cannot.
bool WriteGrayPng(const std::string& path, uint32_t width, uint32_t height, size_t stride,
                  const uint8_t* pixels, std::string* error);

}  // namespace aon_client
