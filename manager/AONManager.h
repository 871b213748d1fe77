// The process-wide bridge between the AON service and the vendor's always-on vision stream.
//
// It owns the stream, the one configuration in force and the one manager callback; it discovers
// the sensors the stream can use, starts and stops the stream, and yields sensors to the camera
// stack, which calls the exported NotifyOpen/NotifyClose when a camera device opens or closes.
//
// Thread-safety: mLock guards all manager state and every stream call is made with it held. The
// stream's event thread only tries mLock and drops the event when it is busy. mNotifyLock guards
// only the pending open/close worker and is never taken with mLock held (the other order is
// used: an open waits for the previous worker under mNotifyLock before it takes mLock). Callbacks
// of IAONManagerCallback are always called with no manager lock held.
//
// The virtual functions and their order are part of the library's binary interface (the camera
// stack calls NotifyOpen/NotifyClose through the table); internal calls to the ...Locked
// operations go through the table as well, which is why the class is not final.
#pragma once

#include <android-base/thread_annotations.h>

#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "manager/AonSensorInfo.h"
#include "manager/IAONManagerCallback.h"
#include "manager/IAOVStream.h"
#include "manager/IAOVStreamCallback.h"
#include "manager/SensorConfig.h"
#include "manager/UserParam.h"

namespace tarvo::aon {

class __attribute__((visibility("default"))) AONManager
    : public IAOVStreamCallback,
      public std::enable_shared_from_this<AONManager> {
  public:
    // The process-wide instance, created on first use.
    static std::shared_ptr<AONManager> GetSingleton();

    AONManager();
    ~AONManager() override;
    AONManager(const AONManager&) = delete;
    AONManager& operator=(const AONManager&) = delete;

    // IAOVStreamCallback: forwards one stream event to the manager callback, or drops it.
    void onCallback(aov_event* event) override EXCLUDES(mLock);

    // A logical camera device opened or closed (from the camera stack's thread).
    virtual void NotifyOpen(int instanceId) EXCLUDES(mLock) EXCLUDES(mNotifyLock);
    virtual void NotifyClose(int instanceId) EXCLUDES(mLock) EXCLUDES(mNotifyLock);

    // The one manager callback; a second registration replaces the first.
    int RegisterClient(const std::shared_ptr<IAONManagerCallback>& callback) EXCLUDES(mLock);
    int UnregisterClient() EXCLUDES(mLock);

    // The sensors the stream can run on, discovered once and cached.
    void GetAonSensorInfoList(std::vector<AonSensorInfo>& list) EXCLUDES(mLock);
    void GetAonSensorInfoListLocked(std::vector<AonSensorInfo>& list) REQUIRES(mLock);

    int SubscribeSensor(const SensorConfig& config) EXCLUDES(mLock);
    int UnsubscribeSensor() EXCLUDES(mLock);
    bool CheckServiceTypeSupport(const int& serviceType) EXCLUDES(mLock);
    // Service-type mask of the running stream, 0 when stopped.
    int GetServiceTypeStarted() EXCLUDES(mLock);

    // Starts the stream on the subscribed sensor with `serviceType`, replacing a running one.
    // Returns 0, -19 when an opened camera device holds the sensor, or -22 when the stream
    // cannot be initialised.
    int StartService(int serviceType) EXCLUDES(mLock);
    int StopService() EXCLUDES(mLock);

    // Writes the configuration's fields into the stream parameters; motion-detection mode
    // (any mode but 1) forces 2 fps and keeps the asked rate in requestedFps.
    void TransformSensorConfigInfoToUserParam(SensorConfig& config, user_param& param);

  protected:
    virtual int InitAovStreamLocked() REQUIRES(mLock);
    virtual int StopServiceLocked() REQUIRES(mLock);
    // Returns 0 even when the stream refuses to stop: a failed uninit is never fatal.
    virtual int UninitAovStreamLocked() REQUIRES(mLock);

  private:
    // Physical sensors of a logical camera device, from the HAL logical device list.
    static std::vector<int32_t> LookUpSensorIds(int instanceId);
    // Waits for the previous open/close worker so that notifications keep their call order.
    void TakePendingNotifyResult() REQUIRES(mNotifyLock) EXCLUDES(mLock);
    int RunOpenWorker(int instanceId, int stoppedSensorId) EXCLUDES(mLock);
    int RunCloseWorker(int instanceId) EXCLUDES(mLock);

    IAOVStream* const mAovStream;  // set once, never released
    user_param mUserParam GUARDED_BY(mLock);
    bool mAovStreamInited GUARDED_BY(mLock) = false;
    SensorConfig mSensorConfig GUARDED_BY(mLock);
    int32_t mServiceTypeStarted GUARDED_BY(mLock) = 0;
    std::shared_ptr<IAONManagerCallback> mCallback GUARDED_BY(mLock);
    int32_t mOpenedSensorId GUARDED_BY(mLock) = -1;  // sensor of the running stream, or -1
    // Opened camera device instance id to its physical sensor ids.
    std::unordered_map<int32_t, std::vector<int32_t>> mOpenDeviceMap GUARDED_BY(mLock);
    std::mutex mLock;
    std::mutex mNotifyLock;  // never taken with mLock held
    std::future<int> mNotifyFuture GUARDED_BY(mNotifyLock);  // the last open/close worker
    std::vector<AonSensorInfo> mAonSensorInfoList GUARDED_BY(mLock);  // empty until discovered
};

}  // namespace tarvo::aon
