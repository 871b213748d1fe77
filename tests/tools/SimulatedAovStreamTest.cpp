// The simulator face of the vendor stream: frames of its own thread at the configured rate while
// initialised, none after uninit returns; frames on command carry growing ids and the overrides.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstring>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "event/AovEvent.h"
#include "host/SimulatedAovStream.h"
#include "host/SyntheticFrame.h"

namespace host {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// What the stream's callback saw of each event (the event itself is gone after the call).
struct SeenFrame {
    uint32_t frameId;
    uint32_t width;
    uint32_t height;
    uint32_t serviceType;
    uint32_t apuOutputSize;
    uint32_t fusionCount;
    uint32_t imageStride;
    uint32_t imageHeight;
    uint32_t debugStride;
    steady_clock::time_point at;
};

class RecordingStreamCallback final : public IAOVStreamCallback {
  public:
    void onCallback(aov_event* event) override {
        uint32_t fusionCount = 0;
        memcpy(&fusionCount, event->apu_output + tarvo::aon::kFusionBlockOffset, 4);
        std::lock_guard<std::mutex> guard(mLock);
        mFrames.push_back({event->frame_id, event->frame_width, event->frame_height,
                           event->service_type, event->apu_output_size, fusionCount,
                           event->image.stride, event->image.height, event->debug_image.stride,
                           steady_clock::now()});
        mChanged.notify_all();
    }

    [[nodiscard]] bool WaitForFrames(size_t count, milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, timeout, [&] { return mFrames.size() >= count; });
    }

    std::vector<SeenFrame> frames() {
        std::lock_guard<std::mutex> guard(mLock);
        return mFrames;
    }

  private:
    std::mutex mLock;
    std::condition_variable mChanged;
    std::vector<SeenFrame> mFrames;
};

class FrameCounter final : public AovStreamObserver {
  public:
    void OnStreamCall(const SimulatedCall& call) override { calls.push_back(call.call); }
    void OnFrameStarting(const SimulatedFrame&) override { ++started; }
    void OnFrameDone(const SimulatedFrame& frame, bool delivered) override {
        done.emplace_back(frame.frameId, delivered);
    }
    std::vector<AovCall> calls;
    int started = 0;
    std::vector<std::pair<uint32_t, bool>> done;
};

user_param ParamFor(const std::shared_ptr<IAOVStreamCallback>& callback, int32_t fps) {
    user_param param{};
    param.sensorId = 0;
    param.width = 320;
    param.height = 240;
    param.fps = fps;
    param.serviceType = 0x5;
    param.callback = callback;
    return param;
}

TEST(SimulatedAovStreamTest, OwnThreadDeliversAtTheRateUntilUninitReturns) {
    SimulatedAovStream stream(FakeAovStream::Get(), SimulatedAovStream::Delivery::kOwnThread,
                              nullptr);
    auto callback = std::make_shared<RecordingStreamCallback>();
    user_param param = ParamFor(callback, 50);
    const steady_clock::time_point started = steady_clock::now();
    ASSERT_NE(stream.init(&param), 0);
    ASSERT_TRUE(callback->WaitForFrames(5, milliseconds(5000)));
    ASSERT_NE(stream.uninit(), 0);
    const std::vector<SeenFrame> frames = callback->frames();

    // Frame k comes no earlier than k periods of 20 ms after the start.
    EXPECT_GE(frames[4].at - started, milliseconds(100));
    for (size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].frameId, i + 1);
        EXPECT_EQ(frames[i].width, 320u);
        EXPECT_EQ(frames[i].height, 240u);
        EXPECT_EQ(frames[i].serviceType, 0x5u);
        EXPECT_EQ(frames[i].imageStride, 320u);
        EXPECT_EQ(frames[i].imageHeight, 240u);
        EXPECT_GT(frames[i].apuOutputSize, tarvo::aon::kApuOutputMapEnd);
    }
    // uninit joined the frame thread: nothing arrives once it has returned.
    EXPECT_EQ(callback->frames().size(), frames.size());
    EXPECT_EQ(stream.framesDelivered(), static_cast<int64_t>(frames.size()));
}

TEST(SimulatedAovStreamTest, FramesGoOnWhenTheStreamRefusesToStop) {
    SimulatedAovStream stream(FakeAovStream::Get(), SimulatedAovStream::Delivery::kOwnThread,
                              nullptr);
    auto callback = std::make_shared<RecordingStreamCallback>();
    user_param param = ParamFor(callback, 100);
    ASSERT_NE(stream.init(&param), 0);
    ASSERT_TRUE(callback->WaitForFrames(1, milliseconds(5000)));
    FakeAovStream::Get().SetUninitResult(0);
    EXPECT_EQ(stream.uninit(), 0);
    const size_t beforeRefusal = callback->frames().size();
    EXPECT_TRUE(callback->WaitForFrames(beforeRefusal + 2, milliseconds(5000)));
    FakeAovStream::Get().SetUninitResult(1);
    EXPECT_NE(stream.uninit(), 0);
    const std::vector<SeenFrame> frames = callback->frames();
    EXPECT_EQ(callback->frames().size(), frames.size());
    for (size_t i = 0; i < frames.size(); ++i) EXPECT_EQ(frames[i].frameId, i + 1);
}

