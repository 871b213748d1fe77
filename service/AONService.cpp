#include "service/AONService.h"

#include <android/binder_status.h>

#include <algorithm>
#include <utility>

#include "common/AonLog.h"
#include "manager/AonSensorInfo.h"
#include "manager/SensorConfig.h"

namespace tarvo::aon {

namespace {

constexpr char kLogClass[] = "AONService";

constexpr int32_t kErrorFailed = 1;            // any failure
constexpr int32_t kErrorTypeNotAllowed = 2;    // a service type outside what the client may use
constexpr int kRegistryHasOtherClient = -2;    // RemoteCallbackManager::RegisterClient
constexpr int32_t kNoSensor = -1;              // merged sensorId when nothing is subscribed
constexpr int32_t kDeliveryModeTimeBased = 1;  // neutral element of the delivery-mode merge
constexpr int32_t kDeliveryModeConflict = -1;

ndk::ScopedAStatus Error(int32_t code, const char* message) {
    return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(code, message);
}

bool IsSubset(int32_t mask, int32_t of) {
    return (of | mask) == of;
}

// Combines two delivery modes: equal modes stay, TIME_BASED yields to the other, two different
// other modes conflict, and a conflict stays one.
int32_t MergeDeliveryMode(int32_t current, int32_t next) {
    if (current == next) return current;
    if (current == kDeliveryModeTimeBased) return next;
    if (next == kDeliveryModeTimeBased) return current;
    return kDeliveryModeConflict;
}

}  // namespace

class SCOPED_CAPABILITY AONService::CallLock final {
  public:
    CallLock(std::mutex& lock, std::atomic<std::thread::id>& holder) ACQUIRE(lock)
        : mLock(lock), mHolder(holder) {
        mLock.lock();
        mHolder.store(std::this_thread::get_id());
    }
    ~CallLock() RELEASE() {
        mHolder.store(std::thread::id());
        mLock.unlock();
    }
    CallLock(const CallLock&) = delete;
    CallLock& operator=(const CallLock&) = delete;

  private:
    std::mutex& mLock;
    std::atomic<std::thread::id>& mHolder;
};

// mLockHolder names the thread inside a CallLock; only that thread stores its own id there, so
// another thread never finds its own id in it.
bool AONService::IsNestedCall() const {
    return mLockHolder.load() == std::this_thread::get_id();
}

// Locking mLock again would stop the service for good: the outer call waits for the client, the
// client waits for this call. The client learns why and the outer call finishes normally.
ndk::ScopedAStatus AONService::RefuseNestedCall(const char* method) const {
    AON_LOGE(
            "nested call %s refused: a client called the service from inside a callback the "
            "service is making to it",
            method);
    return Error(kErrorFailed,
                 "nested call refused: do not call IAONService from inside its callbacks");
}

AONService::AONService() {
    AON_LOGI("Create AON Service");
    mRemoteCallBackManager = RemoteCallbackManager::GetSingleton();
    if (mRemoteCallBackManager == nullptr) {
        AON_LOGE("Can not get RemoteCallBackManager");
        return;
    }
    mRemoteCallBackManager->SetListener(this);

    mAonManager = AONManager::GetSingleton();
    if (mAonManager == nullptr) {
        AON_LOGE("Can not get AONManager");
        return;
    }
    // Translated events go straight to the registry, which fans them out to the clients.
    mAonManagerCallback = AONManagerCallback::create(mRemoteCallBackManager);
    mAonManager->RegisterClient(mAonManagerCallback);
}

AONService::~AONService() {
    AON_LOGI("AON service destroy");
    if (mRemoteCallBackManager != nullptr) {
        mRemoteCallBackManager->SetListener(nullptr);
        mRemoteCallBackManager->Clear();
        mRemoteCallBackManager.reset();
    }
    if (mAonManager != nullptr) {
        mAonManager->UnregisterClient();
        mAonManager.reset();
    }
    mAonManagerCallback.reset();
}

// The registry calls the new client (hash, version, remembered sensor states) and a replacement
// stops the stream, which notifies clients, all with mLock held: a registration is one step for
// every other request. The registry releases its own lock before it calls a client.
ndk::ScopedAStatus AONService::registerClient(const std::shared_ptr<IAONServiceCallBack>& in_callback,
                                              int32_t in_serviceType, int64_t* _aidl_return) {
    if (IsNestedCall()) return RefuseNestedCall("registerClient");
    CallLock lock(mLock, mLockHolder);
    if (in_callback == nullptr) {
        AON_LOGE("callback is null");
        return ndk::ScopedAStatus::fromExceptionCode(EX_ILLEGAL_ARGUMENT);
    }
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return Error(kErrorFailed, "aon manager is null");
    }
    if (!mAonManager->CheckServiceTypeSupport(in_serviceType)) {
        AON_LOGE("service type is not support:%x", in_serviceType);
        return Error(kErrorTypeNotAllowed, "some type not support");
    }
    if (mRemoteCallBackManager == nullptr) {
        AON_LOGE("RemoteCallBackManager is null");
        return Error(kErrorFailed, "RemoteCallBackManager is null");
    }

