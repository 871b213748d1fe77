// Where the target test's service and clients live: the one difference between its device run and
// its host run.
//
// On a device the service runs in the camera HAL process, the test process is its client, and a
// client that dies is a child process that the test starts afresh (ClientProcessDevice.cpp). On
// the host the test process registers the library in-process on the simulated vendor stream, and
// the service and every client are placed in simulated processes of the host binder, so that
// calls go through proxies and deaths are real deaths (ClientProcessHost.cpp).
#pragma once

#include <android/binder_auto_utils.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "tests/vts/AonClient.h"

namespace aon_vts {

// Called first in main(), before the instances are enumerated. Returns the exit status of a
// process that was started to play a client and has played it; -1 when the tests are to run.
int PrepareProcess(int argc, char** argv);

// Makes a callback of the test a binder of the test's own process as the service sees it (on a
// device it already is).
void PlaceInTestProcess(const ::ndk::SpAIBinder& binder);

// A client in a process of its own registers a callback, subscribes `config`, starts
// config.serviceType, and its process dies without undoing any of it.
struct DeadClient {
    int64_t handle = 0;
    std::string error;  // empty when the client got as far as the start and then died
};
DeadClient RunClientThatDies(const std::string& instance, const SensorConfigInfo& config);

// Waits until `handled()` holds, at most `timeout`: true when it does. The service learns of a
// death through a death notification and tells no other client when it has dealt with it.
bool WaitForDeathHandled(const std::function<bool()>& handled, std::chrono::milliseconds timeout);

}  // namespace aon_vts
