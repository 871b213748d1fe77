#include "manager/AONManager.h"

#include <cutils/properties.h>
#include <sys/prctl.h>

#include <algorithm>
#include <cerrno>

#include "common/AonLog.h"
#include "manager/ModuleHelper.h"
#include "manager/SensorIds.h"

namespace tarvo::aon {
namespace {

constexpr char kLogClass[] = "AONManager";

constexpr char kWorkerThreadName[] = "AONManager";
constexpr int32_t kNoSensor = -1;
constexpr int32_t kAllServiceTypes = 0x3F;
constexpr int32_t kNormalMode = 1;
constexpr int32_t kMotionDetectionFps = 2;

constexpr char kDebugModeProperty[] = "vendor.debug.camera.utils.AovDebugMode";
constexpr char kMainBitDepthProperty[] = "vendor.debug.camera.utils.AovBitDepth.Main";
constexpr char kSubBitDepthProperty[] = "vendor.debug.camera.utils.AovBitDepth.Sub";
constexpr int32_t kDefaultBitDepth = 8;

constexpr uint32_t kFormat8Bit = 0x1000;
constexpr uint32_t kFormat10Bit = 0x2019;
constexpr uint32_t kFormat12Bit = 0x201E;

// Image format the stream expects for a bit depth; an unknown depth falls back to 8 bits.
uint32_t FormatOfBitDepth(int32_t depth) {
    switch (depth) {
        case 8:
            return kFormat8Bit;
        case 10:
            return kFormat10Bit;
        case 12:
            return kFormat12Bit;
        default:
            AON_LOGW("unknown depth=%x", depth);
            return kFormat8Bit;
    }
}

void NameWorkerThread() {
    prctl(PR_SET_NAME, kWorkerThreadName, 0, 0, 0);
}

}  // namespace

std::shared_ptr<AONManager> AONManager::GetSingleton() {
    static std::shared_ptr<AONManager> sInstance = std::make_shared<AONManager>();
    if (sInstance == nullptr) {
        sInstance = std::make_shared<AONManager>();
    }
    return sInstance;
}

AONManager::AONManager() : mAovStream(IAOVStream::createInstance()), mUserParam{} {
    mOpenDeviceMap.max_load_factor(1.0f);
    AON_LOGI("aon manager create");
}

AONManager::~AONManager() {
    AON_LOGI("aon manager destroy");
    // The last worker is waited for without mLock: a worker takes mLock itself, so a destructor
    // that held it while waiting would wait for ever on a worker that had not got it yet.
    std::lock_guard<std::mutex> guard(mNotifyLock);
    if (mNotifyFuture.valid()) {
        const int result = mNotifyFuture.get();
        if (result != 0) {
            AON_LOGW("Notify open and close failed:%d", result);
        }
    }
}

int AONManager::RegisterClient(const std::shared_ptr<IAONManagerCallback>& callback) {
    if (callback == nullptr) {
        AON_LOGW("register callback is null");
        return -EINVAL;
    }
    std::lock_guard<std::mutex> guard(mLock);
    mCallback = callback;
    AON_LOGI("register callback success");
    return 0;
}

int AONManager::UnregisterClient() {
    std::lock_guard<std::mutex> guard(mLock);
    mCallback.reset();
    AON_LOGI("unregister callback success");
    return 0;
}

void AONManager::onCallback(aov_event* event) {
    // The stream's event thread must never wait: an event that meets a busy lock is lost.
    if (!mLock.try_lock()) {
        AON_LOGW("onCallback can not get lock");
        return;
    }
    std::shared_ptr<IAONManagerCallback> callback;
    {
        std::lock_guard<std::mutex> guard(mLock, std::adopt_lock);
        callback = mCallback;
    }
    if (callback != nullptr) {
        callback->onCallback(event);
    }
}

void AONManager::GetAonSensorInfoList(std::vector<AonSensorInfo>& list) {
    std::lock_guard<std::mutex> guard(mLock);
    GetAonSensorInfoListLocked(list);
}

void AONManager::GetAonSensorInfoListLocked(std::vector<AonSensorInfo>& list) {
    if (!mAonSensorInfoList.empty()) {
        if (&list != &mAonSensorInfoList) list = mAonSensorInfoList;
        return;
    }
    AON_LOGI("Init Aon Sensor Info");
    if (mAovStream == nullptr) {
        AON_LOGE("aov stream is null");
        return;
    }
    const std::vector<int32_t> sensorIds = mAovStream->getSensorList();
    mAonSensorInfoList.resize(sensorIds.size());
    for (size_t i = 0; i < sensorIds.size(); ++i) {
        const int32_t sensorId = sensorIds[i];
        const std::vector<sensor_info> infos = mAovStream->getSensorInfo(sensorId);
        AON_LOGI("sensorId:%lld, sensor info size:%lld", static_cast<long long>(sensorId),
                 static_cast<long long>(infos.size()));

        AonSensorInfo info;
        info.sensorId = sensorId;
        info.reserved = 0;
        info.sensorAttribute = infos.empty() ? 0 : infos.front().attribute;
        info.sizes.resize(infos.size());
        for (size_t j = 0; j < infos.size(); ++j) {
            info.sizes[j] = {infos[j].width, infos[j].height, infos[j].rates};
            info.sensorAttribute = infos[j].attribute;
        }

        // The vendor's mode mask is reported only; every sensor offers all service types.
        uint32_t mode = 0;
        const int32_t status = mAovStream->getSensorMode(sensorId, &mode);
        if (status != 0) {
            AON_LOGE("fail to getSensorMode, status=%d, sensorId=%lld, mode=0x%llx", status,
                     static_cast<long long>(sensorId), static_cast<unsigned long long>(mode));
        }
        info.supportServiceTypes = kAllServiceTypes;
        AON_LOGI("sensorId=%lld, support mode=0x%llx", static_cast<long long>(sensorId),
                 static_cast<unsigned long long>(mode));
        mAonSensorInfoList[i] = std::move(info);
    }
    if (&list != &mAonSensorInfoList) list = mAonSensorInfoList;
}

int AONManager::SubscribeSensor(const SensorConfig& config) {
    std::lock_guard<std::mutex> guard(mLock);
    mSensorConfig = config;
    AON_LOGI("subscribe sensor success");
    return 0;
}

int AONManager::UnsubscribeSensor() {
    std::lock_guard<std::mutex> guard(mLock);
    mSensorConfig = SensorConfig{};
    return 0;
}

bool AONManager::CheckServiceTypeSupport(const int& /*serviceType*/) {
    return true;
}

int AONManager::GetServiceTypeStarted() {
    std::lock_guard<std::mutex> guard(mLock);
    return mServiceTypeStarted;
}

int AONManager::StartService(int serviceType) {
    int32_t sensorId = kNoSensor;
    std::shared_ptr<IAONManagerCallback> callback;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mOpenedSensorId != kNoSensor) {
            // Despite the wording the request is not refused: the running stream is replaced.
            AON_LOGW("AovStream is running with sensorId %d, please stop() the previous stream "
                     "before start() a new one.",
                     mOpenedSensorId);
            StopServiceLocked();
        }

