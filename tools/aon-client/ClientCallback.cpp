#include "tools/aon-client/ClientCallback.h"

#include <optional>

namespace aon_client {

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;

ClientCallback::ClientCallback(const Printer& printer, Output& output, RunControl& control,
                               bool saveFrames)
    : mPrinter(printer), mOutput(output), mControl(control), mSaveFrames(saveFrames) {}

ndk::ScopedAStatus ClientCallback::onAONEvent(int64_t clientHandle, const AONCallBackInfo& info) {
    std::optional<int64_t> frameId;
    for (const AONResult& result : info.results) {
        if (result.key == 0 && result.value.getTag() == AONResultValue::Tag::intValue) {
            frameId = result.value.get<AONResultValue::Tag::intValue>();
            break;
        }
    }
    FrameImage image;
    const bool hasImage = mSaveFrames && ExtractFrame(info, &image);
    {
        std::lock_guard<std::mutex> guard(mLock);
        const std::optional<FrameStats::Gap> gap = mStats.Add(frameId, FrameStats::Clock::now());
        if (gap) mOutput.Line(mPrinter.Gap(*gap));
        mOutput.Line(mPrinter.Event(clientHandle, info));
        if (hasImage) mOutput.Frame(std::move(image));
    }
    mControl.OnEvent();
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus ClientCallback::onAONSensorEvent(int64_t clientHandle,
                                                    const AONSensorStateInfo& info) {
    std::lock_guard<std::mutex> guard(mLock);
    mStates.push_back(info);
    mOutput.Line(mPrinter.State(clientHandle, info));
    return ndk::ScopedAStatus::ok();
}

FrameStats ClientCallback::stats() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mStats;
}

std::vector<AONSensorStateInfo> ClientCallback::states() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mStates;
}

}  // namespace aon_client
