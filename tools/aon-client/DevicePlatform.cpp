// The device side of the seam: the service is in the camera HAL process; this process only runs
// the binder threads that receive its calls.
#include <android/binder_process.h>

#include "tools/aon-client/Platform.h"

namespace aon_client {
namespace {

// Frame events, sensor states and death notifications arrive one at a time in practice; a nested
// callback during one of our own calls runs on the calling thread, not on the pool.
constexpr uint32_t kBinderThreads = 2;

}  // namespace

const char* PlatformName() {
    return "device";
}

void PreparePlatform() {
    ABinderProcess_setThreadPoolMaxThreadCount(kBinderThreads);
    ABinderProcess_startThreadPool();
}

void PlaceCallback(AIBinder* /*callback*/) {}

bool CanKillService() {
    return false;
}

void KillService() {}

bool CanWritePng() {
    return false;
}

bool WriteGrayPng(const std::string& /*path*/, uint32_t /*width*/, uint32_t /*height*/,
                  size_t /*stride*/, const uint8_t* /*pixels*/, std::string* error) {
    *error = "PNG is not built into the device program";
    return false;
}

}  // namespace aon_client
