// The binder class, fromBinder and the server base of IAONService.
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {
namespace {

// Transactions are not parcelled on the host: proxies reach the object directly.
binder_status_t OnTransact(AIBinder* /*binder*/, transaction_code_t /*code*/,
                           const AParcel* /*in*/, AParcel* /*out*/) {
    return STATUS_UNKNOWN_TRANSACTION;
}

AIBinder_Class* Clazz() {
    static AIBinder_Class* clazz =
            ::ndk::ICInterface::defineClass(IAONService::descriptor, OnTransact);
    return clazz;
}

}  // namespace

const char* IAONService::descriptor = "vendor.tarvo.hardware.camera.aon.IAONService";

IAONService::IAONService() = default;
IAONService::~IAONService() = default;

std::shared_ptr<IAONService> IAONService::fromBinder(const ::ndk::SpAIBinder& binder) {
    if (!AIBinder_associateClass(binder.get(), Clazz())) return nullptr;
    std::shared_ptr<::ndk::ICInterface> local = ::ndk::ICInterface::asInterface(binder.get());
    if (local != nullptr) return std::static_pointer_cast<IAONService>(local);
    return ::ndk::SharedRefBase::make<BpAONService>(binder);
}

BnAONService::BnAONService() = default;
BnAONService::~BnAONService() = default;

::ndk::ScopedAStatus BnAONService::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = IAONService::version;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus BnAONService::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = IAONService::hash;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::SpAIBinder BnAONService::createBinder() {
    return ::ndk::SpAIBinder(AIBinder_new(Clazz(), static_cast<void*>(this)));
}

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
