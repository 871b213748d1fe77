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

TEST(ResultParsersTest, ImageComesFromTheSelectedBlockWithA32BitSizeBoundedByTheRecord) {
    const size_t kCapacity = EventBuilder::ImageCapacity(ImageBlock::kImage);
    const struct {
        const char* debugBuffer;
        ImageBlock block;
        uint32_t stride, height;
        size_t bytes;  // SIZE_MAX: no image entries
    } cases[] = {
            {"", ImageBlock::kImage, 640, 480, 460800},
            {"3", ImageBlock::kImage, 3, 1, 4},
            {"2", ImageBlock::kDebugImage, 1280, 720, 1382400},
            {"0x2", ImageBlock::kDebugImage, 1280, 721, 1382400},  // stops at the record's end
            {"1", ImageBlock::kImage, 0, 480, SIZE_MAX},
            {"1", ImageBlock::kImage, 640, 0, SIZE_MAX},
            {"1", ImageBlock::kImage, 0x10000, 0x10000, 0},  // the product wraps to 0
            {"1", ImageBlock::kImage, 0xAAAAAAAB, 1, 0},     // x3 wraps to 1
            {"1", ImageBlock::kImage, 0xFFFFFFFF, 1, kCapacity},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.debugBuffer << " " << c.stride << "x" << c.height);
        const ImageBlock other =
                c.block == ImageBlock::kImage ? ImageBlock::kDebugImage : ImageBlock::kImage;
        EventBuilder builder;
        builder.imagePattern(c.block, c.stride, c.height, 1).imagePattern(other, 8, 8, 2);
        property_set("vendor.debug.camera.utils.AovDebugBuffer", c.debugBuffer);
        std::vector<AONResult> results;
        ParseImageData(results, builder.event());
        ASSERT_EQ(KeysOf(results), (c.bytes == SIZE_MAX ? Keys{} : Keys{700, 701, 702, 703}));
        if (results.empty()) continue;
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
