#include "fuzz/common/RecordingClient.h"

#include <android/log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "host/binder_control.h"

namespace fuzz {

::ndk::ScopedAStatus RecordingClient::onAONEvent(int64_t in_clientHandle,
                                                 const AONCallBackInfo& in_info) {
    std::lock_guard<std::mutex> guard(mLock);
    ++mEvents;
    mLastEvent = in_info;
    mLastHandle = in_clientHandle;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus RecordingClient::onAONSensorEvent(int64_t in_clientHandle,
                                                       const AONSensorStateInfo& /*in_info*/) {
    std::lock_guard<std::mutex> guard(mLock);
    ++mSensorEvents;
    mLastHandle = in_clientHandle;
    return ::ndk::ScopedAStatus::ok();
}

size_t RecordingClient::eventCount() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mEvents;
}

size_t RecordingClient::sensorEventCount() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mSensorEvents;
}

AONCallBackInfo RecordingClient::lastEvent() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mLastEvent;
}

int64_t RecordingClient::lastHandle() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mLastHandle;
}

RemoteClient MakeRemoteClient(int pid) {
    RemoteClient client;
    client.fake = ::ndk::SharedRefBase::make<RecordingClient>();
    client.binder = client.fake->asBinder();
    host::SetBinderProcess(client.binder.get(), pid);
    client.proxy = IAONServiceCallBack::fromBinder(client.binder);
    client.pid = pid;
    return client;
}

namespace {

void DropLine(const struct __android_logger_data* /*data*/, const char* /*message*/) {}

}  // namespace

void QuietLog() {
    if (std::getenv("AON_FUZZ_LOG") != nullptr) {
        __android_log_set_logger(__android_log_stderr_logger);
        return;
    }
    __android_log_set_logger(&DropLine);
}

void Fail(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::fputs("invariant broken: ", stderr);
    std::vfprintf(stderr, format, args);
    std::fputc('\n', stderr);
    va_end(args);
    std::abort();
}

}  // namespace fuzz
