// fuzz::RecordingClient: a client's IAONServiceCallBack for the fuzzers. It keeps counts and the
// last event only, so that millions of iterations use constant memory. Thread-safe: sensor states
// arrive on the manager's worker threads.
//
// MakeRemoteClient() places one in a simulated client process and returns the proxy the service
// sees, so that death links work and host::KillProcess(pid) kills it.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>
#include <android-base/thread_annotations.h>
#include <android/binder_auto_utils.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

namespace fuzz {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;

class RecordingClient final
    : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    ::ndk::ScopedAStatus onAONEvent(int64_t in_clientHandle,
                                    const AONCallBackInfo& in_info) override EXCLUDES(mLock);
    ::ndk::ScopedAStatus onAONSensorEvent(int64_t in_clientHandle,
                                          const AONSensorStateInfo& in_info) override
            EXCLUDES(mLock);

    size_t eventCount() const EXCLUDES(mLock);
    size_t sensorEventCount() const EXCLUDES(mLock);
    AONCallBackInfo lastEvent() const EXCLUDES(mLock);
    int64_t lastHandle() const EXCLUDES(mLock);

  private:
    mutable std::mutex mLock;
    size_t mEvents GUARDED_BY(mLock) = 0;
    size_t mSensorEvents GUARDED_BY(mLock) = 0;
    AONCallBackInfo mLastEvent GUARDED_BY(mLock);
    int64_t mLastHandle GUARDED_BY(mLock) = 0;
};

struct RemoteClient {
    std::shared_ptr<RecordingClient> fake;
    std::shared_ptr<IAONServiceCallBack> proxy;
    ::ndk::SpAIBinder binder;
    int pid = 0;
};

RemoteClient MakeRemoteClient(int pid);

// Installs a logger that drops every line (lines are still formatted), unless the environment
// variable AON_FUZZ_LOG is set: then lines go to stderr, for reading a reproducer's course.
void QuietLog();

// Prints `what` and aborts: how every harness reports a broken invariant.
[[noreturn]] void Fail(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace fuzz
