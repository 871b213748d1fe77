#include "tests/vts/AonClient.h"

#include <android/binder_manager.h>

namespace aon_vts {

::ndk::ScopedAStatus RecordingCallback::onAONEvent(int64_t clientHandle,
                                                   const AONCallBackInfo& info) {
    std::lock_guard<std::mutex> guard(mLock);
    mEvents.push_back({clientHandle, info});
    mCallArrived.notify_all();
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus RecordingCallback::onAONSensorEvent(int64_t clientHandle,
                                                         const AONSensorStateInfo& info) {
    std::lock_guard<std::mutex> guard(mLock);
    mSensorEvents.push_back({clientHandle, info});
    mCallArrived.notify_all();
    return ::ndk::ScopedAStatus::ok();
}

bool RecordingCallback::waitForEvents(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mLock);
    return mCallArrived.wait_for(lock, timeout, [&] {
        android::base::ScopedLockAssertion held(mLock);
        return mEvents.size() >= count;
    });
}

std::optional<size_t> RecordingCallback::waitForSensorState(
        int32_t sensorId, int32_t state, size_t from, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mLock);
    std::optional<size_t> found;
    mCallArrived.wait_for(lock, timeout, [&] {
        android::base::ScopedLockAssertion held(mLock);
        for (size_t i = from; i < mSensorEvents.size() && !found; ++i) {
            const AONSensorStateInfo& info = mSensorEvents[i].info;
            if (info.sensorId == sensorId && info.state == state) found = i;
        }
        return found.has_value();
    });
    return found;
}

std::vector<RecordingCallback::Event> RecordingCallback::events() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mEvents;
}

std::vector<RecordingCallback::SensorEvent> RecordingCallback::sensorEvents() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mSensorEvents;
}

std::shared_ptr<IAONService> GetService(const std::string& instance) {
    ::ndk::SpAIBinder binder(AServiceManager_waitForService(instance.c_str()));
    return IAONService::fromBinder(binder);
}

std::string RegisterSubscribeStart(IAONService& service,
                                   const std::shared_ptr<IAONServiceCallBack>& callback,
                                   const SensorConfigInfo& config, int64_t* handle) {
    int64_t registered = 0;
    ::ndk::ScopedAStatus status = service.registerClient(callback, config.serviceType, &registered);
    if (!status.isOk()) return "registerClient: " + status.getDescription();
    *handle = registered;
    status = service.subscribeSensor(registered, config);
    if (!status.isOk()) return "subscribeSensor: " + status.getDescription();
    status = service.startService(registered, config.serviceType);
    if (!status.isOk()) return "startService: " + status.getDescription();
    return "";
}

}  // namespace aon_vts