    WithdrawForgottenClientsLocked();
    long handle = 0;
    int result = mRemoteCallBackManager->RegisterClient(in_callback, &handle);
    if (result == kRegistryHasOtherClient) {
        // The newest client replaces the old one, whose handle the registry has put in `handle`.
        AON_LOGW("service has other callback");
        AON_LOGW("so do stop service and remove old callback");
        // The union of every client's started types is stopped, not only the old client's.
        ndk::ScopedAStatus stopStatus = StopServiceLocked(handle, ComputeStartServiceType());
        if (stopStatus.get() == nullptr || !stopStatus.isOk()) {
            AON_LOGE("StopService failed:%d",
                     stopStatus.get() == nullptr ? 0 : stopStatus.getServiceSpecificError());
        }
        ndk::ScopedAStatus unsubscribeStatus = UnsubscribeSensorLocked(handle);
        // This line is written when the withdrawal succeeded, not when it failed; the service's
        // log has always read so and is kept.
        if (unsubscribeStatus.get() != nullptr && unsubscribeStatus.isOk()) {
            AON_LOGE("UnsubscribeSensor failed:%d", unsubscribeStatus.getServiceSpecificError());
        }
        mRemoteCallBackManager->Clear();
        result = mRemoteCallBackManager->RegisterClient(in_callback, &handle);
    }

    if (handle != 0 && result == 0) {
        mClientRegisterServiceType[handle] = in_serviceType;
        mClientCallback[handle] = in_callback;
        *_aidl_return = handle;
        AON_LOGI("register callback success-> client:%lld, type:%d", static_cast<long long>(handle),
                 in_serviceType);
        return ndk::ScopedAStatus::ok();
    }
    AON_LOGE("register callback failed：%d", result);
    return Error(kErrorFailed, "register callback failed");
}

ndk::ScopedAStatus AONService::unregisterClient(int64_t in_clientHandle) {
    if (IsNestedCall()) return RefuseNestedCall("unregisterClient");
    CallLock lock(mLock, mLockHolder);
    auto started = mClientStartServiceType.find(in_clientHandle);
    if (started != mClientStartServiceType.end() && started->second != 0) {
        AON_LOGE("not stop all service type, unregisterClient failed");
        return Error(kErrorFailed, "not stop all service type, unregisterClient failed");
    }
    if (mClientSensorConfig.count(in_clientHandle) != 0) {
        AON_LOGE("not unsubscribe all service type, unregisterClient failed");
        return Error(kErrorFailed, "not unsubscribe all service type, unregisterClient failed");
    }
    if (mRemoteCallBackManager == nullptr) {
        mClientRegisterServiceType.erase(in_clientHandle);
        mClientCallback.erase(in_clientHandle);
        AON_LOGW("mRemoteCallBackManager is null");
        return ndk::ScopedAStatus::ok();
    }
    if (!mRemoteCallBackManager->CheckClientHandleRegistered(in_clientHandle)) {
        AON_LOGE("in_clientHandle not register");
        return Error(kErrorFailed, "in_clientHandle not register");
    }
    int result = mRemoteCallBackManager->UnregisterClient(in_clientHandle);
    if (result != 0) {
        AON_LOGE("aon manager unregisterClient failed:%d", result);
    }
    mClientRegisterServiceType.erase(in_clientHandle);
    mClientCallback.erase(in_clientHandle);
    return ndk::ScopedAStatus::ok();
}

