// The client proxy of IAONService: each call is a synchronous transaction to the object behind
// the binder, sized as its parcel would be. Records reach the callee as copies and results come
// back only on success, as through a parcel; a callback travels as its binder and arrives as what
// that binder is to the service.
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>

#include "host/binder_transport.h"

namespace aidl::vendor::tarvo::hardware::camera::aon {
namespace {

// The interface token, then `argumentBytes` of arguments.
host::TransactionRequest Request(const char* method, size_t argumentBytes, size_t objects = 0) {
    return {method, host::InterfaceTokenSize(IAONService::descriptor) + argumentBytes, objects};
}

constexpr auto kNoResult = [] { return size_t{0}; };

}  // namespace

BpAONService::BpAONService(const ::ndk::SpAIBinder& binder) : BpCInterface(binder) {}

BpAONService::~BpAONService() = default;

::ndk::ScopedAStatus BpAONService::registerClient(
        const std::shared_ptr<IAONServiceCallBack>& in_callback, int32_t in_serviceType,
        int64_t* _aidl_return) {
    // The argument is not @nullable: a null callback cannot be written to the transaction.
    if (in_callback == nullptr) return ::ndk::ScopedAStatus::fromStatus(STATUS_UNEXPECTED_NULL);
    const ::ndk::SpAIBinder callbackBinder = in_callback->asBinder();
    int64_t handle = 0;
    ::ndk::ScopedAStatus status = host::Transact<IAONService>(
            asBinder(), Request("registerClient", host::kParcelBinderBytes + 4, 1),
            [&](IAONService& callee) {
                const std::shared_ptr<IAONServiceCallBack> callback =
                        IAONServiceCallBack::fromBinder(callbackBinder);
                return callee.registerClient(callback, in_serviceType, &handle);
            },
            [] { return size_t{8}; });
    if (status.isOk()) *_aidl_return = handle;
    return status;
}

::ndk::ScopedAStatus BpAONService::getAonSensorInfoList(std::vector<AONSensorInfo>* _aidl_return) {
    std::vector<AONSensorInfo> infos;
    ::ndk::ScopedAStatus status = host::Transact<IAONService>(
            asBinder(), Request("getAonSensorInfoList", 0),
            [&](IAONService& callee) { return callee.getAonSensorInfoList(&infos); },
            [&] {
                size_t bytes = 4;
                for (const AONSensorInfo& info : infos) bytes += internal::ParcelSize(info);
                return bytes;
            });
    if (status.isOk()) *_aidl_return = std::move(infos);
    return status;
}

::ndk::ScopedAStatus BpAONService::subscribeSensor(int64_t in_clientHandle,
                                                   const SensorConfigInfo& in_config) {
    return host::Transact<IAONService>(
            asBinder(), Request("subscribeSensor", 8 + internal::ParcelSize(in_config)),
            [&](IAONService& callee) {
                const SensorConfigInfo config = in_config;
                return callee.subscribeSensor(in_clientHandle, config);
            },
            kNoResult);
}

::ndk::ScopedAStatus BpAONService::startService(int64_t in_clientHandle, int32_t in_serviceType) {
    return host::Transact<IAONService>(
            asBinder(), Request("startService", 8 + 4),
            [&](IAONService& callee) {
                return callee.startService(in_clientHandle, in_serviceType);
            },
            kNoResult);
}

::ndk::ScopedAStatus BpAONService::stopService(int64_t in_clientHandle, int32_t in_serviceType) {
    return host::Transact<IAONService>(
            asBinder(), Request("stopService", 8 + 4),
            [&](IAONService& callee) {
                return callee.stopService(in_clientHandle, in_serviceType);
            },
            kNoResult);
}

::ndk::ScopedAStatus BpAONService::unsubscribeSensor(int64_t in_clientHandle) {
    return host::Transact<IAONService>(
            asBinder(), Request("unsubscribeSensor", 8),
            [&](IAONService& callee) { return callee.unsubscribeSensor(in_clientHandle); },
            kNoResult);
}

::ndk::ScopedAStatus BpAONService::unregisterClient(int64_t in_clientHandle) {
    return host::Transact<IAONService>(
            asBinder(), Request("unregisterClient", 8),
            [&](IAONService& callee) { return callee.unregisterClient(in_clientHandle); },
            kNoResult);
}

::ndk::ScopedAStatus BpAONService::getInterfaceVersion(int32_t* _aidl_return) {
    {
        std::lock_guard<std::mutex> guard(mCacheLock);
        if (mCachedVersion != -1) {
            *_aidl_return = mCachedVersion;
            return ::ndk::ScopedAStatus::ok();
        }
    }
    int32_t version = 0;
    ::ndk::ScopedAStatus status = host::Transact<IAONService>(
            asBinder(), Request("getInterfaceVersion", 0),
            [&](IAONService& callee) { return callee.getInterfaceVersion(&version); },
            [] { return size_t{4}; });
    if (status.isOk()) {
        std::lock_guard<std::mutex> guard(mCacheLock);
        mCachedVersion = version;
        *_aidl_return = version;
    }
    return status;
}

::ndk::ScopedAStatus BpAONService::getInterfaceHash(std::string* _aidl_return) {
    {
        std::lock_guard<std::mutex> guard(mCacheLock);
        if (mCachedHash != "-1") {
            *_aidl_return = mCachedHash;
            return ::ndk::ScopedAStatus::ok();
        }
    }
    std::string hash;
    ::ndk::ScopedAStatus status = host::Transact<IAONService>(
            asBinder(), Request("getInterfaceHash", 0),
            [&](IAONService& callee) { return callee.getInterfaceHash(&hash); },
            [&] { return host::ParcelStringSize(hash); });
    if (status.isOk()) {
        std::lock_guard<std::mutex> guard(mCacheLock);
        mCachedHash = hash;
        *_aidl_return = hash;
    }
    return status;
}

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
