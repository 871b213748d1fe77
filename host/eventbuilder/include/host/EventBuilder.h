// Host-only: lays out full-size aov_event records for tests and the simulator. The record lives on
// the heap, zeroed and 64-byte aligned, exactly sizeof(aov_event) long, so that a read past its end
// is caught by AddressSanitizer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "event/AovEvent.h"

namespace host {

// One fusion item as the detector writes it: word 0 an integer, words 1 to 19 floats.
struct FusionItem {
    int32_t word0 = 0;
    std::array<float, 19> words{};
};

// Which of the record's two image blocks to fill.
enum class ImageBlock { kImage, kDebugImage };

class EventBuilder final {
  public:
    EventBuilder();
    EventBuilder(const EventBuilder&) = delete;
    EventBuilder& operator=(const EventBuilder&) = delete;

    aov_event* event() { return mEvent.get(); }
    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(mEvent.get()); }
    static constexpr size_t size() { return sizeof(aov_event); }

    // Zeroes the whole record again.
    EventBuilder& reset();
    // Zeroes again only what the setters below wrote since the last reset() or resetWritten(),
    // image data handed out by imageData(block, bytes) included: for a record filled only that
    // way, the same record as reset() gives, without rewriting the untouched megabytes. Bytes
    // written through event(), bytes() or imageData(block) are not tracked (use reset()).
    EventBuilder& resetWritten();

    EventBuilder& frame(uint32_t id, uint32_t width, uint32_t height);
    EventBuilder& serviceType(uint32_t serviceType);
    EventBuilder& apuOutputSize(uint32_t size);
    // A size that every parser accepts: the end of the output map plus one.
    EventBuilder& fullApuOutputSize();

    // The fusion block: `count` as stored (may exceed the items given), the angle, and the items
    // (at most the 30 the block holds are written).
    EventBuilder& fusion(uint32_t count, float rotateAngle, const std::vector<FusionItem>& items);
    EventBuilder& faceAngle(const std::array<float, tarvo::aon::kFaceAngleResultFloats>& values);
    EventBuilder& gaze(const std::array<float, tarvo::aon::kGazeResultFloats>& values);
    EventBuilder& faceFeature(const std::array<uint8_t, tarvo::aon::kFaceFeatureResultBytes>& values);
    // Arbitrary bytes at an offset from the start of apu_output (clipped to the output area).
    EventBuilder& outputBytes(size_t offset, const void* data, size_t size);
    // Fills a block of apu_output with PatternByte(i, seed) for its i-th byte.
    EventBuilder& outputPattern(size_t offset, size_t size, uint32_t seed);

    // Sets an image block's header words and copies `data` into its image data (clipped to the end
    // of the record).
    EventBuilder& image(ImageBlock block, uint32_t stride, uint32_t height,
                        const std::vector<uint8_t>& data);
    // Sets the header words and fills stride x height x 3/2 bytes (clipped to the end of the
    // record) with PatternByte(i, seed).
    EventBuilder& imagePattern(ImageBlock block, uint32_t stride, uint32_t height, uint32_t seed);

    // Bytes of the image data area of a block, from its start to the end of the record.
    static size_t ImageCapacity(ImageBlock block);
    uint8_t* imageData(ImageBlock block);
    // The same, for a caller that writes its first `bytes` (clipped to the capacity): those bytes
    // are tracked for resetWritten().
    uint8_t* imageData(ImageBlock block, size_t bytes);

    // The generated pattern: depends on the index and the seed, so that a shifted or truncated copy
    // shows. A moving picture is made by changing the seed from frame to frame.
    static uint8_t PatternByte(size_t index, uint32_t seed) {
        return static_cast<uint8_t>((index * 7) + (index >> 8) * 13 + seed * 31);
    }

  private:
    struct Free {
        void operator()(aov_event* event) const;
    };
    // Notes `size` bytes from `at` (inside the record) as written.
    void Written(const void* at, size_t size);

    std::unique_ptr<aov_event, Free> mEvent;
    std::vector<std::pair<size_t, size_t>> mWritten;  // offset and length of each tracked write
};

}  // namespace host
