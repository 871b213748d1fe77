// Host equivalent of the interface the aidl NDK backend generates from IAONServiceCallBack.aidl.
#pragma once

#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>
#include <android/binder_interface_utils.h>

#include <cstdint>
#include <memory>
#include <string>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class IAONServiceCallBack : public ::ndk::ICInterface {
  public:
    static const char* descriptor;
    IAONServiceCallBack();
    ~IAONServiceCallBack() override;

    static inline const int32_t version = 1;
    static inline const std::string hash = "8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2";
    static constexpr uint32_t TRANSACTION_onAONEvent = FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_onAONSensorEvent = FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_getInterfaceVersion = FIRST_CALL_TRANSACTION + 16777214;
    static constexpr uint32_t TRANSACTION_getInterfaceHash = FIRST_CALL_TRANSACTION + 16777213;

    // The local object for a binder of this process, a proxy for one of another process, null
    // for a null binder or one of another interface.
    static std::shared_ptr<IAONServiceCallBack> fromBinder(const ::ndk::SpAIBinder& binder);

    virtual ::ndk::ScopedAStatus onAONEvent(
            int64_t in_clientHandle,
            const ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& in_info) = 0;
    virtual ::ndk::ScopedAStatus onAONSensorEvent(
            int64_t in_clientHandle,
            const ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo& in_info) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) = 0;
    virtual ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) = 0;
};

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