void AONService::OnRemoteCallbackDied(long clientHandle,
                                      const std::shared_ptr<IAONServiceCallBack>& callback) {
    CallLock lock(mLock, mLockHolder);
    const auto registered = mClientCallback.find(clientHandle);
    if (registered == mClientCallback.end() || !isCallbackEqual(registered->second, callback)) {
        // A new client registered between the registry forgetting this one and this notification;
        // its registration withdrew what this one left, and the handle is now the new client's.
        AON_LOGW("OnRemoteCallbackDied:%lld, already withdrawn when the next client registered",
                 static_cast<long long>(clientHandle));
        return;
    }
    WithdrawDeadClientLocked(clientHandle);
}

void AONService::WithdrawDeadClientLocked(int64_t clientHandle) {
    auto started = mClientStartServiceType.find(clientHandle);
    int32_t startType = started == mClientStartServiceType.end() ? 0 : started->second;
    AON_LOGI("OnRemoteCallbackDied:%lld, startType:%d", static_cast<long long>(clientHandle),
             startType);
    StopServiceLocked(clientHandle, startType);
    UnsubscribeSensorLocked(clientHandle);
    mClientRegisterServiceType.erase(clientHandle);
    mClientCallback.erase(clientHandle);
}

// The registry forgets a dead client and releases its own lock before it tells the service, so a
// registration can come first and would be issued the dead client's handle. The registry leaves a
// client only through unregisterClient (which forgets the callback here too), a replacement (which
// registers the new callback under the handle) or a death: a callback held here for a handle the
// registry no longer has is a death not yet told.
void AONService::WithdrawForgottenClientsLocked() {
    for (auto it = mClientCallback.begin(); it != mClientCallback.end();) {
        const int64_t handle = (it++)->first;  // the withdrawal erases the entry
        if (mRemoteCallBackManager->CheckClientHandleRegistered(handle)) continue;
        AON_LOGW("client:%lld died and is not withdrawn yet, withdraw it before registering",
                 static_cast<long long>(handle));
        WithdrawDeadClientLocked(handle);
    }
}

ndk::ScopedAStatus AONService::getAonSensorInfoList(std::vector<AONSensorInfo>* _aidl_return) {
    if (IsNestedCall()) return RefuseNestedCall("getAonSensorInfoList");
    CallLock lock(mLock, mLockHolder);
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return ndk::ScopedAStatus::fromServiceSpecificError(kErrorFailed);
    }
    std::vector<AonSensorInfo> sensors;
    mAonManager->GetAonSensorInfoList(sensors);
    for (const AonSensorInfo& sensor : sensors) {
        AONSensorInfo info;
        info.sensorId = sensor.sensorId;
        info.sensorParam1 = sensor.reserved;
        info.sensorParam2 = sensor.sensorAttribute;
        info.supportServiceType = sensor.supportServiceTypes;
        for (const SizeAndSupportRates& size : sensor.sizes) {
            ::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo frame;
            frame.width = size.width;
            frame.height = size.height;
            frame.fpsList = size.rates;
            info.frameInfos.push_back(std::move(frame));
        }
        _aidl_return->push_back(std::move(info));
    }
    AON_LOGI("get aon sensor list success-> size:%d", static_cast<int>(_aidl_return->size()));
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus AONService::subscribeSensor(int64_t in_clientHandle,
                                               const SensorConfigInfo& in_config) {
    if (IsNestedCall()) return RefuseNestedCall("subscribeSensor");
    CallLock lock(mLock, mLockHolder);
    if (mRemoteCallBackManager != nullptr &&
        !mRemoteCallBackManager->CheckClientHandleRegistered(in_clientHandle)) {
        AON_LOGE("in_clientHandle not register");
        return Error(kErrorFailed, "clientHandle not register");
    }
    return SubscribeSensorLocked(in_clientHandle, in_config);
}

