#include "event/ResultParsers.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "common/AonLog.h"
#include "event/AovEvent.h"

namespace tarvo::aon {
namespace {

constexpr char kLogClass[] = "AONManagerCallback";

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using Tag = AONResultValue::Tag;

constexpr char kDebugBufferProperty[] = "vendor.debug.camera.utils.AovDebugBuffer";
constexpr int32_t kDebugBufferDefault = 1;
constexpr int32_t kDebugBufferUseDebugImage = 2;

constexpr int32_t kKeyFusionRotateAngle = 100;
constexpr int32_t kKeyFusionCount = 101;
constexpr int32_t kKeyFusionItemLength = 102;
constexpr int32_t kKeyFusionItems = 103;
constexpr int32_t kKeyFaceAngle = 200;
constexpr int32_t kKeyGaze = 300;
constexpr int32_t kKeyFaceFeature = 400;
constexpr int32_t kKeyImageStride = 700;
constexpr int32_t kKeyImageHeight = 701;
constexpr int32_t kKeyImageStrideAgain = 702;
constexpr int32_t kKeyImageBytes = 703;

// A parser accepts its block only when the valid output is strictly longer than the block's end.
constexpr unsigned long kFusionBlockEnd = kFusionBlockOffset + kFusionBlockBytes;
constexpr unsigned long kFaceAngleBlockEnd = kFaceAngleResultOffset + kFaceAngleResultBytes;
constexpr unsigned long kGazeBlockEnd = kGazeResultOffset + kGazeResultBytes;
constexpr unsigned long kFaceFeatureBlockEnd = kFaceFeatureResultOffset + kFaceFeatureResultBytes;

#define OUTPUT_TOO_SMALL "output size is small than aod offset and size"

// Appends one entry; arrays are moved in, so each result array is allocated once.
template <Tag tag, typename T>
void Append(std::vector<AONResult>& results, int32_t key, T&& value) {
    AONResult& result = results.emplace_back();
    result.key = key;
    result.value.set<tag>(std::forward<T>(value));
}

std::vector<float> CopyFloats(const uint8_t* output, size_t offset, size_t count) {
    std::vector<float> values(count);
    memcpy(values.data(), output + offset, count * sizeof(float));
    return values;
}

}  // namespace

void ParseFusionResult(std::vector<AONResult>& results, const uint8_t* output, unsigned int size) {
    if (size <= kFusionBlockEnd) {
        AON_LOGE(OUTPUT_TOO_SMALL);
        return;
    }
    uint8_t block[kFusionBlockBytes];
    memcpy(block, output + kFusionBlockOffset, sizeof(block));

    uint32_t count;
    float rotateAngle;
    memcpy(&count, block + kFusionCountOffset, sizeof(count));
    memcpy(&rotateAngle, block + kFusionRotateAngleOffset, sizeof(rotateAngle));

    Append<Tag::floatValue>(results, kKeyFusionRotateAngle, rotateAngle);
    AON_LOGD_GATED("fusion->rotateAngle:%f", rotateAngle);
    Append<Tag::intValue>(results, kKeyFusionCount, static_cast<int32_t>(count));
    AON_LOGD_GATED("fusion->count:%d", static_cast<int>(count));
    Append<Tag::intValue>(results, kKeyFusionItemLength, static_cast<int32_t>(kFusionItemWords));
    AON_LOGD_GATED("fusion->itemLength:%d", static_cast<int>(kFusionItemWords));

    // The count comes from the detector unchecked; the block holds 30 items. Key 101 keeps the
    // count as received, the items read (and key 103's length) stop at what the block holds.
    const uint32_t items = std::min<uint32_t>(count, kFusionMaxItems);
    std::vector<float> data(items * kFusionItemWords);
    for (uint32_t i = 0; i < items; ++i) {
        const uint8_t* item = block + kFusionItemsOffset + i * kFusionItemBytes;
        float* out = data.data() + i * kFusionItemWords;
        int32_t word0;
        memcpy(&word0, item, sizeof(word0));
        out[0] = static_cast<float>(word0);  // an integer: converted by value
        memcpy(out + 1, item + sizeof(word0), (kFusionItemWords - 1) * sizeof(float));
        AON_LOGD_GATED(
                "fusion->data i:%d, data[%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,"
                "%f,%f,%f,%f]",
                static_cast<int>(i), out[0], out[1], out[2], out[3], out[4], out[5], out[6], out[7],
                out[8], out[9], out[10], out[11], out[12], out[13], out[14], out[15], out[16],
                out[17], out[18], out[19]);
    }
    Append<Tag::floatArray>(results, kKeyFusionItems, std::move(data));
}

void ParseFaceAngleResult(std::vector<AONResult>& results, const uint8_t* output,
                          unsigned long size) {
    if (size <= kFaceAngleBlockEnd) {
        AON_LOGE(OUTPUT_TOO_SMALL);
        return;
    }
    std::vector<float> v = CopyFloats(output, kFaceAngleResultOffset, kFaceAngleResultFloats);
    AON_LOGD_GATED("angle->data[%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f,%f]", v[0], v[1], v[2], v[3],
                   v[4], v[5], v[6], v[7], v[8], v[9], v[10], v[11], v[12], v[13]);
    Append<Tag::floatArray>(results, kKeyFaceAngle, std::move(v));
}

void ParseGazeResult(std::vector<AONResult>& results, const uint8_t* output, unsigned long size) {
    if (size <= kGazeBlockEnd) {
        AON_LOGW(OUTPUT_TOO_SMALL);
        return;
    }
    std::vector<float> v = CopyFloats(output, kGazeResultOffset, kGazeResultFloats);
    AON_LOGD_GATED("gaze->data[%f,%f,%f,%f,%f,%f]", v[0], v[1], v[2], v[3], v[4], v[5]);
    Append<Tag::floatArray>(results, kKeyGaze, std::move(v));
}

void ParseFaceFeatureResult(std::vector<AONResult>& results, const uint8_t* output,
                            unsigned long size) {
    if (size <= kFaceFeatureBlockEnd) {
        AON_LOGW(OUTPUT_TOO_SMALL);
        return;
    }
    const uint8_t* block = output + kFaceFeatureResultOffset;
    std::vector<uint8_t> b(block, block + kFaceFeatureResultBytes);
    AON_LOGD_GATED("feature->data[%d,%d,%d,%d,%d,%d,%d,%d,%d,%d.....]", b[0], b[1], b[2], b[3],
                   b[4], b[5], b[6], b[7], b[8], b[9]);
    Append<Tag::byteArray>(results, kKeyFaceFeature, std::move(b));
}

void ParseImageData(std::vector<AONResult>& results, aov_event* event) {
    if (event == nullptr) return;
    const bool useDebugImage = property_get_int32(kDebugBufferProperty, kDebugBufferDefault) ==
                               kDebugBufferUseDebugImage;
    const uint32_t height = useDebugImage ? event->debug_image.height : event->image.height;
    const uint32_t stride = useDebugImage ? event->debug_image.stride : event->image.stride;
    const uint8_t* data = useDebugImage ? event->debug_image.data : event->image.data;
    AON_LOGD_GATED("image->stride:%d, height:%d, frame_width:%d, frame_height:%d, output:%p",
                   static_cast<int>(stride), static_cast<int>(height),
                   static_cast<int>(event->frame_width), static_cast<int>(event->frame_height),
                   static_cast<const void*>(data));
    if (stride == 0 || height == 0) return;

    // The stream does not check the size it announces. The image data can reach at most the end of
    // the record from the chosen block's data start (the image block's data may run on into the
    // debug block, the debug block's data ends with the record). An image that does not fit is
    // dropped whole: a shortened key 703 next to keys 700 to 702 describing the full frame would
    // send a client that finds the chroma plane at stride x height past the end of its array. The
    // size is taken in 64 bits, so that a product that wraps at 32 bits is not taken for a fit.
    const size_t available =
            sizeof(aov_event) - (useDebugImage ? kAovDebugImageDataOffset : kAovImageDataOffset);
    const uint64_t bytes = uint64_t{stride} * height * 3 / 2;
    if (bytes > available) {
        AON_LOGE(
                "image stride:%u, height:%u needs %llu bytes, only %zu fit in the event record: "
                "image results dropped",
                stride, height, static_cast<unsigned long long>(bytes), available);
        return;
    }

    Append<Tag::intValue>(results, kKeyImageStride, static_cast<int32_t>(stride));
    Append<Tag::intValue>(results, kKeyImageHeight, static_cast<int32_t>(height));
    Append<Tag::intValue>(results, kKeyImageStrideAgain, static_cast<int32_t>(stride));
    // One allocation and one copy from the record; the array is then moved into the entry.
    Append<Tag::byteArray>(results, kKeyImageBytes, std::vector<uint8_t>(data, data + bytes));
}

}  // namespace tarvo::aon
