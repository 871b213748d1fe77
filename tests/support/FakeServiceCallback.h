// aon_test::FakeServiceCallback: a client's IAONServiceCallBack that records every call it gets
// (the handle and its own copy of the record), with bounded waits for a number of calls.
// Thread-safe: calls may arrive on any thread while the test reads or waits.
//
// MakeRemoteCallback() places a fake in a simulated client process and hands back the proxy the
// service sees, so that death links work and host::KillProcess(pid) kills the client.
#pragma once

#include <android-base/thread_annotations.h>
#include <android/binder_auto_utils.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

namespace aon_test {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;

class FakeServiceCallback final
    : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    struct Event {
        int64_t clientHandle;
        AONCallBackInfo info;
        std::thread::id thread;  // the thread the call ran on
    };
    struct SensorEvent {
        int64_t clientHandle;
        AONSensorStateInfo info;
        std::thread::id thread;
    };

    ::ndk::ScopedAStatus onAONEvent(int64_t in_clientHandle,
                                    const AONCallBackInfo& in_info) override EXCLUDES(mLock);
    ::ndk::ScopedAStatus onAONSensorEvent(int64_t in_clientHandle,
                                          const AONSensorStateInfo& in_info) override
            EXCLUDES(mLock);

    // True once at least `count` calls of the kind have arrived; false after `timeout`.
    [[nodiscard]] bool waitForEvents(size_t count, std::chrono::milliseconds timeout) const
            EXCLUDES(mLock);
    [[nodiscard]] bool waitForSensorEvents(size_t count, std::chrono::milliseconds timeout) const
            EXCLUDES(mLock);

    std::vector<Event> events() const EXCLUDES(mLock);
    std::vector<SensorEvent> sensorEvents() const EXCLUDES(mLock);
    size_t eventCount() const EXCLUDES(mLock);
    size_t sensorEventCount() const EXCLUDES(mLock);

    // Every later call returns this status (the calls are recorded all the same).
    void setResultStatus(int32_t serviceSpecificError) EXCLUDES(mLock);
    // Runs at the start of every later call, on the caller's thread, without the fake's lock:
    // lets a test act while the caller is inside the callback.
    void setOnCall(std::function<void()> hook) EXCLUDES(mLock);

  private:
    ::ndk::ScopedAStatus finishCall() EXCLUDES(mLock);
    std::function<void()> currentHook() const EXCLUDES(mLock);

    mutable std::mutex mLock;
    mutable std::condition_variable mCallArrived;
    std::vector<Event> mEvents GUARDED_BY(mLock);
    std::vector<SensorEvent> mSensorEvents GUARDED_BY(mLock);
    int32_t mResultError GUARDED_BY(mLock) = 0;
    std::function<void()> mOnCall GUARDED_BY(mLock);
};

// A fake placed in the simulated client process `pid`, and the proxy the service gets for it.
struct RemoteCallback {
    std::shared_ptr<FakeServiceCallback> fake;
    std::shared_ptr<IAONServiceCallBack> proxy;
    ::ndk::SpAIBinder binder;  // the binder behind both
    int pid;
};

constexpr int kClientPid = 4242;

RemoteCallback MakeRemoteCallback(int pid = kClientPid);

}  // namespace aon_test