ndk::ScopedAStatus AONService::SubscribeSensorLocked(int64_t clientHandle,
                                                     const SensorConfigInfo& config) {
    if (!CheckSubscribeServiceType(clientHandle, config.serviceType)) {
        AON_LOGE("subscribe service type is subset of register service type");
        return Error(kErrorTypeNotAllowed, "service type need subset of register");
    }
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return Error(kErrorFailed, "aon manager is null");
    }
    if (!CheckConfigSupportLocked(clientHandle, config)) {
        AON_LOGE("config not support");
        return Error(kErrorFailed, "config not support");
    }

    if (mAonManager->GetServiceTypeStarted() != 0) {
        // The running stream already covers an admitted configuration: only the table changes.
        if (!CheckCanAddSensorConfigLocked(clientHandle, config, true)) {
            AON_LOGE("can not support this config when sensor running");
            return Error(kErrorFailed, "can support this config when sensor running");
        }
        mClientSensorConfig[clientHandle] = config;
        AON_LOGI("subscribe success-> c:%d, id:%d, t:%d, w:%d, h:%d, f:%d",
                 static_cast<int>(clientHandle), config.sensorId, config.serviceType,
                 config.frameWidth, config.frameHeight, config.fps);
        return ndk::ScopedAStatus::ok();
    }

    if (!CheckCanAddSensorConfigLocked(clientHandle, config, false)) {
        AON_LOGE("can not support this config when other process use");
        return Error(kErrorFailed, "can support this config when other process use");
    }
    mClientSensorConfig[clientHandle] = config;
    SensorConfigInfo merged = ComputeSensorConfigLocked();
    SensorConfig managerConfig{merged.sensorId,    merged.frameWidth,  merged.frameHeight,
                               merged.fps,         merged.serviceType, merged.deliveryMode};
    int result = mAonManager->SubscribeSensor(managerConfig);
    if (result != 0) {
        AON_LOGE("aon manager SubscribeSensor failed:%d", result);
        mClientSensorConfig.erase(clientHandle);
        return Error(kErrorFailed, "aon manager SubscribeSensor failed");
    }
    AON_LOGI("subscribe success-> c:%d, id:%d, t:%d, w:%d, h:%d, f:%d",
             static_cast<int>(clientHandle), merged.sensorId, merged.serviceType,
             merged.frameWidth, merged.frameHeight, merged.fps);
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus AONService::unsubscribeSensor(int64_t in_clientHandle) {
    if (IsNestedCall()) return RefuseNestedCall("unsubscribeSensor");
    CallLock lock(mLock, mLockHolder);
    if (mRemoteCallBackManager != nullptr &&
        !mRemoteCallBackManager->CheckClientHandleRegistered(in_clientHandle)) {
        AON_LOGE("in_clientHandle not register");
        return Error(kErrorFailed, "in_clientHandle not register");
    }
    return UnsubscribeSensorLocked(in_clientHandle);
}

ndk::ScopedAStatus AONService::UnsubscribeSensorLocked(int64_t clientHandle) {
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return Error(kErrorFailed, "aon manager is null");
    }
    auto started = mClientStartServiceType.find(clientHandle);
    if (started != mClientStartServiceType.end() && started->second != 0) {
        AON_LOGW("unsubscribe after stop all service type");
        StopServiceLocked(clientHandle, started->second);
    }
    mClientSensorConfig.erase(clientHandle);

    SensorConfigInfo merged = ComputeSensorConfigLocked();
    if (merged.sensorId != kNoSensor) {
        // Others still hold configurations: the manager keeps the subscription it has.
        AON_LOGI("other process use sensor id:%d type:%d use, not actual unsubscribe sensor",
                 merged.sensorId, merged.serviceType);
        return ndk::ScopedAStatus::ok();
    }
    int result = mAonManager->UnsubscribeSensor();
    if (result != 0) {
        AON_LOGE("aon manager UnsubscribeSensor failed:%d", result);
    }
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus AONService::startService(int64_t in_clientHandle, int32_t in_serviceType) {
    if (IsNestedCall()) return RefuseNestedCall("startService");
    CallLock lock(mLock, mLockHolder);
    if (mRemoteCallBackManager != nullptr &&
        !mRemoteCallBackManager->CheckClientHandleRegistered(in_clientHandle)) {
        AON_LOGE("in_clientHandle not register");
        return Error(kErrorFailed, "in_clientHandle not register");
    }
    return StartServiceLocked(in_clientHandle, in_serviceType);
}

