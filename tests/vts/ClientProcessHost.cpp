// The host side of the target test: the library is registered in-process on the simulated vendor
// stream (frames on a thread of its own, as on a device), and the service and the clients are
// placed in simulated processes so that each call goes through a proxy and a death is a death.
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <host/binder_control.h>
#include <host/vintf_control.h>

#include <string>

#include "service/RegisterIAonService.h"
#include "tests/vts/ClientProcess.h"
#include "tools/common/DefaultDevice.h"

namespace aon_vts {
namespace {

constexpr int kCameraProcess = 7001;  // the camera HAL process that hosts the service
constexpr int kTestProcess = 7002;    // the test's own client
constexpr int kClientThatDiesProcess = 7003;

}  // namespace

int PrepareProcess(int /*argc*/, char** /*argv*/) {
    aon_tools::InstallSimulatedStream(host::SimulatedAovStream::Delivery::kOwnThread, nullptr);
    RegisterIAonService();
    const std::string instance = std::string(IAONService::descriptor) + "/default";
    host::SetBinderProcess(host::LookupService(instance.c_str()).get(), kCameraProcess);
    host::DeclareAidlHalInstance(instance);
    return -1;
}

void PlaceInTestProcess(const ::ndk::SpAIBinder& binder) {
    host::SetBinderProcess(binder.get(), kTestProcess);
}

DeadClient RunClientThatDies(const std::string& instance, const SensorConfigInfo& config) {
    DeadClient client;
    std::shared_ptr<IAONService> service = GetService(instance);
    if (service == nullptr) {
        client.error = "no service " + instance;
        return client;
    }
    auto callback = ::ndk::SharedRefBase::make<RecordingCallback>();
    const ::ndk::SpAIBinder binder = callback->asBinder();  // kept until the process dies
    host::SetBinderProcess(binder.get(), kClientThatDiesProcess);
    client.error = RegisterSubscribeStart(*service, callback, config, &client.handle);
    host::KillProcess(kClientThatDiesProcess);
    return client;
}

bool WaitForDeathHandled(const std::function<bool()>& handled,
                         std::chrono::milliseconds /*timeout*/) {
    // The host binder tells every death recipient before KillProcess returns.
    return handled();
}

}  // namespace aon_vts
