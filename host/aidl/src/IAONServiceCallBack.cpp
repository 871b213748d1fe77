// The binder class, fromBinder and the server base of IAONServiceCallBack.
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {
namespace {

// Transactions are not parcelled on the host: proxies reach the object directly.
binder_status_t OnTransact(AIBinder* /*binder*/, transaction_code_t /*code*/,
                           const AParcel* /*in*/, AParcel* /*out*/) {
    return STATUS_UNKNOWN_TRANSACTION;
}

AIBinder_Class* Clazz() {
    static AIBinder_Class* clazz =
            ::ndk::ICInterface::defineClass(IAONServiceCallBack::descriptor, OnTransact);
    return clazz;
}

}  // namespace

const char* IAONServiceCallBack::descriptor =
        "vendor.tarvo.hardware.camera.aon.IAONServiceCallBack";

IAONServiceCallBack::IAONServiceCallBack() = default;
IAONServiceCallBack::~IAONServiceCallBack() = default;

std::shared_ptr<IAONServiceCallBack> IAONServiceCallBack::fromBinder(
        const ::ndk::SpAIBinder& binder) {
    if (!AIBinder_associateClass(binder.get(), Clazz())) return nullptr;
    std::shared_ptr<::ndk::ICInterface> local = ::ndk::ICInterface::asInterface(binder.get());
    if (local != nullptr) return std::static_pointer_cast<IAONServiceCallBack>(local);
    return ::ndk::SharedRefBase::make<BpAONServiceCallBack>(binder);
}

BnAONServiceCallBack::BnAONServiceCallBack() = default;
BnAONServiceCallBack::~BnAONServiceCallBack() = default;

::ndk::ScopedAStatus BnAONServiceCallBack::getInterfaceVersion(int32_t* _aidl_return) {
    *_aidl_return = IAONServiceCallBack::version;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::ScopedAStatus BnAONServiceCallBack::getInterfaceHash(std::string* _aidl_return) {
    *_aidl_return = IAONServiceCallBack::hash;
    return ::ndk::ScopedAStatus::ok();
}

::ndk::SpAIBinder BnAONServiceCallBack::createBinder() {
    return ::ndk::SpAIBinder(AIBinder_new(Clazz(), static_cast<void*>(this)));
}

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
