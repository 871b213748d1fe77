// Test access to AONService's per-handle tables. The registry admits one client and issues handle
// 1 to it, so a second handle never reaches the binder methods; the peer gives that handle what
// registerClient would record for it and drives the operations that follow the registry check,
// under the service's lock, as the binder methods do.
#pragma once

#include <cstdint>
#include <mutex>

#include "service/AONService.h"

namespace tarvo::aon {

class AONServiceTestPeer final {
  public:
    using SensorConfigInfo = AONService::SensorConfigInfo;

    explicit AONServiceTestPeer(AONService& service) : mService(service) {}

    void RegisterHandle(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        mService.mClientRegisterServiceType[handle] = serviceType;
    }
    ndk::ScopedAStatus Subscribe(int64_t handle, const SensorConfigInfo& config) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.SubscribeSensorLocked(handle, config);
    }
    ndk::ScopedAStatus Start(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.StartServiceLocked(handle, serviceType);
    }
    ndk::ScopedAStatus Stop(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.StopServiceLocked(handle, serviceType);
    }

  private:
    AONService& mService;
};

}  // namespace tarvo::aon
