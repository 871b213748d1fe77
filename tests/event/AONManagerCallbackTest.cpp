// The manager callback turns a stream record into one client record: detector results in bit
// order, then the image, then the frame keys; and state changes into sensor states. Debug dumps of
// the detector output: which files, in which order, with which bytes.
#include <cutils/properties.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <string>
#include <tuple>

#include "event/AONManagerCallback.h"
#include "event/AovEvent.h"
#include "host/DataAon.h"
#include "host/EventBuilder.h"
#include "tests/event/FakeOutEventCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {
namespace {

using namespace tarvo::aon;
using host::EventBuilder;
using host::ImageBlock;

// While a DumpDirectory lives, "/data/aon/" opens go into a private temporary directory (the binary
// links host_data_aon) and are recorded in call order; with none alive they fail with EACCES, so
// no test writes to the machine's real directory. `present` false stands for a device without the
// directory: opens go to a path that does not exist and fail as fopen fails there.
struct DumpOpen {
    std::string path, mode;
};
std::mutex gOpensLock;
std::vector<DumpOpen> gOpens;
[[maybe_unused]] const bool gRefusedAtStart = (host::RefuseDataAon(), true);

class DumpDirectory final {
  public:
    explicit DumpDirectory(bool present = true) {
        std::string pattern = (std::filesystem::temp_directory_path() / "aon_dump_XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) abort();
        mTempRoot = pattern;
        mRoot = present ? mTempRoot : mTempRoot + "/missing";
        std::lock_guard<std::mutex> guard(gOpensLock);
        gOpens.clear();
        host::SetDataAonObserver([](const char* path, const char* mode) {
            std::lock_guard<std::mutex> guard(gOpensLock);
            gOpens.push_back({path, mode});
        });
        host::RedirectDataAon(mRoot);
    }
    ~DumpDirectory() {
        host::RefuseDataAon();
        host::SetDataAonObserver(nullptr);
        std::error_code ignored;
        std::filesystem::remove_all(mTempRoot, ignored);
    }
    std::vector<DumpOpen> opens() const {
        std::lock_guard<std::mutex> guard(gOpensLock);
        return gOpens;
    }
    std::string read(const std::string& dataAonPath) const {  // what the product wrote there
        std::ifstream in(mRoot + "/" + dataAonPath.substr(std::strlen("/data/aon/")),
                         std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    bool exists() const { return std::filesystem::exists(mRoot); }

  private:
    std::string mTempRoot, mRoot;
};

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
    std::vector<float> words;  // what key 103 holds: each item's words, the first by value
    for (int i = 0; i < 2; ++i) {
        words.push_back(static_cast<float>(items[i].word0 = 3 - 5 * i));
        for (int w = 0; w < 19; ++w) words.push_back(items[i].words[w] = i + w / 4.0f);
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
    // The fusion entries' values (the event fuzzer compares the other detectors' blocks).
    const std::vector<AONResult>& r = mOut->events[0].results;
    EXPECT_EQ(std::tuple(r[0].value.get<Tag::floatValue>(), r[1].value.get<Tag::intValue>(),
                         r[2].value.get<Tag::intValue>(), r[3].value.get<Tag::floatArray>()),
              std::tuple(-12.5f, 2, 20, words));
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

// Which bit selects which detector, the blocks' bytes included, is checked by the event fuzzer's
// replay; each parser's size check by ResultParsersTest.
TEST_F(AONManagerCallbackTest, EventsGoOutWhateverTheDetectorsGave) {
    const LogLine kZero =
            HalLine(ANDROID_LOG_WARN, "AONManagerCallback: onCallback serviceType == 0");
    const struct {
        uint32_t serviceType, outputSize, stride;
        Keys keys;
        std::vector<LogLine> lines;
    } cases[] = {
            {0, 300000, 64, {700, 701, 702, 703, 0, 1, 2}, {kZero}},
            {0, 300000, 0, {0, 1, 2}, {kZero}},
            {0xFFFFFFF0, 300000, 64, {700, 701, 702, 703, 0, 1, 2}, {}},  // no parser
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
    // The rows of kBlocks written after the nine that every type writes; only "1" turns dumps on.
    const struct {
        const char* property;
        uint32_t serviceType;
        std::vector<size_t> groups;
    } cases[] = {
            {"1", 0x0, {}},
            {"1", 0x1, {}},  // fusion has no files of its own; any bit off by one shows here
            {"1", 0x6, {9, 10, 11, 12, 13, 14, 15, 16, 17, 18}},
            {"1", 0xF, {9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21}},
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
        std::vector<size_t> rows{0, 1, 2, 3, 4, 5, 6, 7, 8};
        rows.insert(rows.end(), c.groups.begin(), c.groups.end());
        if (std::string(c.property) != "1") rows.clear();
        const auto opens = dir.opens();
        ASSERT_EQ(opens.size(), rows.size());
        // Each file's gated line, after the service type's and before any parser's.
        auto lines = log.linesOf("AONManagerCallback");
        if (c.serviceType == 0) lines.erase(lines.begin());  // its WARN comes first
        ASSERT_GT(lines.size(), opens.size());
        for (size_t i = 0; i < opens.size(); ++i) {
            const Block& block = kBlocks[rows[i]];
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
