#include "tools/aon-client/FrameFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/aon-client/Platform.h"

namespace aon_client {
namespace {

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;

const AONResultValue* Find(const AONCallBackInfo& info, int32_t key, AONResultValue::Tag tag) {
    for (const AONResult& result : info.results) {
        if (result.key == key && result.value.getTag() == tag) return &result.value;
    }
    return nullptr;
}

int64_t IntOf(const AONCallBackInfo& info, int32_t key) {
    const AONResultValue* value = Find(info, key, AONResultValue::Tag::intValue);
    return value != nullptr ? value->get<AONResultValue::Tag::intValue>() : 0;
}

// Writes `header`, then `rows` rows of `length` bytes each, taken `stride` bytes apart.
bool WriteRows(const std::string& path, const std::string& header, const uint8_t* data, size_t rows,
               size_t length, size_t stride, std::string* error) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    bool ok = std::fwrite(header.data(), 1, header.size(), file) == header.size();
    for (size_t row = 0; ok && row < rows; ++row) {
        ok = std::fwrite(data + row * stride, 1, length, file) == length;
    }
    if (std::fclose(file) != 0) ok = false;
    if (!ok) *error = path + ": " + std::strerror(errno);
    return ok;
}

}  // namespace

bool ParseFrameFormat(const std::string& text, FrameFormat* format) {
    if (text == "pgm") {
        *format = FrameFormat::kPgm;
    } else if (text == "yuv") {
        *format = FrameFormat::kYuv;
    } else if (text == "png") {
        *format = FrameFormat::kPng;
    } else {
        return false;
    }
    return true;
}

const char* FrameFormatName(FrameFormat format) {
    switch (format) {
        case FrameFormat::kPgm:
            return "pgm";
        case FrameFormat::kYuv:
            return "yuv";
        case FrameFormat::kPng:
            return "png";
    }
    return "?";
}

bool ExtractFrame(const AONCallBackInfo& info, FrameImage* image) {
    const AONResultValue* bytes = Find(info, 703, AONResultValue::Tag::byteArray);
    const int64_t stride = IntOf(info, 702);
    const int64_t height = IntOf(info, 701);
    if (bytes == nullptr || stride <= 0 || height <= 0) return false;
    const std::vector<uint8_t>& data = bytes->get<AONResultValue::Tag::byteArray>();
    if (static_cast<int64_t>(data.size()) < stride * height) return false;
    const int64_t width = IntOf(info, 1);
    image->frameId = IntOf(info, 0);
    image->stride = static_cast<uint32_t>(stride);
    image->height = static_cast<uint32_t>(height);
    image->width = static_cast<uint32_t>(width > 0 && width <= stride ? width : stride);
    image->bytes = data;
    return true;
}

bool WriteFrame(const std::string& directory, FrameFormat format, const FrameImage& image,
                std::string* path, std::string* error) {
    char name[96];
    switch (format) {
        case FrameFormat::kPgm: {
            std::snprintf(name, sizeof(name), "/frame%06lld.pgm",
                          static_cast<long long>(image.frameId));
            *path = directory + name;
            const std::string header = "P5\n" + std::to_string(image.width) + " " +
                                       std::to_string(image.height) + "\n255\n";
            return WriteRows(*path, header, image.bytes.data(), image.height, image.width,
                             image.stride, error);
        }
        case FrameFormat::kYuv:
            std::snprintf(name, sizeof(name), "/frame%06lld-%ux%u.yuv",
                          static_cast<long long>(image.frameId), image.stride, image.height);
            *path = directory + name;
            return WriteRows(*path, "", image.bytes.data(), 1, image.bytes.size(),
                             image.bytes.size(), error);
        case FrameFormat::kPng:
            std::snprintf(name, sizeof(name), "/frame%06lld.png",
                          static_cast<long long>(image.frameId));
            *path = directory + name;
            return WriteGrayPng(*path, image.width, image.height, image.stride, image.bytes.data(),
                                error);
    }
    return false;
}

}  // namespace aon_client
