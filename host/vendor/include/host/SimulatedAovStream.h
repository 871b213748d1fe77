// Host-only: the simulator face of the vendor's always-on vision stream. Installed with
// SetAovStreamInstance(), it answers every IAOVStream call through the scriptable fake (so the
// fake's sensors, results and call records stay in force) and adds frames:
//  - kOwnThread: while initialised, a thread of its own delivers a synthetic event at the
//    configured rate (user_param fps) and is joined on uninit;
//  - kOnCommand: no thread; the driving program asks for each frame with DeliverFrame(), so that
//    runs are deterministic.
// Frames carry growing ids, the configured size and service types (SyntheticFrame.h).
//
// Thread-safety: the IAOVStream calls come from the library (serialised by its manager lock);
// DeliverFrame from the driving program. mLock guards the configuration and the thread state and
// is never held while the fake, the observer or the stream callback is called.
#pragma once

#include <android-base/thread_annotations.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "host/AovStreamObserver.h"
#include "host/EventBuilder.h"
#include "host/FakeAovStream.h"

namespace host {

// Header words, sizes and image blocks a commanded frame takes instead of the synthetic ones.
struct FrameOverrides {
    std::optional<uint32_t> frameId;
    std::optional<uint32_t> width;
    std::optional<uint32_t> height;
    std::optional<uint32_t> serviceType;
    std::optional<uint32_t> apuOutputSize;
    std::optional<uint32_t> fusionCount;
    std::optional<std::pair<uint32_t, uint32_t>> image;       // stride, height (pattern data)
    std::optional<std::pair<uint32_t, uint32_t>> debugImage;  // stride, height (pattern data)
};

class SimulatedAovStream final : public IAOVStream {
  public:
    enum class Delivery { kOwnThread, kOnCommand };

    // `observer` may be null; it must outlive the stream's use.
    SimulatedAovStream(FakeAovStream& vendor, Delivery delivery, AovStreamObserver* observer);
    ~SimulatedAovStream();
    SimulatedAovStream(const SimulatedAovStream&) = delete;
    SimulatedAovStream& operator=(const SimulatedAovStream&) = delete;

    // kOnCommand: makes the next frame of the running configuration, with `overrides`, and
    // delivers it on the calling thread. Returns false (telling the observer) when no stream is
    // initialised.
    bool DeliverFrame(const FrameOverrides& overrides) EXCLUDES(mLock);
    // Stops the frame thread, if one runs; the stream's state is left as it is.
    void Shutdown() EXCLUDES(mLock);
    int64_t framesDelivered() const EXCLUDES(mLock);

    // IAOVStream
    void vendorSlot0() override;
    std::vector<int32_t> getSensorList() override;
    std::vector<sensor_info> getSensorInfo(int32_t sensorId) override;
    int32_t getSensorMode(int32_t sensorId, uint32_t* mode) override;
    int32_t init(user_param* param) override EXCLUDES(mLock);
    int32_t notifySensorState(const std::vector<int32_t>& sensorIds, int32_t opened) override;
    int32_t uninit() override EXCLUDES(mLock);

  private:
    struct Config {
        uint32_t width = 0;
        uint32_t height = 0;
        int32_t fps = 0;
        uint32_t serviceType = 0;
    };

    void Report(const SimulatedCall& call);
    void RunFrames() EXCLUDES(mLock);
    // Builds and delivers one frame; only one thread at a time (the frame thread, or the driving
    // program in kOnCommand), which owns mBuilder meanwhile.
    bool Produce(const Config& config, uint32_t frameId, const FrameOverrides& overrides);

    FakeAovStream& mVendor;
    const Delivery mDelivery;
    AovStreamObserver* const mObserver;
    EventBuilder mBuilder;  // see Produce()

    mutable std::mutex mLock;
    std::condition_variable mWake;
    std::optional<Config> mConfig GUARDED_BY(mLock);  // set while initialised
    uint32_t mNextFrameId GUARDED_BY(mLock) = 1;
    int64_t mFramesDelivered GUARDED_BY(mLock) = 0;
    bool mStopping GUARDED_BY(mLock) = false;
    std::thread mThread GUARDED_BY(mLock);  // last: joined before the rest goes
};

}  // namespace host
