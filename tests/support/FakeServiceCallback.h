// aon_test::FakeServiceCallback: a client's IAONServiceCallBack that records every call it gets
// (the handle and its own copy of the record), with bounded waits for a number of
// calls. Thread-safe: calls may arrive on any thread while the test reads or waits.
//
// MakeRemoteCallback() places a fake in a simulated client process and hands back the proxy the
// service sees, so that death links work and host::KillProcess(pid) kills the client.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <android-base/thread_annotations.h>
#include <host/binder_control.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace aon_test {

using States = std::vector<std::pair<int32_t, int32_t>>;

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;

class FakeServiceCallback final
    : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    template <typename Info>
    struct Call {
        int64_t clientHandle;
        Info info;
    };
    using Event = Call<AONCallBackInfo>;
    using SensorEvent = Call<AONSensorStateInfo>;

    ~FakeServiceCallback() override {
        if (onDestroyed) onDestroyed();
    }
    std::function<void()> onDestroyed;  // set before the fake is shared

    ::ndk::ScopedAStatus onAONEvent(int64_t handle, const AONCallBackInfo& info) override {
        const auto reaction = Record(&FakeServiceCallback::mEvents, Event{handle, info},
                                     &FakeServiceCallback::mEventReaction);
        if (reaction) reaction();
        return ::ndk::ScopedAStatus::ok();
    }
    ::ndk::ScopedAStatus onAONSensorEvent(int64_t handle, const AONSensorStateInfo& info) override {
        const auto reaction = Record(&FakeServiceCallback::mSensorEvents, SensorEvent{handle, info},
                                     &FakeServiceCallback::mSensorEventReaction);
        if (reaction) reaction(handle, info);
        return ::ndk::ScopedAStatus::ok();
    }

    // Runs inside every later onAONSensorEvent (onAONEvent), once it is recorded, on the calling
    // thread: a client that answers by calling the service back, or that holds the call at a
    // gate. Null removes it.
    void setSensorEventReaction(std::function<void(int64_t, const AONSensorStateInfo&)> reaction) {
        std::lock_guard<std::mutex> guard(mLock);
        mSensorEventReaction = std::move(reaction);
    }
    void setEventReaction(std::function<void()> reaction) {
        std::lock_guard<std::mutex> guard(mLock);
        mEventReaction = std::move(reaction);
    }

    // True once at least `count` calls of the kind have arrived; false after `timeout`.
    [[nodiscard]] bool waitForEvents(size_t count, std::chrono::milliseconds timeout) const {
        return WaitFor(&FakeServiceCallback::mEvents, count, timeout);
    }
    [[nodiscard]] bool waitForSensorEvents(size_t count, std::chrono::milliseconds timeout) const {
        return WaitFor(&FakeServiceCallback::mSensorEvents, count, timeout);
    }
    std::vector<Event> events() const {
        std::lock_guard<std::mutex> guard(mLock);
        return mEvents;
    }
    std::vector<SensorEvent> sensorEvents() const {
        std::lock_guard<std::mutex> guard(mLock);
        return mSensorEvents;
    }
    // The sensor states received, as {sensorId, state}.
    States states() const {
        States result;
        for (const SensorEvent& e : sensorEvents())
            result.emplace_back(e.info.sensorId, e.info.state);
        return result;
    }
    // Counted without copying the records (the fuzzer and the soak count after every step).
    size_t eventCount() const { return CountOf(&FakeServiceCallback::mEvents); }
    size_t sensorEventCount() const { return CountOf(&FakeServiceCallback::mSensorEvents); }

  private:
    using Reaction = std::function<void(int64_t, const AONSensorStateInfo&)>;
    // Records the call; returns the reaction in force, to run outside the lock.
    template <typename T, typename R>
    R Record(std::vector<T> FakeServiceCallback::*calls, T call, R FakeServiceCallback::*reaction) {
        std::lock_guard<std::mutex> guard(mLock);
        (this->*calls).push_back(std::move(call));
        mCallArrived.notify_all();
        return this->*reaction;
    }
    template <typename T>
    size_t CountOf(std::vector<T> FakeServiceCallback::*calls) const {
        std::lock_guard<std::mutex> guard(mLock);
        return (this->*calls).size();
    }
    template <typename T>
    bool WaitFor(std::vector<T> FakeServiceCallback::*calls, size_t count,
                 std::chrono::milliseconds timeout) const {
        std::unique_lock<std::mutex> lock(mLock);
        return mCallArrived.wait_for(lock, timeout,
                                     [&] { return (this->*calls).size() >= count; });
    }

    mutable std::mutex mLock;
    mutable std::condition_variable mCallArrived;
    std::vector<Event> mEvents GUARDED_BY(mLock);
    std::vector<SensorEvent> mSensorEvents GUARDED_BY(mLock);
    Reaction mSensorEventReaction GUARDED_BY(mLock);
    std::function<void()> mEventReaction GUARDED_BY(mLock);
};

// A fake placed in the simulated client process `pid`, and the proxy the service gets for it.
struct RemoteCallback {
    std::shared_ptr<FakeServiceCallback> fake;
    std::shared_ptr<IAONServiceCallBack> proxy;
    ::ndk::SpAIBinder binder;  // the binder behind both
    int pid;
};

constexpr int kClientPid = 4242;

inline RemoteCallback MakeRemoteCallback(int pid = kClientPid) {
    auto fake = ::ndk::SharedRefBase::make<FakeServiceCallback>();
    ::ndk::SpAIBinder binder = fake->asBinder();
    host::SetBinderProcess(binder.get(), pid);
    return {fake, IAONServiceCallBack::fromBinder(binder), binder, pid};
}

}  // namespace aon_test
