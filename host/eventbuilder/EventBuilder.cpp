#include "host/EventBuilder.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace host {
namespace {

using namespace tarvo::aon;

constexpr size_t kAlignment = 64;
static_assert(sizeof(aov_event) % kAlignment == 0);

}  // namespace

void EventBuilder::Free::operator()(aov_event* event) const {
    std::free(event);
}

EventBuilder::EventBuilder()
    : mEvent(static_cast<aov_event*>(std::aligned_alloc(kAlignment, sizeof(aov_event)))) {
    if (!mEvent) abort();
    reset();
}

EventBuilder& EventBuilder::reset() {
    memset(mEvent.get(), 0, sizeof(aov_event));
    mWritten.clear();
    return *this;
}

EventBuilder& EventBuilder::resetWritten() {
    for (const auto& [offset, size] : mWritten) memset(bytes() + offset, 0, size);
    mWritten.clear();
    return *this;
}

void EventBuilder::Written(const void* at, size_t size) {
    const size_t offset = static_cast<size_t>(static_cast<const uint8_t*>(at) - bytes());
    if (size > 0) mWritten.emplace_back(offset, std::min(size, sizeof(aov_event) - offset));
}

EventBuilder& EventBuilder::frame(uint32_t id, uint32_t width, uint32_t height) {
    mEvent->frame_id = id;
    mEvent->frame_width = width;
    mEvent->frame_height = height;
    Written(&mEvent->frame_id, sizeof(uint32_t));
    Written(&mEvent->frame_width, sizeof(uint32_t));
    Written(&mEvent->frame_height, sizeof(uint32_t));
    return *this;
}

EventBuilder& EventBuilder::serviceType(uint32_t serviceType) {
    mEvent->service_type = serviceType;
    Written(&mEvent->service_type, sizeof(uint32_t));
    return *this;
}

EventBuilder& EventBuilder::apuOutputSize(uint32_t size) {
    mEvent->apu_output_size = size;
    Written(&mEvent->apu_output_size, sizeof(uint32_t));
    return *this;
}

EventBuilder& EventBuilder::fullApuOutputSize() {
    return apuOutputSize(kApuOutputMapEnd + 1);
}

EventBuilder& EventBuilder::fusion(uint32_t count, float rotateAngle,
                                   const std::vector<FusionItem>& items) {
    uint8_t* block = mEvent->apu_output + kFusionBlockOffset;
    memcpy(block + kFusionCountOffset, &count, sizeof(count));
    memcpy(block + kFusionRotateAngleOffset, &rotateAngle, sizeof(rotateAngle));
    Written(block + kFusionCountOffset, sizeof(count));
    Written(block + kFusionRotateAngleOffset, sizeof(rotateAngle));
    const size_t written = std::min(items.size(), kFusionMaxItems);
    for (size_t i = 0; i < written; ++i) {
        uint8_t* item = block + kFusionItemsOffset + i * kFusionItemBytes;
        memcpy(item, &items[i].word0, sizeof(int32_t));
        memcpy(item + sizeof(int32_t), items[i].words.data(), sizeof(items[i].words));
        Written(item, kFusionItemBytes);
    }
    return *this;
}

EventBuilder& EventBuilder::faceAngle(const std::array<float, kFaceAngleResultFloats>& values) {
    return outputBytes(kFaceAngleResultOffset, values.data(), sizeof(values));
}

EventBuilder& EventBuilder::gaze(const std::array<float, kGazeResultFloats>& values) {
    return outputBytes(kGazeResultOffset, values.data(), sizeof(values));
}

EventBuilder& EventBuilder::faceFeature(
        const std::array<uint8_t, kFaceFeatureResultBytes>& values) {
    return outputBytes(kFaceFeatureResultOffset, values.data(), sizeof(values));
}

EventBuilder& EventBuilder::outputBytes(size_t offset, const void* data, size_t size) {
    constexpr size_t kArea = sizeof(aov_event::apu_output);
    if (offset >= kArea) return *this;
    memcpy(mEvent->apu_output + offset, data, std::min(size, kArea - offset));
    Written(mEvent->apu_output + offset, std::min(size, kArea - offset));
    return *this;
}

EventBuilder& EventBuilder::outputPattern(size_t offset, size_t size, uint32_t seed) {
    constexpr size_t kArea = sizeof(aov_event::apu_output);
    if (offset >= kArea) return *this;
    const size_t bytes = std::min(size, kArea - offset);
    for (size_t i = 0; i < bytes; ++i) mEvent->apu_output[offset + i] = PatternByte(i, seed);
    Written(mEvent->apu_output + offset, bytes);
    return *this;
}

size_t EventBuilder::ImageCapacity(ImageBlock block) {
    return sizeof(aov_event) -
           (block == ImageBlock::kImage ? kAovImageDataOffset : kAovDebugImageDataOffset);
}

uint8_t* EventBuilder::imageData(ImageBlock block) {
    return block == ImageBlock::kImage ? mEvent->image.data : mEvent->debug_image.data;
}

uint8_t* EventBuilder::imageData(ImageBlock block, size_t bytes) {
    uint8_t* data = imageData(block);
    Written(data, std::min(bytes, ImageCapacity(block)));
    return data;
}

EventBuilder& EventBuilder::image(ImageBlock block, uint32_t stride, uint32_t height,
                                  const std::vector<uint8_t>& data) {
    const auto setHeader = [&](auto& header) {
        header.stride = stride;
        header.height = height;
        Written(&header.stride, sizeof(header.stride));
        Written(&header.height, sizeof(header.height));
    };
    if (block == ImageBlock::kImage) {
        setHeader(mEvent->image);
    } else {
        setHeader(mEvent->debug_image);
    }
    if (!data.empty()) {
        memcpy(imageData(block, data.size()), data.data(),
               std::min(data.size(), ImageCapacity(block)));
    }
    return *this;
}

EventBuilder& EventBuilder::imagePattern(ImageBlock block, uint32_t stride, uint32_t height,
                                         uint32_t seed) {
    image(block, stride, height, {});
    const size_t bytes =
            std::min(static_cast<size_t>(stride) * height * 3 / 2, ImageCapacity(block));
    uint8_t* data = imageData(block, bytes);
    for (size_t i = 0; i < bytes; ++i) data[i] = PatternByte(i, seed);
    return *this;
}

}  // namespace host
