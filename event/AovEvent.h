// The stream event record of the chip vendor's always-on vision stream: one per processed frame,
// owned by the vendor library and valid only while its callback runs. It is large (the detector
// output and two image areas), so it is always handled by pointer and never copied whole; the
// service only reads it.
//
// Only the fields the service reads are named; every other byte is the vendor's and is kept as
// opaque padding so that the named fields sit at their fixed offsets. All integers little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

// One image block: the header words and the image data (a 4:2:0 YUV frame, stride x height x 3/2
// bytes). `kDataBytes` is the room for the data up to the next block or the end of the record.
template <size_t kDataBytes>
struct aov_image_block {
    uint32_t height;    // number of rows
    uint32_t reserved;  // not read
    uint32_t stride;    // bytes per row
    uint8_t data[kDataBytes];
};

namespace tarvo::aon {

// Record offsets of the fields that are read.
inline constexpr size_t kAovFrameIdOffset = 8;
inline constexpr size_t kAovFrameWidthOffset = 12;
inline constexpr size_t kAovFrameHeightOffset = 16;
inline constexpr size_t kAovServiceTypeOffset = 24;
inline constexpr size_t kAovApuOutputSizeOffset = 0x8824;
inline constexpr size_t kAovApuOutputOffset = 0x8828;
inline constexpr size_t kAovImageOffset = 0x48844;
inline constexpr size_t kAovDebugImageOffset = 0xFC874;
inline constexpr size_t kAovImageHeaderBytes = 12;
inline constexpr size_t kAovImageDataOffset = kAovImageOffset + kAovImageHeaderBytes;
inline constexpr size_t kAovDebugImageDataOffset = kAovDebugImageOffset + kAovImageHeaderBytes;

// The vendor does not publish how much image data the debug block can hold. The record is sized
// for the largest frame the stream is configured for: a 1280x720 4:2:0 debug image.
inline constexpr size_t kAovDebugImageDataBytes = 1280 * 720 * 3 / 2;
inline constexpr size_t kAovEventBytes = kAovDebugImageDataOffset + kAovDebugImageDataBytes;

// Service-type bits that select a detector.
inline constexpr uint32_t kServiceTypeFusion = 0x1;
inline constexpr uint32_t kServiceTypeFaceAngle = 0x2;
inline constexpr uint32_t kServiceTypeGaze = 0x4;
inline constexpr uint32_t kServiceTypeFaceFeature = 0x8;

// The detector output map: block offsets from the start of `apu_output`, and block sizes.
inline constexpr size_t kApuInputOffset = 0;
inline constexpr size_t kApuInputBytes = 82944;
inline constexpr size_t kApuOutputChannel0Offset = 0x14400;
inline constexpr size_t kApuOutputChannel0Bytes = 5184;
inline constexpr size_t kApuOutputChannel1Offset = 0x15900;
inline constexpr size_t kApuOutputChannel1Bytes = 1296;
inline constexpr size_t kApuOutputChannel2Offset = 0x15F00;
inline constexpr size_t kApuOutputChannel2Bytes = 324;
inline constexpr size_t kApuOutputChannel3Offset = 0x16100;
inline constexpr size_t kApuOutputChannel3Bytes = 82944;
inline constexpr size_t kApuOutputChannel4Offset = 0x2A500;
inline constexpr size_t kApuOutputChannel4Bytes = 20736;
inline constexpr size_t kApuOutputChannel5Offset = 0x2F600;
inline constexpr size_t kApuOutputChannel5Bytes = 5184;
inline constexpr size_t kApuOutputChannel6Offset = 0x30B00;
inline constexpr size_t kApuOutputChannel6Bytes = 4;
inline constexpr size_t kFusionBlockOffset = 0x30C00;
inline constexpr size_t kFusionBlockBytes = 2408;
inline constexpr size_t kEyesBoundingOffset = 0x31600;
inline constexpr size_t kEyesBoundingBytes = 6272;
inline constexpr size_t kGazeOutputChannel0Offset = 0x32F00;
inline constexpr size_t kGazeOutputChannel0Bytes = 4;
inline constexpr size_t kGazeOutputChannel1Offset = 0x33000;
inline constexpr size_t kGazeOutputChannel1Bytes = 2;
inline constexpr size_t kGazeResultOffset = 0x33100;
inline constexpr size_t kGazeResultFloats = 6;
inline constexpr size_t kGazeResultBytes = kGazeResultFloats * sizeof(float);
inline constexpr size_t kFaceBoundingOffset = 0x33200;
inline constexpr size_t kFaceBoundingBytes = 4096;
inline constexpr size_t kAngleOutputChannel0Offset = 0x34200;
inline constexpr size_t kAngleOutputChannel0Bytes = 1;
inline constexpr size_t kAngleOutputChannel1Offset = 0x34300;
inline constexpr size_t kAngleOutputChannel1Bytes = 1;
inline constexpr size_t kAngleOutputChannel2Offset = 0x34400;
inline constexpr size_t kAngleOutputChannel2Bytes = 1;
inline constexpr size_t kAngleOutputChannel3Offset = 0x34500;
inline constexpr size_t kAngleOutputChannel3Bytes = 1;
inline constexpr size_t kAngleOutputChannel4Offset = 0x34600;
inline constexpr size_t kAngleOutputChannel4Bytes = 10;
inline constexpr size_t kFaceAngleResultOffset = 0x34700;
inline constexpr size_t kFaceAngleResultFloats = 14;
inline constexpr size_t kFaceAngleResultBytes = kFaceAngleResultFloats * sizeof(float);
inline constexpr size_t kFaceFeatureInputOffset = 0x34800;
inline constexpr size_t kFaceFeatureInputBytes = 12544;
inline constexpr size_t kFaceFeatureOutputChannel0Offset = 0x37900;
inline constexpr size_t kFaceFeatureOutputChannel0Bytes = 128;
inline constexpr size_t kFaceFeatureResultOffset = 0x37A00;
inline constexpr size_t kFaceFeatureResultBytes = 128;
inline constexpr size_t kApuOutputMapEnd = kFaceFeatureResultOffset + kFaceFeatureResultBytes;

// The fusion block: a count, the rotate angle, then room for 30 items of 20 four-byte words.
inline constexpr size_t kFusionCountOffset = 0;
inline constexpr size_t kFusionRotateAngleOffset = 4;
inline constexpr size_t kFusionItemsOffset = 8;
inline constexpr size_t kFusionItemWords = 20;
inline constexpr size_t kFusionItemBytes = kFusionItemWords * 4;
inline constexpr size_t kFusionMaxItems = 30;

}  // namespace tarvo::aon

