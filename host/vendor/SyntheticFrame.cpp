#include "host/SyntheticFrame.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace host {
namespace {

using namespace tarvo::aon;

// A triangle wave from 0 to `amplitude` and back over `period` steps: integer only, so that frames
// are the same on every machine.
int32_t Triangle(uint32_t step, uint32_t period, int32_t amplitude) {
    const uint32_t phase = step % period;
    const uint32_t half = period / 2;
    const uint32_t rising = phase < half ? phase : period - phase;
    return static_cast<int32_t>(static_cast<int64_t>(rising) * amplitude / half);
}

// Where the simulated face is in this frame, in pixels.
struct FaceBox {
    int32_t left = 0;
    int32_t top = 0;
    int32_t size = 0;
};

FaceBox FaceOf(const SyntheticFrameParams& wanted) {
    FaceBox face;
    const int32_t width = static_cast<int32_t>(wanted.width);
    const int32_t height = static_cast<int32_t>(wanted.height);
    face.size = std::max(2, std::min(width, height) / 4);
    face.left = Triangle(wanted.frameId, 64, std::max(0, width - face.size));
    face.top = Triangle(wanted.frameId + 16, 40, std::max(0, height - face.size));
    return face;
}

// Written row by row from precomputed lines rather than pixel by pixel: a frame costs about a
// copy of its bytes, so that long simulated runs stay fast.
void FillImage(EventBuilder& builder, const SyntheticFrameParams& wanted, uint32_t rows) {
    const uint32_t width = wanted.width;
    uint8_t* data = builder.imageData(ImageBlock::kImage,
                                      static_cast<size_t>(width) * rows + width * (rows / 2));
    const FaceBox face = FaceOf(wanted);
    const uint32_t shift = wanted.frameId * 4;
    // Y: diagonal bars sliding to the right (a 64-pixel period), the face a bright square with a
    // dark rim. Row y starts at position (y / 2 + width - shift % width) % 64 of the bars.
    std::vector<uint8_t> bars(static_cast<size_t>(width) + 64);
    for (size_t i = 0; i < bars.size(); ++i) bars[i] = static_cast<uint8_t>(16 + (i % 64) * 3);
    for (uint32_t y = 0; y < rows; ++y) {
        uint8_t* row = data + static_cast<size_t>(y) * width;
        memcpy(row, bars.data() + (y / 2 + width - shift % width) % 64, width);
        const int32_t dy = static_cast<int32_t>(y) - face.top;
        if (dy < 0 || dy >= face.size) continue;
        const int32_t right = std::min<int32_t>(face.left + face.size, static_cast<int32_t>(width));
        if (right <= face.left) continue;
        // The rim is the first and last two rows of the face and its first and last two columns.
        const bool rimRow = dy < 2 || dy >= face.size - 2;
        memset(row + face.left, rimRow ? 16 : 235, static_cast<size_t>(right - face.left));
        memset(row + face.left, 16, static_cast<size_t>(std::min(2, right - face.left)));
        const int32_t rimRight = std::max(right - 2, face.left);
        memset(row + rimRight, 16, static_cast<size_t>(right - rimRight));
    }
    // UV (interleaved, U first): eight colour bars, neutral under the face. An odd last byte of a
    // row stays 0.
    uint8_t* chroma = data + static_cast<size_t>(width) * rows;
    static const std::array<std::pair<uint8_t, uint8_t>, 8> kBars = {{{128, 128},
                                                                      {44, 142},
                                                                      {156, 44},
                                                                      {72, 58},
                                                                      {184, 198},
                                                                      {100, 212},
                                                                      {212, 114},
                                                                      {128, 128}}};
    std::vector<uint8_t> line(width, 0);
    for (uint32_t x = 0; x + 1 < width; x += 2) {
        const auto& bar = kBars[(x * 8) / width];
        line[x] = bar.first;
        line[x + 1] = bar.second;
    }
    for (uint32_t y = 0; y < rows / 2; ++y) {
        uint8_t* row = chroma + static_cast<size_t>(y) * width;
        memcpy(row, line.data(), width);
        const int32_t top = static_cast<int32_t>(y * 2);
        if (top < face.top || top >= face.top + face.size) continue;
        // The even positions inside the face.
        for (int32_t x = (face.left + 1) & ~1;
             x < face.left + face.size && static_cast<uint32_t>(x) + 1 < width; x += 2) {
            row[x] = 128;
            row[x + 1] = 128;
        }
    }
}

void FillDetectors(EventBuilder& builder, const SyntheticFrameParams& wanted) {
    const FaceBox face = FaceOf(wanted);
    const float width = static_cast<float>(std::max(1u, wanted.width));
    const float height = static_cast<float>(std::max(1u, wanted.height));
    const float left = static_cast<float>(face.left) / width;
    const float top = static_cast<float>(face.top) / height;
    const float right = static_cast<float>(face.left + face.size) / width;
    const float bottom = static_cast<float>(face.top + face.size) / height;
    const float yaw = static_cast<float>(Triangle(wanted.frameId, 48, 60) - 30);
    const float pitch = static_cast<float>(Triangle(wanted.frameId + 8, 32, 30) - 15);
    const float roll = static_cast<float>(Triangle(wanted.frameId + 4, 24, 20) - 10);
    const float score = 0.90f + static_cast<float>(wanted.frameId % 10) / 100.0f;

    if (wanted.serviceType & kServiceTypeFusion) {
        // Item: class id (1 face, 2 person), box, score, head pose; a person every other frame.
        std::vector<FusionItem> items(1 + wanted.frameId % 2);
        items[0].word0 = 1;
        items[0].words = {left, top, right, bottom, score, yaw, pitch, roll};
        if (items.size() > 1) {
            items[1].word0 = 2;
            items[1].words = {std::max(0.0f, left - 0.05f), top, std::min(1.0f, right + 0.05f),
                              1.0f, 0.8f};
        }
        builder.fusion(static_cast<uint32_t>(items.size()), 0.0f, items);
    }
    if (wanted.serviceType & kServiceTypeFaceAngle) {
        builder.faceAngle({yaw, pitch, roll, left, top, right, bottom, score,
                           (left + right) / 2, (top + bottom) / 2, 0, 0, 0, 0});
    }
    if (wanted.serviceType & kServiceTypeGaze) {
        const float gazeX = yaw / 90.0f;
        const float gazeY = pitch / 90.0f;
        builder.gaze({gazeX, gazeY, -1.0f, score, (left + right) / 2, (top + bottom) / 2});
    }
    if (wanted.serviceType & kServiceTypeFaceFeature) {
        // The same face every frame, give or take the sensor noise.
        std::array<uint8_t, kFaceFeatureResultBytes> feature{};
        for (size_t i = 0; i < feature.size(); ++i) {
            feature[i] = static_cast<uint8_t>(i * 37 + 11 + (wanted.frameId + i) % 3);
        }
        builder.faceFeature(feature);
    }
}

}  // namespace

uint32_t FillSyntheticFrame(EventBuilder& builder, const SyntheticFrameParams& wanted,
                            SyntheticReset reset) {
    if (reset == SyntheticReset::kWritten) {
        builder.resetWritten();
    } else {
        builder.reset();
    }
    builder.frame(wanted.frameId, wanted.width, wanted.height)
            .serviceType(wanted.serviceType)
            .fullApuOutputSize();
    FillDetectors(builder, wanted);
    if (wanted.width == 0 || wanted.height == 0) return 0;
    const size_t capacity = EventBuilder::ImageCapacity(ImageBlock::kImage);
    // Whole row pairs of Y and UV that fit in the block.
    const size_t rowPairBytes = static_cast<size_t>(wanted.width) * 3;
    const uint32_t rows = static_cast<uint32_t>(
            std::min<size_t>(wanted.height / 2, capacity / rowPairBytes) * 2);
    if (rows == 0) return 0;
    builder.image(ImageBlock::kImage, wanted.width, rows, {});
    FillImage(builder, wanted, rows);
    return rows;
}

}  // namespace host
