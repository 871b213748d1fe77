#include "host/SimulatedAovStream.h"

#include <sys/prctl.h>

#include <algorithm>
#include <chrono>

#include "host/SyntheticFrame.h"

namespace host {

using tarvo::aon::kFusionBlockOffset;
using tarvo::aon::kFusionCountOffset;

SimulatedAovStream::SimulatedAovStream(FakeAovStream& vendor, Delivery delivery,
                                       AovStreamObserver* observer)
    : mVendor(vendor), mDelivery(delivery), mObserver(observer) {}

SimulatedAovStream::~SimulatedAovStream() {
    Shutdown();
}

void SimulatedAovStream::Report(const SimulatedCall& call) {
    if (mObserver != nullptr) mObserver->OnStreamCall(call);
}

void SimulatedAovStream::vendorSlot0() {
    mVendor.vendorSlot0();
}

std::vector<int32_t> SimulatedAovStream::getSensorList() {
    std::vector<int32_t> ids = mVendor.getSensorList();
    SimulatedCall call;
    call.call = AovCall::kGetSensorList;
    call.sensorIds = ids;
    Report(call);
    return ids;
}

std::vector<sensor_info> SimulatedAovStream::getSensorInfo(int32_t sensorId) {
    std::vector<sensor_info> infos = mVendor.getSensorInfo(sensorId);
    SimulatedCall call;
    call.call = AovCall::kGetSensorInfo;
    call.sensorId = sensorId;
    call.count = infos.size();
    Report(call);
    return infos;
}

int32_t SimulatedAovStream::getSensorMode(int32_t sensorId, uint32_t* mode) {
    const int32_t status = mVendor.getSensorMode(sensorId, mode);
    SimulatedCall call;
    call.call = AovCall::kGetSensorMode;
    call.result = status;
    call.sensorId = sensorId;
    call.mode = *mode;
    Report(call);
    return status;
}

int32_t SimulatedAovStream::init(user_param* param) {
    const int32_t result = mVendor.init(param);
    if (result != 0) {
        Shutdown();  // a second init without uninit: the fake notes it; one thread at most
        std::lock_guard<std::mutex> guard(mLock);
        mConfig = Config{static_cast<uint32_t>(std::max(0, param->width)),
                         static_cast<uint32_t>(std::max(0, param->height)), param->fps,
                         static_cast<uint32_t>(param->serviceType)};
        if (mDelivery == Delivery::kOwnThread) {
            mStopping = false;
            mThread = std::thread(&SimulatedAovStream::RunFrames, this);
        }
    }
    SimulatedCall call;
    call.call = AovCall::kInit;
    call.result = result;
    call.param = param;
    Report(call);
    return result;
}

int32_t SimulatedAovStream::notifySensorState(const std::vector<int32_t>& sensorIds,
                                              int32_t opened) {
    const int32_t result = mVendor.notifySensorState(sensorIds, opened);
    SimulatedCall call;
    call.call = AovCall::kNotifySensorState;
    call.result = result;
    call.sensorIds = sensorIds;
    call.opened = opened;
    Report(call);
    return result;
}

int32_t SimulatedAovStream::uninit() {
    // As a vendor stream does, frames stop before the stream is released; they go on if the
    // stream refuses to stop.
    Shutdown();
    const int32_t result = mVendor.uninit();
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (result != 0) {
            mConfig.reset();
        } else if (mConfig && mDelivery == Delivery::kOwnThread) {
            mStopping = false;
            mThread = std::thread(&SimulatedAovStream::RunFrames, this);
        }
    }
    SimulatedCall call;
    call.call = AovCall::kUninit;
    call.result = result;
    Report(call);
    return result;
}

void SimulatedAovStream::Shutdown() {
    std::thread thread;
    {
        std::lock_guard<std::mutex> guard(mLock);
        mStopping = true;
        thread = std::move(mThread);
    }
    mWake.notify_all();
    if (thread.joinable()) thread.join();
}

int64_t SimulatedAovStream::framesDelivered() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mFramesDelivered;
}

bool SimulatedAovStream::DeliverFrame(const FrameOverrides& overrides) {
    std::optional<Config> config;
    uint32_t frameId = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        config = mConfig;
        frameId = overrides.frameId.value_or(mNextFrameId);
        if (config && !overrides.frameId) ++mNextFrameId;
    }
    if (!config) {
        if (mObserver != nullptr) {
            SimulatedFrame frame;
            frame.frameId = frameId;
            frame.width = overrides.width.value_or(0);
            frame.height = overrides.height.value_or(0);
            frame.serviceType = overrides.serviceType.value_or(0);
            mObserver->OnFrameDone(frame, false);
        }
        return false;
    }
    return Produce(*config, frameId, overrides);
}

void SimulatedAovStream::RunFrames() {
    prctl(PR_SET_NAME, "aov-frames", 0, 0, 0);
    using Clock = std::chrono::steady_clock;
    Clock::time_point next = Clock::now();
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion held(mLock);
    while (!mStopping && mConfig) {
        const Config config = *mConfig;
        const auto period = std::chrono::microseconds(1000000 / std::max(1, config.fps));
        next += period;
        if (mWake.wait_until(lock, next, [this] {
                android::base::ScopedLockAssertion waitHeld(mLock);
                return mStopping;
            })) {
            break;
        }
        if (!mConfig) break;
        const uint32_t frameId = mNextFrameId++;
        lock.unlock();
        Produce(config, frameId, {});
        lock.lock();
        if (Clock::now() > next + period) next = Clock::now();  // fell behind: no burst
    }
}

bool SimulatedAovStream::Produce(const Config& config, uint32_t frameId,
                                 const FrameOverrides& overrides) {
    SyntheticFrameParams wanted;
    wanted.frameId = frameId;
    wanted.width = overrides.width.value_or(config.width);
    wanted.height = overrides.height.value_or(config.height);
    wanted.serviceType = overrides.serviceType.value_or(config.serviceType);
    // Only this stream writes mBuilder, always through its tracked setters.
    FillSyntheticFrame(mBuilder, wanted, SyntheticReset::kWritten);
    if (overrides.apuOutputSize) mBuilder.apuOutputSize(*overrides.apuOutputSize);
    if (overrides.fusionCount) {
        const uint32_t count = *overrides.fusionCount;
        mBuilder.outputBytes(kFusionBlockOffset + kFusionCountOffset, &count, sizeof(count));
    }
    if (overrides.image) {
        mBuilder.imagePattern(ImageBlock::kImage, overrides.image->first, overrides.image->second,
                              frameId);
    }
    if (overrides.debugImage) {
        mBuilder.imagePattern(ImageBlock::kDebugImage, overrides.debugImage->first,
                              overrides.debugImage->second, frameId);
    }
    aov_event* event = mBuilder.event();
    SimulatedFrame frame;
    frame.frameId = event->frame_id;
    frame.width = event->frame_width;
    frame.height = event->frame_height;
    frame.serviceType = event->service_type;
    frame.apuOutputSize = event->apu_output_size;
    frame.imageStride = event->image.stride;
    frame.imageHeight = event->image.height;

    if (mObserver != nullptr) mObserver->OnFrameStarting(frame);
    const bool delivered = mVendor.DeliverEvent(event);
    if (delivered) {
        std::lock_guard<std::mutex> guard(mLock);
        ++mFramesDelivered;
    }
    if (mObserver != nullptr) mObserver->OnFrameDone(frame, delivered);
    return delivered;
}

}  // namespace host
