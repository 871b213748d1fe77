// The manager callback turns a stream record into one client record: detector results in bit
// order, then the image, then the frame keys; and state changes into sensor states.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "event/AONManagerCallback.h"
#include "host/EventBuilder.h"
#include "tests/event/FakeOutEventCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {
namespace {

using tarvo::aon::AONManagerCallback;
using host::ImageBlock;

class AONManagerCallbackTest : public ::testing::Test {
  protected:
    std::shared_ptr<FakeOutEventCallback> mOut = std::make_shared<FakeOutEventCallback>();
    std::shared_ptr<AONManagerCallback> mCallback = AONManagerCallback::create(mOut);
    host::EventBuilder mBuilder;
};

TEST_F(AONManagerCallbackTest, ResultsComeInBitOrderThenImageThenFrameKeys) {
    mBuilder.frame(0x80000001, 640, 480).serviceType(0xF).fullApuOutputSize();
    mBuilder.imagePattern(ImageBlock::kImage, 640, 480, 3);
    mCallback->onCallback(mBuilder.event());

    ASSERT_EQ(mOut->events.size(), 1u);
    const auto& info = mOut->events[0];
    EXPECT_EQ(info.serviceType, 0xF);
    EXPECT_EQ(KeysOf(info.results),
              (Keys{100, 101, 102, 103, 200, 300, 400, 700, 701, 702, 703, 0, 1, 2}));
    EXPECT_EQ(info.results[10].value.get<Tag::byteArray>().size(), 460800u);
    EXPECT_EQ(info.results[11].value.get<Tag::intValue>(), static_cast<int32_t>(0x80000001));
    EXPECT_EQ(info.results[12].value.get<Tag::intValue>(), 640);
    EXPECT_EQ(info.results[13].value.get<Tag::intValue>(), 480);
}

TEST_F(AONManagerCallbackTest, EachBitSelectsItsDetectorAndEventsGoOutWhateverTheyGave) {
    const LogLine kZero =
            HalLine(ANDROID_LOG_WARN, "AONManagerCallback: onCallback serviceType == 0");
    const LogLine kShort = HalLine(
            ANDROID_LOG_WARN, "AONManagerCallback: output size is small than aod offset and size");
    const struct {
        uint32_t serviceType, outputSize, stride;
        Keys keys;
        std::vector<LogLine> lines;
    } cases[] = {
            {0, 300000, 64, {700, 701, 702, 703, 0, 1, 2}, {kZero}},
            {0, 300000, 0, {0, 1, 2}, {kZero}},
            {0xFFFFFFF0, 300000, 64, {700, 701, 702, 703, 0, 1, 2}, {}},  // no parser
            {0x1, 300000, 0, {100, 101, 102, 103, 0, 1, 2}, {}},
            {0x2, 300000, 0, {200, 0, 1, 2}, {}},
            {0x4, 209176, 64, {700, 701, 702, 703, 0, 1, 2}, {kShort}},
            {0x4, 209177, 0, {300, 0, 1, 2}, {}},
            {0x8, 300000, 0, {400, 0, 1, 2}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.serviceType);
        LogCapture log;
        mOut->events.clear();
        mBuilder.serviceType(c.serviceType).apuOutputSize(c.outputSize);
        mBuilder.image(ImageBlock::kImage, c.stride, 8, {});
        mCallback->onCallback(mBuilder.event());
        ASSERT_EQ(mOut->events.size(), 1u);
        EXPECT_EQ(mOut->events[0].serviceType, static_cast<int32_t>(c.serviceType));
        EXPECT_EQ(KeysOf(mOut->events[0].results), c.keys);
        EXPECT_EQ(log.lines(), c.lines);
    }
}

TEST_F(AONManagerCallbackTest, GatedLinesTraceTheTranslation) {
    property_set("vendor.debug.cameralog.enable", "1");
    LogCapture log;
    mCallback->onCallback(mBuilder.frame(9, 320, 240).serviceType(0x20).event());
    const auto lines = log.linesOf("AONManagerCallback");
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0].text, "onCallback-> service type:20");
    EXPECT_EQ(lines[1].text.rfind(
                      "image->stride:0, height:0, frame_width:320, frame_height:240, output:0x", 0),
              0u);
    EXPECT_EQ(lines[2].text, "onCallback-> callBackInfo.frame_id:9");
    EXPECT_EQ(lines[3].text, "onCallback-> callBackInfo.frame_width:320");
    EXPECT_EQ(lines[4].text, "onCallback-> callBackInfo.frame_height:240");
    EXPECT_EQ(lines[5].text, "onCallback-> callBackInfo.results.size:3");
    for (const auto& line : lines) EXPECT_EQ(line.priority, ANDROID_LOG_DEBUG);
}

TEST_F(AONManagerCallbackTest, StateChangesBecomeSensorStatesAndNullEventsAreIgnored) {
    LogCapture log;
    mCallback->onCallback(nullptr);
    mCallback->OnServiceStart(5);
    mCallback->OnServiceStop(5);
    mCallback->OnSensorIdle(5);
    mCallback->OnSensorBusy(5);
    EXPECT_TRUE(mOut->events.empty());
    std::vector<std::pair<int, int>> states;
    for (const auto& s : mOut->states) states.emplace_back(s.sensorId, s.state);
    EXPECT_EQ(states, (std::vector<std::pair<int, int>>{{5, 1}, {5, 0}, {5, 0}, {5, 2}}));

    // Without a receiver everything is dropped, without a log line.
    auto alone = AONManagerCallback::create(nullptr);
    alone->onCallback(mBuilder.serviceType(1).fullApuOutputSize().event());
    alone->OnServiceStart(1);
    alone->OnSensorBusy(1);
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace
}  // namespace aon_test
