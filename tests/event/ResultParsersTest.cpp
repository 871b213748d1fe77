// The detector result parsers and the image copy, each against its block of the record.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "event/ResultParsers.h"
#include "host/EventBuilder.h"
#include "tests/event/FakeOutEventCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {
namespace {

using namespace tarvo::aon;
using host::EventBuilder;
using host::FusionItem;
using host::ImageBlock;

TEST(ResultParsersTest, OutputMustEndStrictlyAfterTheBlockAndRejectionLevelIsPerParser) {
    const struct {
        void (*parse)(std::vector<AONResult>&, const uint8_t*, unsigned long);
        unsigned long blockEnd;
        int rejectPriority;
        int32_t lastKey;
    } cases[] = {
            {[](std::vector<AONResult>& r, const uint8_t* o, unsigned long s) {
                 ParseFusionResult(r, o, static_cast<unsigned int>(s));
             },
             202088, ANDROID_LOG_ERROR, 103},
            {ParseFaceAngleResult, 214840, ANDROID_LOG_ERROR, 200},
            {ParseGazeResult, 209176, ANDROID_LOG_WARN, 300},
            {ParseFaceFeatureResult, 227968, ANDROID_LOG_WARN, 400},
    };
    EventBuilder builder;
    for (const auto& c : cases) {
        for (unsigned long size : {0ul, c.blockEnd, c.blockEnd + 1}) {
            LogCapture log;
            std::vector<AONResult> results;
            c.parse(results, builder.event()->apu_output, size);
            const bool accepted = size == c.blockEnd + 1;
            EXPECT_EQ(accepted ? c.lastKey : 0, results.empty() ? 0 : results.back().key) << size;
            const LogLine rejected = HalLine(
                    c.rejectPriority,
                    "AONManagerCallback: output size is small than aod offset and size");
            EXPECT_EQ(log.lines(), accepted ? std::vector<LogLine>{} : std::vector{rejected});
        }
    }
}

TEST(ResultParsersTest, FusionCountIsKeptAsReceivedAndItemsStopAtTheBlock) {
    std::vector<FusionItem> items(30);
    for (int i = 0; i < 30; ++i) {
        items[i].word0 = i == 0 ? 3 : -100 - i;  // integers, converted by value
        for (int w = 0; w < 19; ++w) items[i].words[w] = i + w / 32.0f;
    }
    const struct {
        uint32_t count;
        int32_t reported;
        size_t items;
    } cases[] = {{0, 0, 0}, {2, 2, 2}, {31, 31, 30}, {1000, 1000, 30}, {0xFFFFFFFF, -1, 30}};
    EventBuilder builder;
    for (const auto& c : cases) {
        builder.fusion(c.count, -12.5f, items);
        std::vector<AONResult> results;
        ParseFusionResult(results, builder.event()->apu_output, 202089);
        ASSERT_EQ(KeysOf(results), (Keys{100, 101, 102, 103})) << c.count;
        EXPECT_EQ(results[0].value.get<Tag::floatValue>(), -12.5f);
        EXPECT_EQ(results[1].value.get<Tag::intValue>(), c.reported);
        EXPECT_EQ(results[2].value.get<Tag::intValue>(), 20);
        const std::vector<float>& data = results[3].value.get<Tag::floatArray>();
        ASSERT_EQ(data.size(), 20 * c.items) << c.count;
        for (size_t i = 0; i < c.items; ++i) {
            EXPECT_EQ(data[20 * i], static_cast<float>(items[i].word0)) << i;
            const auto& words = items[i].words;
            EXPECT_TRUE(std::equal(words.begin(), words.end(), &data[20 * i + 1]));
        }
    }
}

TEST(ResultParsersTest, DetectorBlocksAreCopiedWithTheirGatedLines) {
    std::array<float, 14> angle{};
    for (size_t i = 0; i < angle.size(); ++i) angle[i] = 0.5f * i;
    const std::array<float, 6> gaze = {1, -2, 3.5f, 0, 0, 6};
    std::array<uint8_t, 128> feature{};
    for (size_t i = 0; i < feature.size(); ++i) feature[i] = static_cast<uint8_t>(i);
    feature[0] = 0xFF;
    EventBuilder builder;
    builder.faceAngle(angle).gaze(gaze).faceFeature(feature);
    const uint8_t* output = builder.event()->apu_output;
    property_set("vendor.debug.cameralog.enable", "true");
    LogCapture log;
    std::vector<AONResult> results;
    ParseFaceAngleResult(results, output, 300000);
    ParseGazeResult(results, output, 300000);
    ParseFaceFeatureResult(results, output, 300000);

    ASSERT_EQ(KeysOf(results), (Keys{200, 300, 400}));
    EXPECT_EQ(results[0].value.get<Tag::floatArray>(),
              std::vector<float>(angle.begin(), angle.end()));
    EXPECT_EQ(results[1].value.get<Tag::floatArray>(),
              std::vector<float>(gaze.begin(), gaze.end()));
    EXPECT_EQ(results[2].value.get<Tag::byteArray>(),
              std::vector<uint8_t>(feature.begin(), feature.end()));
    const auto lines = log.linesOf("AONManagerCallback");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1].text, "gaze->data[1.000000,-2.000000,3.500000,0.000000,0.000000,6.000000]");
    EXPECT_EQ(lines[2], HalLine(ANDROID_LOG_DEBUG, "feature->data[255,1,2,3,4,5,6,7,8,9.....]"));

    property_set("vendor.debug.cameralog.enable", "false");  // read at every line, not kept
    ParseGazeResult(results, output, 300000);
    EXPECT_EQ(log.lines().size(), 3u);
}

