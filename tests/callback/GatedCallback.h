// A client callback that forwards everything to another one, except that, once closed, the next
// call of asBinder() stops until the gate opens again. The registry reads a client's binder only
// while it holds its mutex (to compare, link, unlink or find a dead client), so a test that closes
// the gate and starts one of those operations knows, once the gate reports a waiter, that the
// registry's mutex is held by that operation.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace aon_test {

class GatedCallback final : public ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack {
  public:
    using Inner = ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
    using AONCallBackInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
    using AONSensorStateInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;

    explicit GatedCallback(std::shared_ptr<Inner> inner) : mInner(std::move(inner)) {}

    void close() {
        std::lock_guard<std::mutex> lock(mMutex);
        mClosed = true;
    }
    void open() {
        std::lock_guard<std::mutex> lock(mMutex);
        mClosed = false;
        mChanged.notify_all();
    }
    [[nodiscard]] bool waitForWaiter(std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, timeout, [this] { return mWaiting; });
    }

    ndk::SpAIBinder asBinder() override {
        {
            std::unique_lock<std::mutex> lock(mMutex);
            if (mClosed) {
                mWaiting = true;
                mChanged.notify_all();
                // Bounded so that a broken test fails instead of hanging.
                mChanged.wait_for(lock, std::chrono::seconds(5), [this] { return !mClosed; });
                mWaiting = false;
            }
        }
        return mInner->asBinder();
    }
    bool isRemote() override { return mInner->isRemote(); }
    ndk::ScopedAStatus onAONEvent(int64_t handle, const AONCallBackInfo& info) override {
        return mInner->onAONEvent(handle, info);
    }
    ndk::ScopedAStatus onAONSensorEvent(int64_t handle, const AONSensorStateInfo& info) override {
        return mInner->onAONSensorEvent(handle, info);
    }
    ndk::ScopedAStatus getInterfaceVersion(int32_t* version) override {
        return mInner->getInterfaceVersion(version);
    }
    ndk::ScopedAStatus getInterfaceHash(std::string* hash) override {
        return mInner->getInterfaceHash(hash);
    }

  private:
    const std::shared_ptr<Inner> mInner;
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mClosed = false;
    bool mWaiting = false;
};

}  // namespace aon_test
