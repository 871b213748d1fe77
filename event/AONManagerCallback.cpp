#include "event/AONManagerCallback.h"

#include "common/AonLog.h"
#include "event/AovEvent.h"
#include "event/DebugDumps.h"
#include "event/ResultParsers.h"

namespace tarvo::aon {
namespace {

constexpr char kLogClass[] = "AONManagerCallback";

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;

constexpr char kDumpProperty[] = "tarvo.aon.hal.mtk_dump_apu";
constexpr int32_t kDumpOn = 1;

constexpr int32_t kKeyFrameId = 0;
constexpr int32_t kKeyFrameWidth = 1;
constexpr int32_t kKeyFrameHeight = 2;
// Four fusion entries, one each for face angle, gaze and feature, four image and three frame keys.
constexpr size_t kMaxResults = 14;

constexpr int kStateIdle = 0;
constexpr int kStateStarted = 1;
constexpr int kStateBusy = 2;

void AppendInt(std::vector<AONResult>& results, int32_t key, uint32_t value) {
    AONResult& result = results.emplace_back();
    result.key = key;
    result.value.set<AONResultValue::Tag::intValue>(static_cast<int32_t>(value));
}

}  // namespace

std::shared_ptr<AONManagerCallback> AONManagerCallback::create(
        const std::shared_ptr<IOutEventCallback>& callback) {
    return std::make_shared<AONManagerCallback>(PrivateTag{}, callback);
}

AONManagerCallback::AONManagerCallback(PrivateTag,
                                       const std::shared_ptr<IOutEventCallback>& callback)
    : mOutEventCallback(callback) {}

void AONManagerCallback::onCallback(aov_event* event) {
    if (event == nullptr) return;
    AONCallBackInfo info;
    const uint32_t serviceType = event->service_type;
    if (serviceType == 0) {
        AON_LOGW("onCallback serviceType == 0");
    }
    info.serviceType = static_cast<int32_t>(serviceType);
    AON_LOGD_GATED("onCallback-> service type:%x", serviceType);

    if (property_get_int32(kDumpProperty, 0) == kDumpOn) {
        dumpOutput(event);
    }

    std::vector<AONResult>& results = info.results;
    results.reserve(kMaxResults);
    const uint8_t* output = event->apu_output;
    const uint32_t outputSize = event->apu_output_size;
    if (serviceType & kServiceTypeFusion) ParseFusionResult(results, output, outputSize);
    if (serviceType & kServiceTypeFaceAngle) ParseFaceAngleResult(results, output, outputSize);
    if (serviceType & kServiceTypeGaze) ParseGazeResult(results, output, outputSize);
    if (serviceType & kServiceTypeFaceFeature) ParseFaceFeatureResult(results, output, outputSize);
    ParseImageData(results, event);

    AppendInt(results, kKeyFrameId, event->frame_id);
    AON_LOGD_GATED("onCallback-> callBackInfo.frame_id:%d", static_cast<int>(event->frame_id));
    AppendInt(results, kKeyFrameWidth, event->frame_width);
    AON_LOGD_GATED("onCallback-> callBackInfo.frame_width:%d",
                   static_cast<int>(event->frame_width));
    AppendInt(results, kKeyFrameHeight, event->frame_height);
    AON_LOGD_GATED("onCallback-> callBackInfo.frame_height:%d",
                   static_cast<int>(event->frame_height));
    AON_LOGD_GATED("onCallback-> callBackInfo.results.size:%d", static_cast<int>(results.size()));

    if (mOutEventCallback) mOutEventCallback->OnAONEvent(info);
}

void AONManagerCallback::OnServiceStart(int sensorId) {
    SendSensorState(sensorId, kStateStarted);
}

void AONManagerCallback::OnServiceStop(int sensorId) {
    SendSensorState(sensorId, kStateIdle);
}

void AONManagerCallback::OnSensorIdle(int sensorId) {
    SendSensorState(sensorId, kStateIdle);
}

void AONManagerCallback::OnSensorBusy(int sensorId) {
    SendSensorState(sensorId, kStateBusy);
}

void AONManagerCallback::SendSensorState(int sensorId, int state) {
    if (!mOutEventCallback) return;
    AONSensorStateInfo info;
    info.sensorId = sensorId;
    info.state = state;
    mOutEventCallback->OnAONSensorEvent(info);
}

}  // namespace tarvo::aon