        sensorId = mSensorConfig.sensorId;
        for (const auto& [instanceId, deviceSensorIds] : mOpenDeviceMap) {
            if (std::find(deviceSensorIds.begin(), deviceSensorIds.end(), sensorId) ==
                deviceSensorIds.end()) {
                continue;
            }
            if (instanceId != -1) {
                AON_LOGI("sensor %d is in used, CameraDevice %d with %s is opened.", sensorId,
                         instanceId, toString(deviceSensorIds).c_str());
                return -ENODEV;
            }
            break;
        }

        mServiceTypeStarted = serviceType;
        mSensorConfig.serviceType = serviceType;
        mOpenedSensorId = sensorId;
        TransformSensorConfigInfoToUserParam(mSensorConfig, mUserParam);
        mUserParam.debugMode = property_get_int32(kDebugModeProperty, 0) >= 1 ? 1 : 0;
        mUserParam.callback = shared_from_this();
        AON_LOGI("debug_mode=%u, AovStreamCallback=%p", mUserParam.debugMode,
                 static_cast<void*>(mUserParam.callback.get()));
        mUserParam.mainFormat =
                FormatOfBitDepth(property_get_int32(kMainBitDepthProperty, kDefaultBitDepth));
        mUserParam.subFormat =
                FormatOfBitDepth(property_get_int32(kSubBitDepthProperty, kDefaultBitDepth));
        AON_LOGI("start sensor->id:%d, t:%d, w:%d, h:%d, f:%d", mUserParam.sensorId,
                 mUserParam.serviceType, mUserParam.width, mUserParam.height, mUserParam.fps);

