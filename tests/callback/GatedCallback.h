// A client callback that forwards everything to another one, except that asBinder() passes
// `gate` first (open at the start). The registry reads a client's binder only while it holds its
// mutex (to compare, link, unlink or find a dead client), so a test that closes the gate and
// starts one of those operations knows, once the gate reports a thread entered, that the
// registry's mutex is held by that operation.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

#include <memory>
#include <string>
#include <utility>

#include "tests/support/Gate.h"

namespace aon_test {

class GatedCallback final : public ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack {
  public:
    using Inner = ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
    using AONCallBackInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
    using AONSensorStateInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;

    explicit GatedCallback(std::shared_ptr<Inner> inner) : mInner(std::move(inner)) {}

    ndk::SpAIBinder asBinder() override {
        gate.Pass();
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

    Gate gate{/*open=*/true};

  private:
    const std::shared_ptr<Inner> mInner;
};

}  // namespace aon_test
