// The desk side of the seam: this process plays the camera HAL process too. It hosts the library
// on the simulated vendor stream (frames on a thread of the stream's own, as on a device),
// publishes the service with RegisterIAonService(), and places the service and the client's
// callback in two simulated processes, so that each side holds a proxy of the other and the
// service links to the client's death. The library's log goes to stderr.
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

#include <string>

#include "host/SimulatedAovStream.h"
#include "host/binder_control.h"
#include "tools/aon-client/Platform.h"
#include "tools/common/DefaultDevice.h"
#include "tools/common/PngWriter.h"

// The library's entry, as the camera process declares it.
extern "C" void RegisterIAonService();

namespace aon_client {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::IAONService;

// Simulated process ids: the camera HAL process and this client.
constexpr int kCameraProcess = 1000;
constexpr int kClientProcess = 2000;

host::SimulatedAovStream* gStream = nullptr;  // the vendor's: never freed

}  // namespace

const char* PlatformName() {
    return "host";
}

void PreparePlatform() {
    aon_tools::ApplyDefaultCameraDevices();
    gStream = aon_tools::InstallSimulatedStream(host::SimulatedAovStream::Delivery::kOwnThread,
                                                nullptr);
    // What the device manifest declares, then the camera process's start-up.
    const std::string instance = std::string(IAONService::descriptor) + "/default";
    host::DeclareService(instance.c_str());
    RegisterIAonService();
    host::SetBinderProcess(host::LookupService(instance.c_str()).get(), kCameraProcess);
}

void PlaceCallback(AIBinder* callback) {
    host::SetBinderProcess(callback, kClientProcess);
}

bool CanKillService() {
    return true;
}

void KillService() {
    // The camera process's frames end with it; then its binders die and the links fire.
    if (gStream != nullptr) gStream->Shutdown();
    host::KillProcess(kCameraProcess);
}

bool CanWritePng() {
    return true;
}

bool WriteGrayPng(const std::string& path, uint32_t width, uint32_t height, size_t stride,
                  const uint8_t* pixels, std::string* error) {
    aon_tools::PngImage image;
    image.width = width;
    image.height = height;
    image.channels = 1;
    image.rowBytes = stride;
    image.pixels = pixels;
    return aon_tools::WritePng(path, image, error);
}

}  // namespace aon_client