        const int result = InitAovStreamLocked();
        if (result != 0) {
            AON_LOGE("Failed to initialize AovStream.");
            mOpenedSensorId = kNoSensor;
            mUserParam = user_param{};
            mServiceTypeStarted = 0;
            return result;
        }
        AON_LOGI("start sensor success:%d", serviceType);
        callback = mCallback;
    }
    if (callback != nullptr) {
        callback->OnServiceStart(sensorId);
    }
    return 0;
}

int AONManager::StopService() {
    int32_t previous = kNoSensor;
    int result = 0;
    std::shared_ptr<IAONManagerCallback> callback;
    {
        std::lock_guard<std::mutex> guard(mLock);
        previous = mOpenedSensorId;
        result = StopServiceLocked();
        callback = mCallback;
    }
    if (callback != nullptr && previous != kNoSensor) {
        callback->OnServiceStop(previous);
    }
    return result;
}

int AONManager::StopServiceLocked() {
    if (mOpenedSensorId == kNoSensor) {
        AON_LOGW("AovStream is not started.");
        return 0;
    }
    if (UninitAovStreamLocked() != 0) {
        AON_LOGW("Failed to uninitialize AovStream.");
    }
    mServiceTypeStarted = 0;
    mOpenedSensorId = kNoSensor;
    // Drops the stream's strong reference to the manager.
    mUserParam = user_param{};
    AON_LOGI("stop sensor success");
    return 0;
}

void AONManager::TransformSensorConfigInfoToUserParam(SensorConfig& config, user_param& param) {
    param.sensorId = config.sensorId;
    param.width = config.width;
    param.height = config.height;
    param.fps = config.fps;
    param.requestedFps = 0;
    param.serviceType = config.serviceType;
    if (config.mode != kNormalMode) {
        AON_LOGI("open md mode, change %d fps to 2 ", config.fps);
        param.requestedFps = config.fps;
        param.fps = kMotionDetectionFps;
    }
}

int AONManager::InitAovStreamLocked() {
    if (mAovStreamInited) {
        AON_LOGW("AovStream is initialized");
        return 0;
    }
    if (mAovStream == nullptr) {
        AON_LOGE("Cannot get AovStream");
        return -EINVAL;
    }
    if (mAovStream->init(&mUserParam) == 0) {
        AON_LOGE("Failed to initialize AovStream.");
        return -EINVAL;
    }
    mAovStreamInited = true;
    return 0;
}

int AONManager::UninitAovStreamLocked() {
    if (!mAovStreamInited) {
        AON_LOGW("AovStream is uninitialized");
    } else if (mAovStream == nullptr) {
        AON_LOGE("Cannot get AovStream");
    } else if (mAovStream->uninit() == 0) {
        AON_LOGE("Failed to uninitialize AovStream.");
    } else {
        mAovStreamInited = false;
    }
    return 0;
}

void AONManager::NotifyOpen(int instanceId) {
    AON_LOGI("NotifyOpen:%d", instanceId);
    if (mAovStream == nullptr) {
        AON_LOGI("mAovStream is null, return");
        return;
    }
    // The previous worker finishes before the open touches the map and the vendor: a close
    // leaves both to its worker, so an open that went first would keep the closing device's
    // entry, tell the vendor "opened" before the worker tells it "closed", and then lose the
    // entry to that worker. mNotifyLock stays held until this open's worker is started, so no
    // other notification slips in between.
    std::lock_guard<std::mutex> notifyGuard(mNotifyLock);
    TakePendingNotifyResult();
    int32_t stopped = kNoSensor;
    {
        std::lock_guard<std::mutex> guard(mLock);
        const std::vector<int32_t> sensorIds = LookUpSensorIds(instanceId);
        // A device already recorded keeps its first sensor list.
        const auto entry = mOpenDeviceMap.emplace(instanceId, sensorIds).first;
        AON_LOGI("mOpenDeviceMap add instanceId=%d %s", instanceId,
                 toString(entry->second).c_str());

        if (mAovStream != nullptr) {
            const int32_t success = mAovStream->notifySensorState(sensorIds, 1);
            if (success == 0) {
                AON_LOGE("Fail to notify AovStream, success=%d, %s", success,
                         toString(sensorIds).c_str());
            }
        } else {
            AON_LOGW("mAovStream is null");
        }

        // The camera takes precedence whatever sensors it uses; only a new start resumes.
        if (mOpenedSensorId != kNoSensor) {
            AON_LOGW("stop by sensor suspend");
            AON_LOGI("AovStream paused, mOpenedSensorId=%d", mOpenedSensorId);
            stopped = mOpenedSensorId;
            StopServiceLocked();
        }

        if (mCallback == nullptr) {
            AON_LOGW("mCallback is null");
            return;
        }
    }

    mNotifyFuture = std::async(std::launch::async, [this, instanceId, stopped] {
        return RunOpenWorker(instanceId, stopped);
    });
}

