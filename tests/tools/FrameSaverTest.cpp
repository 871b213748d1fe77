// Images clients receive become PNG files: rows cropped to the frame width, the stride kept
// between rows, the chroma plane read in the chosen layout.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "tools/common/FrameSaver.h"

namespace aon_sim {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;

AONResult IntResult(int32_t key, int32_t value) {
    return {key, AONResultValue::make<AONResultValue::Tag::intValue>(value)};
}

// A 4x2 frame in rows of stride 6: Y first, then one row of interleaved chroma. The left pair
// of pixels is white (Y 235, neutral chroma), the right pair pure red in BT.601 limited range.
AONCallBackInfo Frame() {
    const std::vector<uint8_t> bytes = {235, 235, 81, 81, 7, 7,      // Y row 0 (2 pad bytes)
                                        235, 235, 81, 81, 7, 7,      // Y row 1
                                        128, 128, 90, 240, 7, 7};    // U V | U V | pad
    return {0,
            {IntResult(700, 6),
             IntResult(701, 2),
             IntResult(702, 6),
             {703, AONResultValue::make<AONResultValue::Tag::byteArray>(bytes)},
             IntResult(0, 42),
             IntResult(1, 4),
             IntResult(2, 2)}};
}

struct Png {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;
};

Png Read(const std::string& path, png_uint_32 format) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.c_str())) return {};
    image.format = format;
    Png png{image.width, image.height, {}};
    png.pixels.resize(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, png.pixels.data(), 0, nullptr)) png.pixels.clear();
    return png;
}

class FrameSaverTest : public ::testing::Test {
  protected:
    void TearDown() override { std::filesystem::remove_all(mDirectory); }
    const std::string mDirectory = ::testing::TempDir() + "aon-frames-" + std::to_string(getpid());
    const std::string mFile = mDirectory + "/app-frame000042.png";
};

// Gray is the luma plane cropped to the frame width; NV12 reads U 90, V 240 for the right pair
// (red), NV21 swaps them (blue); the white pair stays white.
TEST_F(FrameSaverTest, GrayIsTheCroppedLumaAndTheChromaLayoutDecidesTheColours) {
    std::filesystem::create_directories(mDirectory);
    std::string path;
    std::string error;
    ASSERT_TRUE(aon_tools::FrameSaver(mDirectory, aon_tools::FrameColor::kGray)
                        .Save("app", Frame(), &path, &error))
            << error;
    EXPECT_EQ(path, mFile);
    const Png gray = Read(path, PNG_FORMAT_GRAY);
    EXPECT_EQ(std::make_pair(gray.width, gray.height), std::make_pair(4u, 2u));
    EXPECT_EQ(gray.pixels, std::vector<uint8_t>({235, 235, 81, 81, 235, 235, 81, 81}));

    for (const auto& [color, red, blue] : {std::tuple{aon_tools::FrameColor::kNv12, 255, 0},
                                           std::tuple{aon_tools::FrameColor::kNv21, 0, 255}}) {
        ASSERT_TRUE(aon_tools::FrameSaver(mDirectory, color).Save("app", Frame(), &path, &error))
                << error;
        const Png png = Read(path, PNG_FORMAT_RGB);
        ASSERT_EQ(png.pixels.size(), 4u * 2u * 3u);
        for (int channel = 0; channel < 3; ++channel) EXPECT_NEAR(png.pixels[channel], 255, 2);
        EXPECT_NEAR(png.pixels[3 * 3], red, 40);
        EXPECT_NEAR(png.pixels[3 * 3 + 2], blue, 40);
    }
}

TEST_F(FrameSaverTest, NoImageWritesNothingAndAnUnwritableDirectoryIsReported) {
    std::filesystem::create_directories(mDirectory);
    const AONCallBackInfo info{0, {IntResult(0, 42), IntResult(1, 4), IntResult(2, 2)}};
    std::string path;
    std::string error;
    const aon_tools::FrameSaver saver(mDirectory, aon_tools::FrameColor::kGray);
    EXPECT_FALSE(saver.Save("app", info, &path, &error));
    EXPECT_TRUE(error.empty());
    EXPECT_EQ(saver.saved(), 0);
    EXPECT_FALSE(aon_tools::FrameSaver(mDirectory + "/missing", aon_tools::FrameColor::kGray)
                         .Save("app", Frame(), &path, &error));
    EXPECT_NE(error.find("No such file or directory"), std::string::npos) << error;
}

}  // namespace
}  // namespace aon_sim
