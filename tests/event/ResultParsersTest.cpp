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
            const LogLine rejected =
                    HalLine(c.rejectPriority,
                            "AONManagerCallback: output size is small than aod offset and size");
            EXPECT_EQ(log.lines(), accepted ? std::vector<LogLine>{} : std::vector{rejected});
        }
    }
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
