// The client proxy of IAONServiceCallBack: each call is a synchronous transaction to the object
// behind the binder, sized as its parcel would be. An event too large for the client's buffer
// fails here with STATUS_FAILED_TRANSACTION and never reaches the client.
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONServiceCallBack.h>

#include <memory>
#include <vector>

#include "host/binder_transport.h"

namespace aidl::vendor::tarvo::hardware::camera::aon {
namespace {

// The interface token, then `argumentBytes` of arguments.
host::TransactionRequest Request(const char* method, size_t argumentBytes) {
    return {method, host::InterfaceTokenSize(IAONServiceCallBack::descriptor) + argumentBytes, 0};
}

constexpr auto kNoResult = [] { return size_t{0}; };

// The callee's own copy of an event, as after unparcelling. Each thread keeps one record per depth
// of calls it is serving and assigns into it, so that the arrays keep their capacity from event to
// event: delivering a frame costs a copy of its bytes, not a fresh allocation of the same
// megabyte. A nested delivery on the same thread gets a record of its own.
class CalleeCopy final {
  public:
    explicit CalleeCopy(const AONCallBackInfo& from) : mDepth(tDepth++) {
        if (tRecords.size() <= mDepth) tRecords.push_back(std::make_unique<AONCallBackInfo>());
        *tRecords[mDepth] = from;
    }
    ~CalleeCopy() { --tDepth; }
    CalleeCopy(const CalleeCopy&) = delete;
    CalleeCopy& operator=(const CalleeCopy&) = delete;

    const AONCallBackInfo& get() const { return *tRecords[mDepth]; }

  private:
    static thread_local std::vector<std::unique_ptr<AONCallBackInfo>> tRecords;
    static thread_local size_t tDepth;
    const size_t mDepth;
};

thread_local std::vector<std::unique_ptr<AONCallBackInfo>> CalleeCopy::tRecords;
thread_local size_t CalleeCopy::tDepth = 0;

}  // namespace

BpAONServiceCallBack::BpAONServiceCallBack(const ::ndk::SpAIBinder& binder)
    : BpCInterface(binder) {}

BpAONServiceCallBack::~BpAONServiceCallBack() = default;

::ndk::ScopedAStatus BpAONServiceCallBack::onAONEvent(int64_t in_clientHandle,
                                                      const AONCallBackInfo& in_info) {
    return host::Transact<IAONServiceCallBack>(
            asBinder(), Request("onAONEvent", 8 + internal::ParcelSize(in_info)),
            [&](IAONServiceCallBack& callee) {
                const CalleeCopy info(in_info);
                return callee.onAONEvent(in_clientHandle, info.get());
            },
            kNoResult);
}

::ndk::ScopedAStatus BpAONServiceCallBack::onAONSensorEvent(int64_t in_clientHandle,
                                                            const AONSensorStateInfo& in_info) {
    return host::Transact<IAONServiceCallBack>(
            asBinder(), Request("onAONSensorEvent", 8 + internal::ParcelSize(in_info)),
            [&](IAONServiceCallBack& callee) {
                const AONSensorStateInfo info = in_info;
                return callee.onAONSensorEvent(in_clientHandle, info);
            },
            kNoResult);
}

::ndk::ScopedAStatus BpAONServiceCallBack::getInterfaceVersion(int32_t* _aidl_return) {
    {
        std::lock_guard<std::mutex> guard(mCacheLock);
        if (mCachedVersion != -1) {
            *_aidl_return = mCachedVersion;
            return ::ndk::ScopedAStatus::ok();
        }
    }
    int32_t version = 0;
    ::ndk::ScopedAStatus status = host::Transact<IAONServiceCallBack>(
            asBinder(), Request("getInterfaceVersion", 0),
            [&](IAONServiceCallBack& callee) { return callee.getInterfaceVersion(&version); },
            [] { return size_t{4}; });
    if (status.isOk()) {
        std::lock_guard<std::mutex> guard(mCacheLock);
        mCachedVersion = version;
        *_aidl_return = version;
    }
    return status;
}

::ndk::ScopedAStatus BpAONServiceCallBack::getInterfaceHash(std::string* _aidl_return) {
    {
        std::lock_guard<std::mutex> guard(mCacheLock);
        if (mCachedHash != "-1") {
            *_aidl_return = mCachedHash;
            return ::ndk::ScopedAStatus::ok();
        }
    }
    std::string hash;
    ::ndk::ScopedAStatus status = host::Transact<IAONServiceCallBack>(
            asBinder(), Request("getInterfaceHash", 0),
            [&](IAONServiceCallBack& callee) { return callee.getInterfaceHash(&hash); },
            [&] { return host::ParcelStringSize(hash); });
    if (status.isOk()) {
        std::lock_guard<std::mutex> guard(mCacheLock);
        mCachedHash = hash;
        *_aidl_return = hash;
    }
    return status;
}

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
