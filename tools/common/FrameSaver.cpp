#include "tools/common/FrameSaver.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/common/PngWriter.h"

namespace aon_tools {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;

const AONResult* Find(const AONCallBackInfo& info, int32_t key) {
    for (const AONResult& result : info.results) {
        if (result.key == key) return &result;
    }
    return nullptr;
}

int32_t IntOf(const AONResult* result) {
    if (result == nullptr || result->value.getTag() != AONResultValue::Tag::intValue) return 0;
    return result->value.get<AONResultValue::Tag::intValue>();
}

uint8_t Clamp(int value) {
    return static_cast<uint8_t>(std::min(255, std::max(0, value)));
}

// BT.601 limited range, in fixed point.
void ToRgb(int y, int u, int v, uint8_t* rgb) {
    const int c = (y - 16) * 298;
    const int d = u - 128;
    const int e = v - 128;
    rgb[0] = Clamp((c + 409 * e + 128) >> 8);
    rgb[1] = Clamp((c - 100 * d - 208 * e + 128) >> 8);
    rgb[2] = Clamp((c + 516 * d + 128) >> 8);
}

}  // namespace

FrameSaver::FrameSaver(std::string directory, FrameColor color)
    : mDirectory(std::move(directory)), mColor(color) {}

bool FrameSaver::ParseColor(const std::string& text, FrameColor* color) {
    if (text == "gray")
        *color = FrameColor::kGray;
    else if (text == "nv12")
        *color = FrameColor::kNv12;
    else if (text == "nv21")
        *color = FrameColor::kNv21;
    else if (text == "i420")
        *color = FrameColor::kI420;
    else
        return false;
    return true;
}

bool FrameSaver::Save(const std::string& client, const AONCallBackInfo& info, std::string* path,
                      std::string* error) const {
    const AONResult* bytesResult = Find(info, 703);
    if (bytesResult == nullptr || bytesResult->value.getTag() != AONResultValue::Tag::byteArray) {
        return false;
    }
    const std::vector<uint8_t>& bytes = bytesResult->value.get<AONResultValue::Tag::byteArray>();
    const int64_t stride = IntOf(Find(info, 702));
    const int64_t height = IntOf(Find(info, 701));
    const int64_t frameWidth = IntOf(Find(info, 1));
    if (stride <= 0 || height <= 0) return false;
    const int64_t width = frameWidth > 0 && frameWidth <= stride ? frameWidth : stride;
    const bool color = mColor != FrameColor::kGray;
    const int64_t needed = color ? stride * height * 3 / 2 : stride * height;
    if (static_cast<int64_t>(bytes.size()) < needed) return false;

    char name[64];
    std::snprintf(name, sizeof(name), "-frame%06d.png", IntOf(Find(info, 0)));
    *path = mDirectory + "/" + client + name;
    PngImage image;
    image.width = static_cast<uint32_t>(width);
    image.height = static_cast<uint32_t>(height);
    if (!color) {
        image.channels = 1;
        image.rowBytes = static_cast<size_t>(stride);
        image.pixels = bytes.data();
        return Written(WritePng(*path, image, error));
    }
    std::vector<uint8_t> rgb(static_cast<size_t>(width * height * 3));
    const uint8_t* chroma = bytes.data() + stride * height;
    const int64_t chromaBytes = static_cast<int64_t>(bytes.size()) - stride * height;
    const int64_t planeBytes = (stride / 2) * (height / 2);
    for (int64_t y = 0; y < height; ++y) {
        for (int64_t x = 0; x < width; ++x) {
            int u = 128;
            int v = 128;
            if (mColor == FrameColor::kI420) {
                const int64_t at = (y / 2) * (stride / 2) + x / 2;
                if (planeBytes + at < chromaBytes) {
                    u = chroma[at];
                    v = chroma[planeBytes + at];
                }
            } else {
                const int64_t at = (y / 2) * stride + (x / 2) * 2;
                if (at + 1 < chromaBytes) {
                    u = chroma[at + (mColor == FrameColor::kNv12 ? 0 : 1)];
                    v = chroma[at + (mColor == FrameColor::kNv12 ? 1 : 0)];
                }
            }
            ToRgb(bytes[y * stride + x], u, v, &rgb[(y * width + x) * 3]);
        }
    }
    image.channels = 3;
    image.rowBytes = static_cast<size_t>(width * 3);
    image.pixels = rgb.data();
    return Written(WritePng(*path, image, error));
}

bool FrameSaver::Written(bool written) const {
    if (written) ++mSaved;
    return written;
}

}  // namespace aon_tools
