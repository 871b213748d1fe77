#include "tools/common/PngWriter.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

namespace aon_tools {
namespace {

struct ErrorText {
    char text[256] = {};
};

void OnPngError(png_structp png, png_const_charp message) {
    auto* error = static_cast<ErrorText*>(png_get_error_ptr(png));
    std::snprintf(error->text, sizeof(error->text), "%s", message);
    png_longjmp(png, 1);
}

void OnPngWarning(png_structp, png_const_charp) {}

// Everything between setjmp and a possible longjmp uses only trivially destructible locals.
bool Encode(FILE* file, const PngImage& image, const png_bytep* rows, ErrorText* error) {
    png_structp png =
            png_create_write_struct(PNG_LIBPNG_VER_STRING, error, OnPngError, OnPngWarning);
    if (png == nullptr) {
        std::snprintf(error->text, sizeof(error->text), "libpng could not start");
        return false;
    }
    png_infop info = png_create_info_struct(png);
    if (info == nullptr || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, image.width, image.height, 8,
                 image.channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, 3);
    png_write_info(png, info);
    png_write_image(png, const_cast<png_bytepp>(rows));
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return true;
}

}  // namespace

bool WritePng(const std::string& path, const PngImage& image, std::string* error) {
    if (image.width == 0 || image.height == 0 || image.pixels == nullptr ||
        (image.channels != 1 && image.channels != 3) ||
        image.rowBytes < static_cast<size_t>(image.width) * image.channels) {
        *error =
                "not an image: " + std::to_string(image.width) + "x" + std::to_string(image.height);
        return false;
    }
    std::vector<png_bytep> rows(image.height);
    for (uint32_t y = 0; y < image.height; ++y) {
        rows[y] = const_cast<png_bytep>(image.pixels + y * image.rowBytes);
    }
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        *error = path + ": " + std::strerror(errno);
        return false;
    }
    ErrorText pngError;
    const bool encoded = Encode(file, image, rows.data(), &pngError);
    const bool closed = std::fclose(file) == 0;
    if (!encoded || !closed) {
        *error = path + ": " + (encoded ? std::string(std::strerror(errno)) : pngError.text);
        return false;
    }
    return true;
}

}  // namespace aon_tools
