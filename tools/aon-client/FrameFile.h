// The images the client receives, as files: the luma plane as PGM, the whole 4:2:0 buffer as raw
// bytes with its size in the name (both need nothing beyond the C library, so a device writes
// them too), or the luma plane as PNG where the build has libpng (the host).
//
// An image is result key 703 (bytes), with its stride (702) and height (701); the frame width
// (key 1) crops the rows of the PGM and PNG files, the frame id (key 0) names the file.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>

#include <cstdint>
#include <string>
#include <vector>

namespace aon_client {

enum class FrameFormat { kPgm, kYuv, kPng };

struct FrameImage {
    int64_t frameId = 0;
    uint32_t width = 0;   // shown pixels per row, at most `stride`
    uint32_t stride = 0;  // bytes between rows
    uint32_t height = 0;
    std::vector<uint8_t> bytes;  // stride x height luma, then the chroma as it came
};

// "pgm", "yuv" or "png".
bool ParseFrameFormat(const std::string& text, FrameFormat* format);
const char* FrameFormatName(FrameFormat format);

// The event's image, copied; false when it carries none, or fewer bytes than its stride and
// height promise for the luma plane.
bool ExtractFrame(const aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& info,
                  FrameImage* image);

// Writes `image` into `directory` as frame<id>.pgm, frame<id>-<stride>x<height>.yuv or
// frame<id>.png. False with `error` set when it cannot.
bool WriteFrame(const std::string& directory, FrameFormat format, const FrameImage& image,
                std::string* path, std::string* error);

}  // namespace aon_client
