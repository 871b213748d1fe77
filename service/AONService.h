// The binder service object of IAONService: admits clients, arbitrates and merges the sensor
// configurations they subscribe, keeps the union of the service types they start, and forwards the
// outcome to the AONManager singleton. Detector results do not pass through here: the
// AONManagerCallback created by the constructor hands them straight to the RemoteCallbackManager.
//
// Thread-safety: every binder method and OnRemoteCallbackDied holds mLock for its whole duration,
// including its calls into the registry and the manager (which take their own locks after it). The
// ...Locked operations and the Check.../Compute... helpers expect mLock held. The per-client tables
// are keyed by client handle and ordered by it; the merged configuration is recomputed from them
// whenever it is needed.
//
// Clients are called with mLock held (remembered sensor states at registration, state changes of a
// start or stop). A client that calls the service back from such a callback sends a nested call,
// which binder runs on the very thread that holds mLock: it is refused, not locked a second time.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/SensorConfigInfo.h>
#include <android-base/thread_annotations.h>
#include <android/binder_auto_utils.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "callback/IRemoteCallbackManagerListener.h"
#include "callback/RemoteCallbackManager.h"
#include "event/AONManagerCallback.h"
#include "manager/AONManager.h"

namespace tarvo::aon {

class AONService final : public ::aidl::vendor::tarvo::hardware::camera::aon::BnAONService,
                         public IRemoteCallbackManagerListener {
  public:
    using AONSensorInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
    using IAONServiceCallBack = ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
    using SensorConfigInfo = ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;

    AONService();
    ~AONService() override;

    ndk::ScopedAStatus registerClient(const std::shared_ptr<IAONServiceCallBack>& in_callback,
                                      int32_t in_serviceType, int64_t* _aidl_return) override
            EXCLUDES(mLock);
    ndk::ScopedAStatus getAonSensorInfoList(std::vector<AONSensorInfo>* _aidl_return) override
            EXCLUDES(mLock);
    ndk::ScopedAStatus subscribeSensor(int64_t in_clientHandle,
                                       const SensorConfigInfo& in_config) override EXCLUDES(mLock);
    ndk::ScopedAStatus startService(int64_t in_clientHandle, int32_t in_serviceType) override
            EXCLUDES(mLock);
    ndk::ScopedAStatus stopService(int64_t in_clientHandle, int32_t in_serviceType) override
            EXCLUDES(mLock);
    ndk::ScopedAStatus unsubscribeSensor(int64_t in_clientHandle) override EXCLUDES(mLock);
    ndk::ScopedAStatus unregisterClient(int64_t in_clientHandle) override EXCLUDES(mLock);

    // IRemoteCallbackManagerListener: withdraws what a dead client left started and subscribed.
    void OnRemoteCallbackDied(long clientHandle,
                              const std::shared_ptr<IAONServiceCallBack>& callback) override
            EXCLUDES(mLock);

  private:
    // The registry admits one client, so every handle it issues is 1; the tables still arbitrate
    // between any number of handles. Tests reach a second handle through this peer, which takes
    // mLock and drives the ...Locked operations directly.
    friend class AONServiceTestPeer;

    // mLock held for a binder method or a death notification, with the holding thread noted.
    class CallLock;
    // Whether the calling thread already holds mLock: the call is nested in a callback the service
    // is making to a client.
    bool IsNestedCall() const;
    ndk::ScopedAStatus RefuseNestedCall(const char* method) const;

    // Withdraws what a dead client left: its started types, its subscription, its registration.
    void WithdrawDeadClientLocked(int64_t clientHandle) REQUIRES(mLock);
    // Withdraws now what clients that died left, if the registry has forgotten them but their
    // death notification has not reached the service yet, before their handle is issued again.
    void WithdrawForgottenClientsLocked() REQUIRES(mLock);

    // subscribeSensor after the registry check.
    ndk::ScopedAStatus SubscribeSensorLocked(int64_t clientHandle, const SensorConfigInfo& config)
            REQUIRES(mLock);
    ndk::ScopedAStatus UnsubscribeSensorLocked(int64_t clientHandle) REQUIRES(mLock);
    ndk::ScopedAStatus StartServiceLocked(int64_t clientHandle, int32_t serviceType)
            REQUIRES(mLock);
    ndk::ScopedAStatus StopServiceLocked(int64_t clientHandle, int32_t serviceType)
            REQUIRES(mLock);

    // Whether `serviceType` is a subset of the mask the client registered with.
    bool CheckSubscribeServiceType(int64_t clientHandle, int32_t serviceType) REQUIRES(mLock);
    // Whether the manager lists a sensor with this id, size, rate and service types.
    bool CheckConfigSupportLocked(int64_t clientHandle, const SensorConfigInfo& config)
            REQUIRES(mLock);
    // Whether `config` can join the subscribed configurations: on the same sensor while idle, and
    // asking for no more than the merge while the sensor runs.
    bool CheckCanAddSensorConfigLocked(int64_t clientHandle, const SensorConfigInfo& config,
                                       bool sensorRunning) REQUIRES(mLock);
    // The merge of every subscribed configuration; sensorId -1 when there is none.
    SensorConfigInfo ComputeSensorConfigLocked() REQUIRES(mLock);
    // Whether `serviceType` is a subset of the client's subscribed service types.
    bool CheckStartServiceType(int64_t clientHandle, int32_t serviceType) REQUIRES(mLock);
    // The union of every client's started service types.
    int32_t ComputeStartServiceType() REQUIRES(mLock);

    std::shared_ptr<AONManager> mAonManager;
    std::shared_ptr<RemoteCallbackManager> mRemoteCallBackManager;
    std::shared_ptr<AONManagerCallback> mAonManagerCallback;
    std::mutex mLock;
    std::atomic<std::thread::id> mLockHolder;  // the thread in a CallLock, or none
    // Client handle to the service types declared at registerClient.
    std::map<int64_t, int32_t> mClientRegisterServiceType GUARDED_BY(mLock);
    // Client handle to its subscribed configuration.
    std::map<int64_t, SensorConfigInfo> mClientSensorConfig GUARDED_BY(mLock);
    // Client handle to its started service types; a stop may leave a 0 entry behind.
    std::map<int64_t, int32_t> mClientStartServiceType GUARDED_BY(mLock);
    // Client handle to the callback registered with it. Handles are issued again once a client has
    // left, so a death notification is matched against this before it withdraws anything.
    std::map<int64_t, std::shared_ptr<IAONServiceCallBack>> mClientCallback GUARDED_BY(mLock);
};

}  // namespace tarvo::aon