size_t ThreadCount() {
    size_t count = 0;
    DIR* dir = opendir("/proc/self/task");
    while (const dirent* entry = dir != nullptr ? readdir(dir) : nullptr) {
        if (entry->d_name[0] != '.') ++count;
    }
    if (dir != nullptr) closedir(dir);
    return count;
}

TEST(SimulatedAovStreamTest, DestroyingARunningStreamJoinsItsThread) {
    auto callback = std::make_shared<RecordingStreamCallback>();
    // ThreadSanitizer starts a thread of its own when the process makes its first one.
    std::thread([] {}).join();
    const size_t threadsBefore = ThreadCount();
    {
        SimulatedAovStream stream(FakeAovStream::Get(), SimulatedAovStream::Delivery::kOwnThread,
                                  nullptr);
        user_param param = ParamFor(callback, 200);
        ASSERT_NE(stream.init(&param), 0);
        ASSERT_TRUE(callback->WaitForFrames(2, milliseconds(5000)));
        EXPECT_EQ(ThreadCount(), threadsBefore + 1);
    }
    EXPECT_EQ(ThreadCount(), threadsBefore);
}

TEST(SimulatedAovStreamTest, CommandedFramesGrowTheirIdsAndTakeTheOverrides) {
    FrameCounter observer;
    SimulatedAovStream stream(FakeAovStream::Get(), SimulatedAovStream::Delivery::kOnCommand,
                              &observer);
    auto callback = std::make_shared<RecordingStreamCallback>();

    EXPECT_FALSE(stream.DeliverFrame({}));  // not initialised: nothing to deliver
    user_param param = ParamFor(callback, 10);
    ASSERT_NE(stream.init(&param), 0);
    EXPECT_TRUE(stream.DeliverFrame({}));
    FrameOverrides overrides;
    overrides.serviceType = 0;
    overrides.apuOutputSize = 202088;
    overrides.fusionCount = 40;
    overrides.image = std::make_pair(0u, 0u);
    overrides.debugImage = std::make_pair(64u, 48u);
    EXPECT_TRUE(stream.DeliverFrame(overrides));
    overrides = {};
    overrides.frameId = 99;
    EXPECT_TRUE(stream.DeliverFrame(overrides));
    EXPECT_TRUE(stream.DeliverFrame({}));
    ASSERT_NE(stream.uninit(), 0);
    EXPECT_FALSE(stream.DeliverFrame({}));

    const std::vector<SeenFrame> frames = callback->frames();
    ASSERT_EQ(frames.size(), 4u);
    EXPECT_EQ(frames[0].frameId, 1u);
    EXPECT_EQ(frames[0].serviceType, 0x5u);
    EXPECT_EQ(frames[1].frameId, 2u);
    EXPECT_EQ(frames[1].serviceType, 0u);
    EXPECT_EQ(frames[1].apuOutputSize, 202088u);
    EXPECT_EQ(frames[1].fusionCount, 40u);
    EXPECT_EQ(frames[1].imageStride, 0u);
    EXPECT_EQ(frames[1].imageHeight, 0u);
    EXPECT_EQ(frames[1].debugStride, 64u);
    EXPECT_EQ(frames[2].frameId, 99u);  // an explicit id leaves the count alone
    EXPECT_EQ(frames[3].frameId, 3u);

    EXPECT_EQ(observer.started, 4);
    ASSERT_EQ(observer.done.size(), 6u);
    EXPECT_FALSE(observer.done.front().second);
    EXPECT_TRUE(observer.done[1].second);
    EXPECT_FALSE(observer.done.back().second);
    EXPECT_EQ(observer.calls, (std::vector<AovCall>{AovCall::kInit, AovCall::kUninit}));
}

}  // namespace
}  // namespace host

namespace host {
namespace {

// The stream clears its record between frames only where the last frame wrote. A write the
// builder did not track, or a smaller frame after a larger one, would leave stale bytes that a
// fresh record does not have.
TEST(SyntheticFrameTest, ARecordClearedWhereItWasWrittenEqualsAFreshOne) {
    EventBuilder reused;
    EventBuilder fresh;
    const SyntheticFrameSpec specs[] = {
            {7, 640, 480, 0xF},  {8, 320, 240, 0x1}, {9, 101, 77, 0x6},
            {10, 640, 480, 0x0}, {11, 0, 0, 0x8},    {12, 33, 2, 0xF},
    };
    for (const SyntheticFrameSpec& spec : specs) {
        SCOPED_TRACE("frame " + std::to_string(spec.frameId));
        FillSyntheticFrame(reused, spec, SyntheticReset::kWritten);
        FillSyntheticFrame(fresh, spec, SyntheticReset::kWhole);
        ASSERT_EQ(0, memcmp(reused.bytes(), fresh.bytes(), EventBuilder::size()));
        // What a commanded frame adds on top: an apu size, a fusion count, both image patterns.
        const uint32_t count = 40;
        reused.apuOutputSize(12).outputBytes(tarvo::aon::kFusionBlockOffset, &count, 4);
        reused.imagePattern(ImageBlock::kImage, 64, 48, spec.frameId);
        reused.imagePattern(ImageBlock::kDebugImage, 1280, 720, spec.frameId);
    }
    FillSyntheticFrame(reused, specs[0], SyntheticReset::kWritten);
    FillSyntheticFrame(fresh, specs[0], SyntheticReset::kWhole);
    EXPECT_EQ(0, memcmp(reused.bytes(), fresh.bytes(), EventBuilder::size()));
}

}  // namespace
}  // namespace host
