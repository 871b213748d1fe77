#include "event/DebugDumps.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/AonLog.h"
#include "event/AovEvent.h"

namespace tarvo::aon {
namespace {

constexpr char kLogClass[] = "AONManagerCallback";

constexpr size_t kPathBytes = 80;

struct DumpBlock {
    const char* name;  // the block's part of the file name
    int offset;        // from the start of apu_output
    unsigned long bytes;
    uint32_t requiredBit;  // 0: always written
};

// Table order is file order: the unconditional blocks, then the gaze group, then the face angle
// group (kept after gaze although its bit is lower), then the face feature group. The fusion block
// and the images are never dumped.
constexpr DumpBlock kDumpBlocks[] = {
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

// Every block lies inside the fixed output area, whatever apu_output_size says.
constexpr bool BlocksFitOutputArea() {
    for (const DumpBlock& block : kDumpBlocks) {
        if (block.offset + block.bytes > sizeof(aov_event::apu_output)) return false;
    }
    return true;
}
static_assert(BlocksFitOutputArea());

}  // namespace

void dumpOutput(aov_event* event) {
    if (event == nullptr) return;
    const uint32_t serviceType = event->service_type;
    const int frameId = static_cast<int>(event->frame_id);
    for (const DumpBlock& block : kDumpBlocks) {
        if (block.requiredBit != 0 && (serviceType & block.requiredBit) == 0) continue;
        char path[kPathBytes];
        snprintf(path, sizeof(path), "/data/aon/frame_%d_%s.dump", frameId, block.name);
        writeByteToFile(event->apu_output, block.offset, block.bytes, path);
    }
}

void writeByteToFile(const uint8_t* data, int offset, unsigned long size, const char* path) {
    FILE* file = fopen(path, "wb+");
    if (file == nullptr) {
        const int error = errno;
        AON_LOGE("open output file %s fail, file %s.\n", path, strerror(error));
        return;
    }
    AON_LOGD_GATED("dump aon output in %s file.\n", path);
    fwrite(data + offset, 1, size, file);
    fclose(file);
}

}  // namespace tarvo::aon