// The record itself, declared by the vendor in the global namespace.
struct aov_event {
    uint8_t reserved0[tarvo::aon::kAovFrameIdOffset];
    uint32_t frame_id;
    uint32_t frame_width;
    uint32_t frame_height;
    uint8_t reserved1[tarvo::aon::kAovServiceTypeOffset - tarvo::aon::kAovFrameHeightOffset - 4];
    uint32_t service_type;
    uint8_t reserved2[tarvo::aon::kAovApuOutputSizeOffset - tarvo::aon::kAovServiceTypeOffset - 4];
    uint32_t apu_output_size;  // valid bytes in apu_output
    uint8_t apu_output[tarvo::aon::kAovImageOffset - tarvo::aon::kAovApuOutputOffset];
    aov_image_block<tarvo::aon::kAovDebugImageOffset - tarvo::aon::kAovImageDataOffset> image;
    aov_image_block<tarvo::aon::kAovDebugImageDataBytes> debug_image;
};

namespace tarvo::aon {

static_assert(offsetof(aov_event, frame_id) == kAovFrameIdOffset);
static_assert(offsetof(aov_event, frame_width) == kAovFrameWidthOffset);
static_assert(offsetof(aov_event, frame_height) == kAovFrameHeightOffset);
static_assert(offsetof(aov_event, service_type) == kAovServiceTypeOffset);
static_assert(offsetof(aov_event, apu_output_size) == kAovApuOutputSizeOffset);
static_assert(offsetof(aov_event, apu_output) == kAovApuOutputOffset);
static_assert(offsetof(aov_event, image) == kAovImageOffset);
static_assert(offsetof(aov_event, image.stride) == kAovImageOffset + 8);
static_assert(offsetof(aov_event, image.data) == 0x48850);
static_assert(offsetof(aov_event, debug_image) == kAovDebugImageOffset);
static_assert(offsetof(aov_event, debug_image.data) == 0xFC880);
static_assert(sizeof(aov_event) == kAovEventBytes);
static_assert(kAovEventBytes == 1034368 + 1382400);
static_assert(kApuOutputMapEnd == 227968);
static_assert(kApuOutputMapEnd <= sizeof(aov_event::apu_output));
static_assert(kFusionItemsOffset + kFusionMaxItems * kFusionItemBytes == kFusionBlockBytes);
static_assert(kFusionBlockOffset + kFusionBlockBytes == 202088);
static_assert(kFaceAngleResultOffset + kFaceAngleResultBytes == 214840);
static_assert(kGazeResultOffset + kGazeResultBytes == 209176);
static_assert(sizeof(float) == 4);

}  // namespace tarvo::aon
