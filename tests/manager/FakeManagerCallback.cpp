#include "tests/manager/FakeManagerCallback.h"

#include <future>

#include "host/FakeAovStream.h"

namespace aon_test {

std::ostream& operator<<(std::ostream& out, const Notified& notified) {
    static const char* const kNames[] = {"Event", "ServiceStart", "ServiceStop", "SensorIdle",
                                         "SensorBusy"};
    return out << kNames[static_cast<int>(notified.kind)] << "(" << notified.sensorId << ")";
}

void FakeManagerCallback::onCallback(aov_event* event) {
    Record(ManagerCallKind::kEvent, 0, event);
}
void FakeManagerCallback::OnServiceStart(int sensorId) {
    Record(ManagerCallKind::kServiceStart, sensorId, nullptr);
}
void FakeManagerCallback::OnServiceStop(int sensorId) {
    Record(ManagerCallKind::kServiceStop, sensorId, nullptr);
}
void FakeManagerCallback::OnSensorIdle(int sensorId) {
    Record(ManagerCallKind::kSensorIdle, sensorId, nullptr);
}
void FakeManagerCallback::OnSensorBusy(int sensorId) {
    Record(ManagerCallKind::kSensorBusy, sensorId, nullptr);
}

void FakeManagerCallback::SetHook(std::function<void(const ManagerCall&)> hook) {
    std::lock_guard<std::mutex> guard(mLock);
    mHook = std::move(hook);
}

std::vector<ManagerCall> FakeManagerCallback::Calls() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mCalls;
}

std::vector<Notified> FakeManagerCallback::StateCalls() const {
    std::vector<Notified> result;
    for (const ManagerCall& call : Calls()) {
        if (call.kind != ManagerCallKind::kEvent) result.push_back({call.kind, call.sensorId});
    }
    return result;
}

bool FakeManagerCallback::WaitForCalls(size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mLock);
    return mCalled.wait_for(lock, timeout, [&] { return mCalls.size() >= count; });
}

void FakeManagerCallback::Record(ManagerCallKind kind, int sensorId, aov_event* event) {
    ManagerCall call{kind, sensorId, event, host::CurrentThreadName(), ManagerLockIsFree()};
    std::function<void(const ManagerCall&)> hook;
    {
        std::lock_guard<std::mutex> guard(mLock);
        hook = mHook;
    }
    // Recorded after the hook: once a test has seen a call, nothing of the test runs in it.
    if (hook) hook(call);
    {
        std::lock_guard<std::mutex> guard(mLock);
        mCalls.push_back(call);
    }
    mCalled.notify_all();
}

bool FakeManagerCallback::ManagerLockIsFree() const {
    if (mManager == nullptr) return true;
    // A lock held by the calling thread would keep the probe waiting until this call returns.
    auto probe =
            std::async(std::launch::async, [this] { return mManager->GetServiceTypeStarted(); });
    return probe.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
}

}  // namespace aon_test
