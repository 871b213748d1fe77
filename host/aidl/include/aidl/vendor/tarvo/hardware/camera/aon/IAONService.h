// Host equivalent of the interface the aidl NDK backend generates from IAONService.aidl.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/SensorConfigInfo.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class IAONService : public ::ndk::ICInterface {
  public:
    static const char* descriptor;
    IAONService();
    ~IAONService() override;

    static inline const int32_t version = 1;
    static inline const std::string hash = "8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2";
    static constexpr uint32_t TRANSACTION_registerClient = FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_getAonSensorInfoList = FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_subscribeSensor = FIRST_CALL_TRANSACTION + 2;
    static constexpr uint32_t TRANSACTION_startService = FIRST_CALL_TRANSACTION + 3;
    static constexpr uint32_t TRANSACTION_stopService = FIRST_CALL_TRANSACTION + 4;
    static constexpr uint32_t TRANSACTION_unsubscribeSensor = FIRST_CALL_TRANSACTION + 5;
    static constexpr uint32_t TRANSACTION_unregisterClient = FIRST_CALL_TRANSACTION + 6;
    static constexpr uint32_t TRANSACTION_getInterfaceVersion = FIRST_CALL_TRANSACTION + 16777214;
    static constexpr uint32_t TRANSACTION_getInterfaceHash = FIRST_CALL_TRANSACTION + 16777213;

    // The local object for a binder of this process, a proxy for one of another process, null
    // for a null binder or one of another interface.
    static std::shared_ptr<IAONService> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus registerClient(
            const std::shared_ptr<
                    ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack>& in_callback,
            int32_t in_serviceType, int64_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getAonSensorInfoList(
            std::vector<::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo>*
                    _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus subscribeSensor(
            int64_t in_clientHandle,
            const ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo& in_config) = 0;
    virtual ::ndk::ScopedAStatus startService(int64_t in_clientHandle,
                                              int32_t in_serviceType) = 0;
    virtual ::ndk::ScopedAStatus stopService(int64_t in_clientHandle, int32_t in_serviceType) = 0;
    virtual ::ndk::ScopedAStatus unsubscribeSensor(int64_t in_clientHandle) = 0;
    virtual ::ndk::ScopedAStatus unregisterClient(int64_t in_clientHandle) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) = 0;
};

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
