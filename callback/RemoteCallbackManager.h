#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>
#include <android-base/thread_annotations.h>
#include <android/binder_auto_utils.h>
#include <android/binder_ibinder.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "callback/IOutEventCallback.h"
#include "callback/IRemoteCallbackManagerListener.h"

namespace tarvo::aon {

// True when both callbacks stand for the same binder object (two proxies of one remote object are
// equal).
bool isCallbackEqual(
        const std::shared_ptr<::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack>& a,
        const std::shared_ptr<::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack>& b);

// The process-wide registry of the clients' callbacks: hands out client handles (one client at a
// time, so the handle is 1), watches each client's binder for death and tells the listener, and
// fans detector events and sensor states out to the clients, remembering the last non-idle state of
// every sensor for clients that register later.
//
// Thread-safety: mMutex guards the count and both maps. No client and no listener is called while
// it is held; deliveries work on copies. OnAONEvent never waits for mMutex and drops the event when
// it is busy; everything else waits.
class RemoteCallbackManager final : public IOutEventCallback,
                                    public std::enable_shared_from_this<RemoteCallbackManager> {
  public:
    using IAONServiceCallBack = ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
    using AONCallBackInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
    using AONSensorStateInfo = ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;

    static std::shared_ptr<RemoteCallbackManager> GetSingleton();

    RemoteCallbackManager();
    ~RemoteCallbackManager() override;
    RemoteCallbackManager(const RemoteCallbackManager&) = delete;
    RemoteCallbackManager& operator=(const RemoteCallbackManager&) = delete;

    // Set without mMutex (by the listener while it is being built or torn down), read by the
    // death notification: an atomic pointer. Null clears it.
    void SetListener(IRemoteCallbackManagerListener* listener);

    // 0 with *clientHandle set; -1 for a null callback; -2 when another client is registered, with
    // *clientHandle set to the count.
    int RegisterClient(const std::shared_ptr<IAONServiceCallBack>& callback, long* clientHandle)
            EXCLUDES(mMutex);
    int UnregisterClient(long clientHandle) EXCLUDES(mMutex);
    int UnregisterClientLock(long clientHandle) REQUIRES(mMutex);
    bool CheckClientHandleRegistered(long clientHandle) EXCLUDES(mMutex);
    void Clear() EXCLUDES(mMutex);

    // The death recipient's function; the cookie is the dead client's AIBinder*.
    static void BinderDied(void* cookie);
    void OnRemoteCallbackDied(const AIBinder* binder) EXCLUDES(mMutex);

    void OnAONEvent(AONCallBackInfo& info) override EXCLUDES(mMutex);
    void OnAONSensorEvent(AONSensorStateInfo& info) override EXCLUDES(mMutex);

  private:
    using CallbackMap = std::map<long, std::shared_ptr<IAONServiceCallBack>>;

    std::mutex mMutex;
    int64_t mClientCount GUARDED_BY(mMutex) = 0;
    std::atomic<IRemoteCallbackManagerListener*> mListener{nullptr};
    CallbackMap mCallbacks GUARDED_BY(mMutex);
    ndk::ScopedAIBinder_DeathRecipient mDeathRecipient;
    std::map<int, int> mSensorStates GUARDED_BY(mMutex);
};

}  // namespace tarvo::aon