void AONManager::NotifyClose(int instanceId) {
    AON_LOGI("AONManager::NotifyClose:%d", instanceId);
    if (mAovStream == nullptr) {
        AON_LOGI("mAovStream is null, return");
        return;
    }
    // The vendor hears of the close from the worker, not from the camera stack's thread.
    std::lock_guard<std::mutex> notifyGuard(mNotifyLock);
    TakePendingNotifyResult();
    mNotifyFuture = std::async(std::launch::async,
                               [this, instanceId] { return RunCloseWorker(instanceId); });
}

std::vector<int32_t> AONManager::LookUpSensorIds(int instanceId) {
    const MtkcamModuleFactory factory = getMtkcamModuleFactory(kMtkcamModuleIdLogicalDeviceList);
    auto* deviceList = factory != nullptr ? static_cast<HalLogicalDeviceList*>(factory()) : nullptr;
    if (deviceList == nullptr) {
        AON_LOGW("Cannot get HalLogicalDeviceList");
        return {};
    }
    return deviceList->getSensorId(instanceId);
}

void AONManager::TakePendingNotifyResult() {
    if (!mNotifyFuture.valid()) return;
    const int result = mNotifyFuture.get();
    if (result != 0) {
        AON_LOGW("Notify open and close failed:%d", result);
    }
}

int AONManager::RunOpenWorker(int instanceId, int stoppedSensorId) {
    NameWorkerThread();
    std::vector<int32_t> sensorIds;
    std::shared_ptr<IAONManagerCallback> callback;
    {
        std::lock_guard<std::mutex> guard(mLock);
        const auto entry = mOpenDeviceMap.find(instanceId);
        if (entry != mOpenDeviceMap.end()) sensorIds = entry->second;
        callback = mCallback;
    }
    if (callback == nullptr) {
        AON_LOGW("Cannot get Callback");
        return 0;
    }
    bool cameraTookStoppedSensor = false;
    for (int32_t sensorId : sensorIds) {
        callback->OnSensorBusy(sensorId);
        if (sensorId == stoppedSensorId) cameraTookStoppedSensor = true;
    }
    // When the camera took the very sensor of the stream, OnSensorBusy alone tells clients.
    if (stoppedSensorId != kNoSensor && !cameraTookStoppedSensor) {
        AON_LOGI("Camera use other sensor, this sensor id:%d stop, not support more than one "
                 "sensor running",
                 stoppedSensorId);
        callback->OnServiceStop(stoppedSensorId);
    }
    return 0;
}

int AONManager::RunCloseWorker(int instanceId) {
    NameWorkerThread();
    std::vector<int32_t> sensorIds;
    std::shared_ptr<IAONManagerCallback> callback;
    {
        std::lock_guard<std::mutex> guard(mLock);
        const auto entry = mOpenDeviceMap.find(instanceId);
        if (entry != mOpenDeviceMap.end()) sensorIds = entry->second;
        if (mAovStream != nullptr) {
            const int32_t success = mAovStream->notifySensorState(sensorIds, 0);
            if (success == 0) {
                AON_LOGW("Fail to notify AovStream, success=%d, %s", success,
                         toString(sensorIds).c_str());
            }
        } else {
            AON_LOGW("mAovStream is null");
        }
        AON_LOGI("mOpenDeviceMap erase instanceId=%d %s", instanceId,
                 toString(sensorIds).c_str());
        mOpenDeviceMap.erase(instanceId);
        callback = mCallback;
    }
    if (callback == nullptr) {
        AON_LOGI("No needs to notify onResume, mCallback=%p, %s.", static_cast<void*>(nullptr),
                 toString(sensorIds).c_str());
        return 0;
    }
    for (int32_t sensorId : sensorIds) {
        callback->OnSensorIdle(sensorId);
    }
    return 0;
}

}  // namespace tarvo::aon