ndk::ScopedAStatus AONService::stopService(int64_t in_clientHandle, int32_t in_serviceType) {
    if (IsNestedCall()) return RefuseNestedCall("stopService");
    CallLock lock(mLock, mLockHolder);
    if (mRemoteCallBackManager != nullptr &&
        !mRemoteCallBackManager->CheckClientHandleRegistered(in_clientHandle)) {
        AON_LOGE("in_clientHandle not register");
        return Error(kErrorFailed, "in_clientHandle not register");
    }
    return StopServiceLocked(in_clientHandle, in_serviceType);
}

ndk::ScopedAStatus AONService::StartServiceLocked(int64_t clientHandle, int32_t serviceType) {
    if (!CheckStartServiceType(clientHandle, serviceType)) {
        AON_LOGE("start service type is subset of subscribe service type");
        return Error(kErrorTypeNotAllowed, "start service type is subset of subscribe service type");
    }
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return Error(kErrorFailed, "aon manager is null");
    }
    int32_t started = mAonManager->GetServiceTypeStarted();
    if (started != 0) {
        // A running stream is joined only with types it already runs.
        if (!IsSubset(serviceType, started)) {
            AON_LOGE("sensor hub is running, please do start on other process stop");
            return Error(kErrorFailed,
                         "sensor hub is running, please do start on other process stop");
        }
        mClientStartServiceType[clientHandle] = serviceType;
    } else {
        mClientStartServiceType[clientHandle] = serviceType;
        int result = mAonManager->StartService(ComputeStartServiceType());
        if (result != 0) {
            mClientStartServiceType.erase(clientHandle);
            AON_LOGE("aon manager StartService failed:%d", result);
            return Error(kErrorFailed, "aon manager StartService failed");
        }
    }
    AON_LOGI("start success-> c:%d, t:%d", static_cast<int>(clientHandle), serviceType);
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus AONService::StopServiceLocked(int64_t clientHandle, int32_t serviceType) {
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return ndk::ScopedAStatus::fromServiceSpecificError(kErrorFailed);
    }
    if (serviceType == 0) {
        AON_LOGW("stop service type 0 for client:%lld", static_cast<long long>(clientHandle));
        return ndk::ScopedAStatus::ok();
    }
    int32_t current = 0;
    auto entry = mClientStartServiceType.find(clientHandle);
    if (entry == mClientStartServiceType.end()) {
        AON_LOGW("client:%lld not start service", static_cast<long long>(clientHandle));
    } else {
        current = entry->second;
    }
    if (!IsSubset(serviceType, current)) {
        // The number after "client:" is the client's started mask; the line has always shown it.
        AON_LOGW("stop service type:%d more than start service type for client:%lld", serviceType,
                 static_cast<long long>(current));
    }
    int32_t actual = current & serviceType;
    int32_t left = current & ~serviceType;
    mClientStartServiceType[clientHandle] = left;
    int32_t finalType = ComputeStartServiceType();
    AON_LOGI("stop service actual type:%d, left:%d for client:%lld", actual, left,
             static_cast<long long>(clientHandle));

    if (finalType != 0 && finalType == mAonManager->GetServiceTypeStarted()) {
        AON_LOGI("stop service: same do nothing");
        return ndk::ScopedAStatus::ok();
    }
    int result = mAonManager->StopService();
    if (result != 0) {
        AON_LOGE("aon manager StopService failed:%d", result);
    }
    if (finalType == 0) {
        return ndk::ScopedAStatus::ok();
    }
    // Restarted without releasing mLock, so no request sees the stream between stop and start.
    // With the stream idle, the start records `left` and runs the union of all entries.
    AON_LOGI("finalStartServiceType:%d not 0 restart", finalType);
    StartServiceLocked(clientHandle, left);
    return ndk::ScopedAStatus::ok();
}

bool AONService::CheckSubscribeServiceType(int64_t clientHandle, int32_t serviceType) {
    auto registered = mClientRegisterServiceType.find(clientHandle);
    if (registered == mClientRegisterServiceType.end()) {
        AON_LOGE("not register this clientHandle:%lld", static_cast<long long>(clientHandle));
        return false;
    }
    return IsSubset(serviceType, registered->second);
}

