// Host equivalent of the client proxy the aidl NDK backend generates for IAONServiceCallBack.
// Each call reaches the object behind the binder as a synchronous transaction would.
#pragma once

#include <android-base/thread_annotations.h>
#include <android/binder_interface_utils.h>

#include <mutex>
#include <string>

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class BpAONServiceCallBack : public ::ndk::BpCInterface<IAONServiceCallBack> {
  public:
    explicit BpAONServiceCallBack(const ::ndk::SpAIBinder& binder);
    ~BpAONServiceCallBack() override;

    ::ndk::ScopedAStatus onAONEvent(
            int64_t in_clientHandle,
            const ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& in_info) override;
    ::ndk::ScopedAStatus onAONSensorEvent(
            int64_t in_clientHandle,
            const ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo& in_info)
            override;
    // Asked once, then answered from the cache, as the generated proxy does.
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override;

  private:
    std::mutex mCacheLock;
    int32_t mCachedVersion GUARDED_BY(mCacheLock) = -1;
    std::string mCachedHash GUARDED_BY(mCacheLock) = "-1";
};

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
