// Host equivalent of the client proxy the aidl NDK backend generates for IAONService. Each call
// reaches the object behind the binder as a synchronous transaction would.
#pragma once

#include <android-base/thread_annotations.h>
#include <android/binder_interface_utils.h>

#include <mutex>
#include <string>

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class BpAONService : public ::ndk::BpCInterface<IAONService> {
  public:
    explicit BpAONService(const ::ndk::SpAIBinder& binder);
    ~BpAONService() override;

    ::ndk::ScopedAStatus registerClient(
            const std::shared_ptr<
                    ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack>& in_callback,
            int32_t in_serviceType, int64_t* _aidl_return) override;
    ::ndk::ScopedAStatus getAonSensorInfoList(
            std::vector<::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo>* _aidl_return)
            override;
    ::ndk::ScopedAStatus subscribeSensor(
            int64_t in_clientHandle,
            const ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo& in_config)
            override;
    ::ndk::ScopedAStatus startService(int64_t in_clientHandle, int32_t in_serviceType) override;
    ::ndk::ScopedAStatus stopService(int64_t in_clientHandle, int32_t in_serviceType) override;
    ::ndk::ScopedAStatus unsubscribeSensor(int64_t in_clientHandle) override;
    ::ndk::ScopedAStatus unregisterClient(int64_t in_clientHandle) override;
    // Asked once, then answered from the cache, as the generated proxy does.
    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) override;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) override;

  private:
    std::mutex mCacheLock;
    int32_t mCachedVersion GUARDED_BY(mCacheLock) = -1;
    std::string mCachedHash GUARDED_BY(mCacheLock) = "-1";
};

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
