// Per-frame debug dumps of the detectors' raw output: one file per block under "/data/aon/",
// named after the frame number. The directory is not created here; without it every file fails
// with an ERROR line.
//
// The table of blocks is public so that the host programs that read the files back find the same
// names, offsets and sizes the library writes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "event/AovEvent.h"

namespace tarvo::aon {

// Files are "<kDumpDirectory><kDumpFilePrefix><frame_id as %d>_<block name><kDumpFileSuffix>".
inline constexpr char kDumpDirectory[] = "/data/aon/";
inline constexpr char kDumpFilePrefix[] = "frame_";
inline constexpr char kDumpFileSuffix[] = ".dump";

// One dumped block of apu_output.
struct DumpBlock {
    const char* name;  // the block's part of the file name
    int offset;        // from the start of apu_output
    unsigned long bytes;
    uint32_t requiredBit;  // 0: always written
};

// Table order is file order: the unconditional blocks, then the gaze group, then the face angle
// group (kept after gaze although its bit is lower), then the face feature group. The fusion block
// and the images are never dumped.
inline constexpr DumpBlock kDumpBlocks[] = {
        {"aon_input", kApuInputOffset, kApuInputBytes, 0},
        {"aon_output_channel0", kApuOutputChannel0Offset, kApuOutputChannel0Bytes, 0},
        {"aon_output_channel1", kApuOutputChannel1Offset, kApuOutputChannel1Bytes, 0},
        {"aon_output_channel2", kApuOutputChannel2Offset, kApuOutputChannel2Bytes, 0},
        {"aon_output_channel3", kApuOutputChannel3Offset, kApuOutputChannel3Bytes, 0},
        {"aon_output_channel4", kApuOutputChannel4Offset, kApuOutputChannel4Bytes, 0},
        {"aon_output_channel5", kApuOutputChannel5Offset, kApuOutputChannel5Bytes, 0},
        {"aon_output_channel6", kApuOutputChannel6Offset, kApuOutputChannel6Bytes, 0},
        {"aon_eyes_bounding", kEyesBoundingOffset, kEyesBoundingBytes, 0},
        {"aon_gaze_output_channel0", kGazeOutputChannel0Offset, kGazeOutputChannel0Bytes,
         kServiceTypeGaze},
        {"aon_gaze_output_channel1", kGazeOutputChannel1Offset, kGazeOutputChannel1Bytes,
         kServiceTypeGaze},
        {"aon_gaze_output_result", kGazeResultOffset, kGazeResultBytes, kServiceTypeGaze},
        {"face_bounding", kFaceBoundingOffset, kFaceBoundingBytes, kServiceTypeFaceAngle},
        {"angle_output_channel0", kAngleOutputChannel0Offset, kAngleOutputChannel0Bytes,
         kServiceTypeFaceAngle},
        {"angle_output_channel1", kAngleOutputChannel1Offset, kAngleOutputChannel1Bytes,
         kServiceTypeFaceAngle},
        {"angle_output_channel2", kAngleOutputChannel2Offset, kAngleOutputChannel2Bytes,
         kServiceTypeFaceAngle},
        {"angle_output_channel3", kAngleOutputChannel3Offset, kAngleOutputChannel3Bytes,
         kServiceTypeFaceAngle},
        {"angle_output_channel4", kAngleOutputChannel4Offset, kAngleOutputChannel4Bytes,
         kServiceTypeFaceAngle},
        {"angle_result", kFaceAngleResultOffset, kFaceAngleResultBytes, kServiceTypeFaceAngle},
        {"face_feature_input", kFaceFeatureInputOffset, kFaceFeatureInputBytes,
         kServiceTypeFaceFeature},
        {"face_feature_output_channel0", kFaceFeatureOutputChannel0Offset,
         kFaceFeatureOutputChannel0Bytes, kServiceTypeFaceFeature},
        {"face_feature_result", kFaceFeatureResultOffset, kFaceFeatureResultBytes,
         kServiceTypeFaceFeature},
};
inline constexpr size_t kDumpBlockCount = sizeof(kDumpBlocks) / sizeof(kDumpBlocks[0]);

// Writes the event's dump files: the always-written blocks, then the gaze, face angle and face
// feature groups when their service-type bits are set. Null is ignored.
void dumpOutput(aov_event* event);

// Writes `size` bytes from `data + offset` to the file `path`, created or truncated.
void writeByteToFile(const uint8_t* data, int offset, unsigned long size, const char* path);

}  // namespace tarvo::aon
