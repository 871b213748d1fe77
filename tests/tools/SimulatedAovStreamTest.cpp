// The simulator face of the vendor stream: frames of its own thread at the configured rate while
// initialised, none after uninit returns; a record reused between frames holds what a fresh one
// would. (Frames on command, with their overrides and their ids, only while a stream runs: the
// example scenarios, explicit-frames above all.)
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
#include "tools/common/ThreadWatch.h"

namespace host {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Each frame's id and arrival, and whether its record held the configured size, types and image
// (the event itself is gone after the call).
struct SeenFrame {
    uint32_t frameId;
    bool asConfigured;
    steady_clock::time_point at;
};

class RecordingStreamCallback final : public IAOVStreamCallback {
  public:
    void onCallback(aov_event* event) override {
        std::lock_guard<std::mutex> guard(mLock);
        mFrames.push_back({event->frame_id,
                           event->frame_width == 320 && event->frame_height == 240 &&
                                   event->service_type == 0x5 && event->image.stride == 320 &&
                                   event->image.height == 240 &&
                                   event->apu_output_size > tarvo::aon::kApuOutputMapEnd,
                           steady_clock::now()});
        mChanged.notify_all();
    }

    // The frames seen, once there are `count` of them or 5 s have passed.
    std::vector<SeenFrame> WaitForFrames(size_t count) {
        std::unique_lock<std::mutex> lock(mLock);
        mChanged.wait_for(lock, milliseconds(5000), [&] { return mFrames.size() >= count; });
        return mFrames;
    }

  private:
    std::mutex mLock;
    std::condition_variable mChanged;
    std::vector<SeenFrame> mFrames;
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

size_t ThreadCount() {
    return aon_tools::ThreadWatch::Threads().size();
}

// The frame thread runs while initialised: a refused uninit leaves it going, one that succeeds
// joins it, and so does destroying a stream that still runs.
TEST(SimulatedAovStreamTest, OwnThreadDeliversAtTheRateUntilUninitSucceedsOrTheStreamGoes) {
    auto callback = std::make_shared<RecordingStreamCallback>();
    // ThreadSanitizer starts a thread of its own when the process makes its first one.
    std::thread([] {}).join();
    const size_t threadsBefore = ThreadCount();
    {
        SimulatedAovStream stream(FakeAovStream::Get(), SimulatedAovStream::Delivery::kOwnThread,
                                  nullptr);
        user_param param = ParamFor(callback, 50);
        const steady_clock::time_point started = steady_clock::now();
        ASSERT_NE(stream.init(&param), 0);
        ASSERT_GE(callback->WaitForFrames(5).size(), 5u);
        EXPECT_EQ(ThreadCount(), threadsBefore + 1);
        FakeAovStream::Get().SetUninitResult(0);
        EXPECT_EQ(stream.uninit(), 0);
        const size_t refused = callback->WaitForFrames(0).size();
        EXPECT_GE(callback->WaitForFrames(refused + 2).size(), refused + 2);
        FakeAovStream::Get().SetUninitResult(1);
        ASSERT_NE(stream.uninit(), 0);
        EXPECT_EQ(ThreadCount(), threadsBefore);
        const std::vector<SeenFrame> frames = callback->WaitForFrames(0);
        EXPECT_EQ(stream.framesDelivered(), static_cast<int64_t>(frames.size()));

        // Frame k comes no earlier than k periods of 20 ms after the start.
        EXPECT_GE(frames[4].at - started, milliseconds(100));
        for (size_t i = 0; i < frames.size(); ++i) {
            EXPECT_EQ(frames[i].frameId, i + 1);
            EXPECT_TRUE(frames[i].asConfigured) << "frame " << i + 1;
        }
        param = ParamFor(callback, 200);
        ASSERT_NE(stream.init(&param), 0);
        ASSERT_GE(callback->WaitForFrames(frames.size() + 2).size(), frames.size() + 2);
    }
    EXPECT_EQ(ThreadCount(), threadsBefore);
}

// The stream clears its record between frames only where the last frame wrote. A write the
// builder did not track, or a smaller frame after a larger one, would leave stale bytes that a
// fresh record does not have.
TEST(SyntheticFrameTest, ARecordClearedWhereItWasWrittenEqualsAFreshOne) {
    EventBuilder reused;
    EventBuilder fresh;
    const SyntheticFrameParams frames[] = {
            {7, 640, 480, 0xF},
            {9, 101, 77, 0x6},
            {11, 0, 0, 0x8},
    };
    for (const SyntheticFrameParams& wanted : frames) {
        SCOPED_TRACE("frame " + std::to_string(wanted.frameId));
        FillSyntheticFrame(reused, wanted, SyntheticReset::kWritten);
        FillSyntheticFrame(fresh, wanted, SyntheticReset::kWhole);
        ASSERT_EQ(0, memcmp(reused.bytes(), fresh.bytes(), EventBuilder::size()));
        // What a commanded frame adds on top: an apu size, a fusion count, both image patterns.
        const uint32_t count = 40;
        reused.apuOutputSize(12).outputBytes(tarvo::aon::kFusionBlockOffset, &count, 4);
        reused.imagePattern(ImageBlock::kImage, 64, 48, wanted.frameId);
        reused.imagePattern(ImageBlock::kDebugImage, 1280, 720, wanted.frameId);
    }
    FillSyntheticFrame(reused, frames[0], SyntheticReset::kWritten);
    FillSyntheticFrame(fresh, frames[0], SyntheticReset::kWhole);
    EXPECT_EQ(0, memcmp(reused.bytes(), fresh.bytes(), EventBuilder::size()));
}

}  // namespace
}  // namespace host
