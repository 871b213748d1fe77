#include "service/RegisterIAonService.h"

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <android/binder_interface_utils.h>
#include <android/binder_manager.h>
#include <android/binder_status.h>
#include <android/log.h>

#include <memory>
#include <string>

#include "service/AONService.h"

namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;

// The entry's own tag, without the class-name prefix of the service's other lines.
constexpr char kTag[] = "AonService";

}  // namespace

extern "C" void RegisterIAonService() {
    std::shared_ptr<tarvo::aon::AONService> service =
            ndk::SharedRefBase::make<tarvo::aon::AONService>();
    const std::string instance = std::string(IAONService::descriptor) + "/default";
    binder_exception_t status =
            AServiceManager_addService(service->asBinder().get(), instance.c_str());
    if (status != STATUS_OK) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "%s register failed", "RegisterIAonService");
    } else {
        __android_log_print(ANDROID_LOG_INFO, kTag, "%s register successfully",
                            "RegisterIAonService");
    }
    // From here on the service manager's reference keeps the service alive.
}