// An image that does not fit the record from its block's data start is dropped whole (keys 700 to
// 702 never describe more than key 703 holds), with an ERROR line; its size is not wrapped at 32
// bits.
TEST(ResultParsersTest, ImageComesFromTheSelectedBlockOnlyWhenItFitsTheRecord) {
    constexpr size_t kEmpty = SIZE_MAX;        // no image entries, no log
    constexpr size_t kDropped = SIZE_MAX - 1;  // no image entries, an ERROR line
    const size_t kDebugCapacity = EventBuilder::ImageCapacity(ImageBlock::kDebugImage);
    ASSERT_EQ(kDebugCapacity, 1382400u);  // the record holds a 1280x720 debug image exactly
    const struct {
        const char* debugBuffer;
        ImageBlock block;
        uint32_t stride, height;
        size_t bytes;
        unsigned long long announced;  // when dropped
    } cases[] = {
            {"", ImageBlock::kImage, 640, 480, 460800, 0},
            {"3", ImageBlock::kImage, 3, 1, 4, 0},
            {"2", ImageBlock::kDebugImage, 1280, 720, 1382400, 0},
            {"2", ImageBlock::kDebugImage, 1, 921600, 1382400, 0},  // ends with the record
            {"2", ImageBlock::kDebugImage, 1, 921601, kDropped, 1382401},
            {"0x2", ImageBlock::kDebugImage, 1280, 721, kDropped, 1384320},
            {"1", ImageBlock::kImage, 0, 480, kEmpty, 0},
            {"1", ImageBlock::kImage, 640, 0, kEmpty, 0},
            {"1", ImageBlock::kImage, 0x10000, 0x10000, kDropped, 6442450944},  // 0 at 32 bits
            {"1", ImageBlock::kImage, 0xAAAAAAAB, 1, kDropped, 4294967296},     // 1 at 32 bits
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.debugBuffer << " " << c.stride << "x" << c.height);
        const ImageBlock other =
                c.block == ImageBlock::kImage ? ImageBlock::kDebugImage : ImageBlock::kImage;
        EventBuilder builder;
        builder.imagePattern(c.block, c.stride, c.height, 1).imagePattern(other, 8, 8, 2);
        property_set("vendor.debug.camera.utils.AovDebugBuffer", c.debugBuffer);
        LogCapture log;
        std::vector<AONResult> results;
        ParseImageData(results, builder.event());
        const bool delivered = c.bytes != kEmpty && c.bytes != kDropped;
        ASSERT_EQ(KeysOf(results), (delivered ? Keys{700, 701, 702, 703} : Keys{}));
        if (c.bytes == kDropped) {
            EXPECT_TRUE(log.hasLine(ANDROID_LOG_ERROR, "AONManagerCallback",
                                    "image stride:" + std::to_string(c.stride) +
                                            ", height:" + std::to_string(c.height) + " needs " +
                                            std::to_string(c.announced) + " bytes, only " +
                                            std::to_string(EventBuilder::ImageCapacity(c.block)) +
                                            " fit in the event record: image results dropped"));
        } else {
            EXPECT_TRUE(log.linesOf("AONManagerCallback").empty());
        }
        if (!delivered) continue;
        EXPECT_EQ(results[0].value.get<Tag::intValue>(), static_cast<int32_t>(c.stride));
        EXPECT_EQ(results[1].value.get<Tag::intValue>(), static_cast<int32_t>(c.height));
        EXPECT_EQ(results[2].value.get<Tag::intValue>(), static_cast<int32_t>(c.stride));
        const std::vector<uint8_t>& bytes = results[3].value.get<Tag::byteArray>();
        ASSERT_EQ(bytes.size(), c.bytes);
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), builder.imageData(c.block)));
    }
}

}  // namespace
}  // namespace aon_test
