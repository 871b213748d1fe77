#include "tests/support/FakeServiceCallback.h"

#include <utility>

#include "host/binder_control.h"

namespace aon_test {

::ndk::ScopedAStatus FakeServiceCallback::onAONEvent(int64_t in_clientHandle,
                                                     const AONCallBackInfo& in_info) {
    if (std::function<void()> hook = currentHook()) hook();
    {
        std::lock_guard<std::mutex> guard(mLock);
        mEvents.push_back(Event{in_clientHandle, in_info, std::this_thread::get_id()});
    }
    mCallArrived.notify_all();
    return finishCall();
}

::ndk::ScopedAStatus FakeServiceCallback::onAONSensorEvent(int64_t in_clientHandle,
                                                           const AONSensorStateInfo& in_info) {
    if (std::function<void()> hook = currentHook()) hook();
    {
        std::lock_guard<std::mutex> guard(mLock);
        mSensorEvents.push_back(SensorEvent{in_clientHandle, in_info, std::this_thread::get_id()});
    }
    mCallArrived.notify_all();
    return finishCall();
}

bool FakeServiceCallback::waitForEvents(size_t count, std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion lockAssertion(mLock);
    while (mEvents.size() < count) {
        if (mCallArrived.wait_until(lock, deadline) == std::cv_status::timeout) {
            return mEvents.size() >= count;
        }
    }
    return true;
}

bool FakeServiceCallback::waitForSensorEvents(size_t count,
                                              std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion lockAssertion(mLock);
    while (mSensorEvents.size() < count) {
        if (mCallArrived.wait_until(lock, deadline) == std::cv_status::timeout) {
            return mSensorEvents.size() >= count;
        }
    }
    return true;
}

std::vector<FakeServiceCallback::Event> FakeServiceCallback::events() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mEvents;
}

std::vector<FakeServiceCallback::SensorEvent> FakeServiceCallback::sensorEvents() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mSensorEvents;
}

size_t FakeServiceCallback::eventCount() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mEvents.size();
}

size_t FakeServiceCallback::sensorEventCount() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mSensorEvents.size();
}

void FakeServiceCallback::setResultStatus(int32_t serviceSpecificError) {
    std::lock_guard<std::mutex> guard(mLock);
    mResultError = serviceSpecificError;
}

void FakeServiceCallback::setOnCall(std::function<void()> hook) {
    std::lock_guard<std::mutex> guard(mLock);
    mOnCall = std::move(hook);
}

::ndk::ScopedAStatus FakeServiceCallback::finishCall() {
    std::lock_guard<std::mutex> guard(mLock);
    if (mResultError == 0) return ::ndk::ScopedAStatus::ok();
    return ::ndk::ScopedAStatus::fromServiceSpecificError(mResultError);
}

std::function<void()> FakeServiceCallback::currentHook() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mOnCall;
}

RemoteCallback MakeRemoteCallback(int pid) {
    RemoteCallback remote;
    remote.fake = ::ndk::SharedRefBase::make<FakeServiceCallback>();
    remote.binder = remote.fake->asBinder();
    host::SetBinderProcess(remote.binder.get(), pid);
    remote.proxy = IAONServiceCallBack::fromBinder(remote.binder);
    remote.pid = pid;
    return remote;
}

}  // namespace aon_test
