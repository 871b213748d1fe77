// Host equivalent of the server base the aidl NDK backend generates for IAONService.
#pragma once

#include <android/binder_interface_utils.h>

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class BnAONService : public ::ndk::BnCInterface<IAONService> {
  public:
    BnAONService();
    ~BnAONService() override;

    ::ndk::ScopedAStatus getInterfaceVersion(int32_t* _aidl_return) final;
    ::ndk::ScopedAStatus getInterfaceHash(std::string* _aidl_return) final;

  protected:
    ::ndk::SpAIBinder createBinder() override;
};

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
