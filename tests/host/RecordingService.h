// aon_test::RecordingService: an IAONService that records each call it gets as text and answers
// with a preset status; RemoteProxy() places it in a simulated process of its own and hands back
// the proxy a client there would use. Not thread-safe: one caller at a time.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONService.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/binder_control.h"

namespace aon_test {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::BnAONService;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;

constexpr int kServicePid = 77;

class RecordingService final : public BnAONService {
  public:
    ndk::ScopedAStatus registerClient(const std::shared_ptr<IAONServiceCallBack>& callback,
                                      int32_t serviceType, int64_t* handle) override {
        this->callback = callback;
        *handle = 5;
        return Answer("registerClient(" + std::to_string(callback != nullptr) + ", " +
                      std::to_string(serviceType) + ")");
    }
    ndk::ScopedAStatus getAonSensorInfoList(std::vector<AONSensorInfo>* sensors) override {
        sensors->push_back({3, 0, 0, 0, {{640, 480, {5, 10, 15}}}});
        return Answer("getAonSensorInfoList()");
    }
    ndk::ScopedAStatus subscribeSensor(int64_t handle, const SensorConfigInfo& config) override {
        return Answer("subscribeSensor(" + std::to_string(handle) + ", " + config.toString() + ")");
    }
    ndk::ScopedAStatus startService(int64_t handle, int32_t serviceType) override {
        return Answer("startService(" + std::to_string(handle) + ", " +
                      std::to_string(serviceType) + ")");
    }
    ndk::ScopedAStatus stopService(int64_t handle, int32_t serviceType) override {
        return Answer("stopService(" + std::to_string(handle) + ", " + std::to_string(serviceType) +
                      ")");
    }
    ndk::ScopedAStatus unsubscribeSensor(int64_t handle) override {
        return Answer("unsubscribeSensor(" + std::to_string(handle) + ")");
    }
    ndk::ScopedAStatus unregisterClient(int64_t handle) override {
        return Answer("unregisterClient(" + std::to_string(handle) + ")");
    }

    // A proxy for this service as another process sees it.
    std::shared_ptr<IAONService> RemoteProxy() {
        ndk::SpAIBinder binder = asBinder();
        host::SetBinderProcess(binder.get(), kServicePid);
        return IAONService::fromBinder(binder);
    }

    std::vector<std::string> calls;
    std::shared_ptr<IAONServiceCallBack> callback;
    int32_t errorCode = 0;  // answered with errorMessage when not 0

  private:
    ndk::ScopedAStatus Answer(std::string call) {
        calls.push_back(std::move(call));
        return errorCode == 0 ? ndk::ScopedAStatus::ok()
                              : ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(
                                        errorCode, "aon manager is null");
    }
};

}  // namespace aon_test
