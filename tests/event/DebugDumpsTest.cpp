// Debug dumps of the detector output: which files, in which order, with which bytes.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include "event/AONManagerCallback.h"
#include "event/AovEvent.h"
#include "host/EventBuilder.h"
#include "tests/event/DumpDirectory.h"
#include "tests/event/FakeOutEventCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {
namespace {

using namespace tarvo::aon;
using host::EventBuilder;

// The 22 files in the order they are written: name, offset in apu_output, bytes.
const struct Block {
    const char* name;
    size_t offset, bytes;
} kBlocks[] = {
        {"aon_input", 0, 82944},
        {"aon_output_channel0", 82944, 5184},
        {"aon_output_channel1", 88320, 1296},
        {"aon_output_channel2", 89856, 324},
        {"aon_output_channel3", 90368, 82944},
        {"aon_output_channel4", 173312, 20736},
        {"aon_output_channel5", 194048, 5184},
        {"aon_output_channel6", 199424, 4},
        {"aon_eyes_bounding", 202240, 6272},
        {"aon_gaze_output_channel0", 208640, 4},
        {"aon_gaze_output_channel1", 208896, 2},
        {"aon_gaze_output_result", 209152, 24},
        {"face_bounding", 209408, 4096},
        {"angle_output_channel0", 213504, 1},
        {"angle_output_channel1", 213760, 1},
        {"angle_output_channel2", 214016, 1},
        {"angle_output_channel3", 214272, 1},
        {"angle_output_channel4", 214528, 10},
        {"angle_result", 214784, 56},
        {"face_feature_input", 215040, 12544},
        {"face_feature_output_channel0", 227584, 128},
        {"face_feature_result", 227840, 128},
};

std::string PathOf(int frame, const Block& block) {
    return "/data/aon/frame_" + std::to_string(frame) + "_" + block.name + ".dump";
}

// One event through the manager callback; the output area holds PatternByte(offset, 9).
void Deliver(int frame, uint32_t serviceType, const std::shared_ptr<IOutEventCallback>& out) {
    static EventBuilder builder;
    builder.reset().frame(static_cast<uint32_t>(frame), 640, 480).serviceType(serviceType);
    builder.fullApuOutputSize().outputPattern(0, kApuOutputMapEnd, 9);
    AONManagerCallback::create(out)->onCallback(builder.event());
}

TEST(DebugDumpsTest, GroupsFollowTheirBitsInTheFixedOrderWithExactBytes) {
    const std::vector<size_t> always = {0, 1, 2, 3, 4, 5, 6, 7, 8};
    auto with = [&](std::vector<size_t> rows) {
        rows.insert(rows.begin(), always.begin(), always.end());
        return rows;
    };
    const struct {
        const char* property;
        uint32_t serviceType;
        std::vector<size_t> rows;
    } cases[] = {
            {"1", 0x0, always},
            {"1", 0x1, always},  // fusion has no files of its own
            {"1", 0x2, with({12, 13, 14, 15, 16, 17, 18})},
            {"1", 0x4, with({9, 10, 11})},
            {"1", 0x8, with({19, 20, 21})},
            {"1", 0xF, with({9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21})},
            {"2", 0xF, {}},
            {"", 0xF, {}},
    };
    property_set("vendor.debug.cameralog.enable", "1");
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.property << " " << c.serviceType);
        DumpDirectory dir;
        property_set("tarvo.aon.hal.mtk_dump_apu", c.property);
        LogCapture log;
        Deliver(-3, c.serviceType, nullptr);  // the frame number is formatted signed
        const auto opens = dir.opens();
        ASSERT_EQ(opens.size(), c.rows.size());
        // Each file's gated line, after the service type's and before any parser's.
        auto lines = log.linesOf("AONManagerCallback");
        if (c.serviceType == 0) lines.erase(lines.begin());  // its WARN comes first
        ASSERT_GT(lines.size(), opens.size());
        for (size_t i = 0; i < opens.size(); ++i) {
            const Block& block = kBlocks[c.rows[i]];
            EXPECT_EQ(opens[i].path, PathOf(-3, block));
            EXPECT_EQ(lines[1 + i], HalLine(ANDROID_LOG_DEBUG,
                                            "dump aon output in " + opens[i].path + " file.\n"));
            EXPECT_EQ(opens[i].mode, "wb+");
            std::string expected(block.bytes, '\0');
            for (size_t b = 0; b < block.bytes; ++b) {
                expected[b] = static_cast<char>(EventBuilder::PatternByte(block.offset + b, 9));
            }
            EXPECT_EQ(dir.read(opens[i].path), expected) << block.name;
        }
    }
}

TEST(DebugDumpsTest, MissingDirectoryGivesOneErrorPerFileAndTheEventStillGoesOut) {
    DumpDirectory dir(/*present=*/false);
    LogCapture log;
    auto out = std::make_shared<FakeOutEventCallback>();
    property_set("tarvo.aon.hal.mtk_dump_apu", "1");
    Deliver(7, 0xF, out);

    std::vector<LogLine> expected;
    for (const Block& block : kBlocks) {
        expected.push_back(HalLine(ANDROID_LOG_ERROR,
                                   "AONManagerCallback: open output file " + PathOf(7, block) +
                                           " fail, file No such file or directory.\n"));
    }
    EXPECT_EQ(log.lines(), expected);
    EXPECT_FALSE(dir.exists());
    ASSERT_EQ(out->events.size(), 1u);
    EXPECT_EQ(out->events[0].results.size(), 10u);  // 4 fusion, 3 detectors, 3 frame keys
}

}  // namespace
}  // namespace aon_test