bool AONService::CheckConfigSupportLocked(int64_t /*clientHandle*/,
                                          const SensorConfigInfo& config) {
    if (mAonManager == nullptr) {
        AON_LOGE("aon manager is null");
        return false;
    }
    std::vector<AonSensorInfo> sensors;
    mAonManager->GetAonSensorInfoList(sensors);
    bool supported = false;
    for (const AonSensorInfo& sensor : sensors) {
        if (sensor.sensorId != config.sensorId ||
            !IsSubset(config.serviceType, sensor.supportServiceTypes)) {
            continue;
        }
        for (const SizeAndSupportRates& size : sensor.sizes) {
            if (size.width != config.frameWidth || size.height != config.frameHeight) continue;
            for (int32_t rate : size.rates) {
                if (rate == config.fps) supported = true;
            }
        }
    }
    return supported;
}

bool AONService::CheckCanAddSensorConfigLocked(int64_t /*clientHandle*/,
                                               const SensorConfigInfo& config,
                                               bool sensorRunning) {
    // The merge includes the caller's own earlier subscription, if any.
    SensorConfigInfo merged = ComputeSensorConfigLocked();
    if (merged.sensorId == kNoSensor) return true;
    if (merged.sensorId != config.sensorId) {
        AON_LOGE("exist use sensor id:%d, new config:%d, not support", merged.sensorId,
                 config.sensorId);
        return false;
    }
    // While idle only the sensor must agree; the rest is merged at subscription.
    if (!sensorRunning) return true;

    if (merged.fps < config.fps) {
        AON_LOGE("exist use fps:%d, new config:%d, not support", merged.fps, config.fps);
        return false;
    }
    if (merged.frameWidth < config.frameWidth) {
        AON_LOGE("exist use frameWidth:%d, new config:%d, not support", merged.frameWidth,
                 config.frameWidth);
        return false;
    }
    if (merged.frameHeight < config.frameHeight) {
        AON_LOGE("exist use frameHeight:%d, new config:%d, not support", merged.frameHeight,
                 config.frameHeight);
        return false;
    }
    if (!IsSubset(config.serviceType, merged.serviceType)) {
        AON_LOGE("exist use serviceType:%d, new config:%d, not support", merged.serviceType,
                 config.serviceType);
        return false;
    }
    bool compatible = merged.deliveryMode == config.deliveryMode ||
                      merged.deliveryMode == kDeliveryModeTimeBased ||
                      config.deliveryMode == kDeliveryModeTimeBased;
    int32_t combined = merged.deliveryMode == kDeliveryModeTimeBased ? config.deliveryMode
                                                                     : merged.deliveryMode;
    if (!compatible || combined == kDeliveryModeConflict) {
        AON_LOGE("exist use deliveryMode:%d, new config:%d, not support", merged.deliveryMode,
                 config.deliveryMode);
        return false;
    }
    return true;
}

AONService::SensorConfigInfo AONService::ComputeSensorConfigLocked() {
    SensorConfigInfo merged;
    merged.sensorId = kNoSensor;
    if (mClientSensorConfig.empty()) return merged;

    merged.deliveryMode = kDeliveryModeTimeBased;
    for (const auto& entry : mClientSensorConfig) {
        const SensorConfigInfo& config = entry.second;
        if (merged.sensorId == kNoSensor) merged.sensorId = config.sensorId;
        merged.frameWidth = std::max(merged.frameWidth, config.frameWidth);
        merged.frameHeight = std::max(merged.frameHeight, config.frameHeight);
        merged.fps = std::max(merged.fps, config.fps);
        merged.serviceType |= config.serviceType;
        merged.deliveryMode = MergeDeliveryMode(merged.deliveryMode, config.deliveryMode);
    }
    if (merged.deliveryMode == kDeliveryModeConflict) {
        AON_LOGW("computed deliveryMode is -1, some config not right, force set to TIME_BASED");
        merged.deliveryMode = kDeliveryModeTimeBased;
    }
    return merged;
}

bool AONService::CheckStartServiceType(int64_t clientHandle, int32_t serviceType) {
    auto subscribed = mClientSensorConfig.find(clientHandle);
    if (subscribed == mClientSensorConfig.end()) {
        AON_LOGE("not subscribe this clientHandle:%lld", static_cast<long long>(clientHandle));
        return false;
    }
    return IsSubset(serviceType, subscribed->second.serviceType);
}

int32_t AONService::ComputeStartServiceType() {
    int32_t types = 0;
    for (const auto& entry : mClientStartServiceType) types |= entry.second;
    return types;
}

}  // namespace tarvo::aon
