// Writes 8-bit grayscale or RGB images as PNG files with libpng.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace aon_tools {

struct PngImage {
    uint32_t width = 0;
    uint32_t height = 0;
    int channels = 1;     // 1 grayscale, 3 RGB
    size_t rowBytes = 0;  // distance between rows in `pixels`, at least width * channels
    const uint8_t* pixels = nullptr;
};

// Returns false with `error` set when the file cannot be written.
bool WritePng(const std::string& path, const PngImage& image, std::string* error);

}  // namespace aon_tools
