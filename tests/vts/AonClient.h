// A client of IAONService as the target test plays it, on a device or on the host: the callback
// that records what the service sends, the lookup of an instance, and a client's first steps.
// Written against the device's platform as it is (no host controls), since the device build
// compiles it for the test process and for the client that dies.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <android-base/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace aon_vts {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;

// Records every call the service makes, in order, and lets the test wait for them with a bound.
// Calls arrive on binder threads while the test reads.
class RecordingCallback final
    : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    struct Event {
        int64_t clientHandle;
        AONCallBackInfo info;
    };
    struct SensorEvent {
        int64_t clientHandle;
        AONSensorStateInfo info;
    };

    ::ndk::ScopedAStatus onAONEvent(int64_t clientHandle, const AONCallBackInfo& info) override;
    ::ndk::ScopedAStatus onAONSensorEvent(int64_t clientHandle,
                                          const AONSensorStateInfo& info) override;

    // True once `count` events have arrived, false after `timeout`.
    [[nodiscard]] bool waitForEvents(size_t count, std::chrono::milliseconds timeout) const;
    // The index of the first sensor event at or after `from` that reports `state` for `sensorId`,
    // once it has arrived; nothing after `timeout`.
    [[nodiscard]] std::optional<size_t> waitForSensorState(int32_t sensorId, int32_t state,
                                                           size_t from,
                                                           std::chrono::milliseconds timeout) const;
    std::vector<Event> events() const;
    std::vector<SensorEvent> sensorEvents() const;

  private:
    mutable std::mutex mLock;
    mutable std::condition_variable mCallArrived;
    std::vector<Event> mEvents GUARDED_BY(mLock);
    std::vector<SensorEvent> mSensorEvents GUARDED_BY(mLock);
};

// The service behind `instance` ("descriptor/instance"), waiting for it to start; null when the
// service manager has none.
std::shared_ptr<IAONService> GetService(const std::string& instance);

// Registers `callback` with config.serviceType, subscribes `config` and starts config.serviceType.
// Returns an empty string, or which step failed and with what status; `*handle` is set once the
// registration succeeded.
std::string RegisterSubscribeStart(IAONService& service,
                                   const std::shared_ptr<IAONServiceCallBack>& callback,
                                   const SensorConfigInfo& config, int64_t* handle);

}  // namespace aon_vts
