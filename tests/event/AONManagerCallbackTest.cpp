// The manager callback turns a stream record into one client record: detector results in bit
// order, then the image, then the frame keys; and state changes into sensor states.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "event/AONManagerCallback.h"
#include "host/EventBuilder.h"
#include "tests/event/FakeOutEventCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {
namespace {

using host::ImageBlock;
using tarvo::aon::AONManagerCallback;

class AONManagerCallbackTest : public ::testing::Test {
  protected:
    std::shared_ptr<FakeOutEventCallback> mOut = std::make_shared<FakeOutEventCallback>();
    std::shared_ptr<AONManagerCallback> mCallback = AONManagerCallback::create(mOut);
    host::EventBuilder mBuilder;
};

// Values as the gated lines print them: "%f", joined by commas.
std::string Join(const float* values, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += (i ? "," : "") + std::to_string(values[i]);
    return text;
}

TEST_F(AONManagerCallbackTest, ResultsComeInBitOrderThenImageThenFrameKeysWithTheirGatedLines) {
    std::vector<host::FusionItem> items(2);
    for (int i = 0; i < 2; ++i) {
        items[i].word0 = 3 - 5 * i;
        for (int w = 0; w < 19; ++w) items[i].words[w] = i + w / 4.0f;
    }
    std::array<float, 14> angle{};
    for (size_t i = 0; i < angle.size(); ++i) angle[i] = 0.5f * i - 1;
    const std::array<float, 6> gaze = {1, -2, 3.5f, 0, 0, 6};
    std::array<uint8_t, 128> feature{};
    for (size_t i = 0; i < feature.size(); ++i) feature[i] = static_cast<uint8_t>(250 + i);
    mBuilder.frame(0x80000001, 640, 480).serviceType(0xF).fullApuOutputSize();
    mBuilder.fusion(2, -12.5f, items).faceAngle(angle).gaze(gaze).faceFeature(feature);
    mBuilder.imagePattern(ImageBlock::kImage, 640, 480, 3);
    property_set("vendor.debug.cameralog.enable", "true");
    LogCapture log;
    mCallback->onCallback(mBuilder.event());

    ASSERT_EQ(mOut->events.size(), 1u);
    EXPECT_EQ(KeysOf(mOut->events[0].results),
              (Keys{100, 101, 102, 103, 200, 300, 400, 700, 701, 702, 703, 0, 1, 2}));
    // The values are those the lines print; the fuzzer's replay checks every one of them.
    char image[128];
    std::snprintf(image, sizeof(image),
                  "image->stride:640, height:480, frame_width:640, frame_height:480, output:%p",
                  static_cast<const void*>(mBuilder.event()->image.data));
    std::vector<LogLine> expected;
    for (const std::string& text : std::vector<std::string>{
                 "onCallback-> service type:f", "fusion->rotateAngle:-12.500000", "fusion->count:2",
                 "fusion->itemLength:20",
                 "fusion->data i:0, data[3.000000," + Join(items[0].words.data(), 19) + "]",
                 "fusion->data i:1, data[-2.000000," + Join(items[1].words.data(), 19) + "]",
                 "angle->data[" + Join(angle.data(), 14) + "]",
                 "gaze->data[1.000000,-2.000000,3.500000,0.000000,0.000000,6.000000]",
                 "feature->data[250,251,252,253,254,255,0,1,2,3.....]", image,
                 "onCallback-> callBackInfo.frame_id:-2147483647",
                 "onCallback-> callBackInfo.frame_width:640",
                 "onCallback-> callBackInfo.frame_height:480",
                 "onCallback-> callBackInfo.results.size:14"}) {
        expected.push_back(HalLine(ANDROID_LOG_DEBUG, text));
    }
    EXPECT_EQ(log.linesOf("AONManagerCallback"), expected);

    // The property is read at every line, not kept.
    property_set("vendor.debug.cameralog.enable", "false");
    mCallback->onCallback(mBuilder.event());
    EXPECT_EQ(log.lines().size(), expected.size());
}

// Which bit selects which detector, values included, is checked by the event fuzzer's replay.
TEST_F(AONManagerCallbackTest, EventsGoOutWhateverTheDetectorsGave) {
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
            {0x4, 209176, 64, {700, 701, 702, 703, 0, 1, 2}, {kShort}},
            {0x4, 209177, 0, {300, 0, 1, 2}, {}},
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
