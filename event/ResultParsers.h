// The result payload parsers: each turns one block of a stream event into keyed AONResult entries
// appended to `results`. A parser whose block does not fit in the event's valid output logs
// "output size is small than aod offset and size" and appends nothing.
//
// Keys: 100 fusion rotate angle, 101 fusion item count, 102 floats per item (20), 103 fusion items;
// 200 face angle floats; 300 gaze floats; 400 face feature bytes; 700 image stride, 701 image
// height, 702 the stride once more, 703 image bytes.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResult.h>

#include <cstdint>
#include <vector>

struct aov_event;

namespace tarvo::aon {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResult;

void ParseFusionResult(std::vector<AONResult>& results, const uint8_t* output, unsigned int size);
void ParseFaceAngleResult(std::vector<AONResult>& results, const uint8_t* output,
                          unsigned long size);
void ParseGazeResult(std::vector<AONResult>& results, const uint8_t* output, unsigned long size);
void ParseFaceFeatureResult(std::vector<AONResult>& results, const uint8_t* output,
                            unsigned long size);
// Appends the image of the block selected by "vendor.debug.camera.utils.AovDebugBuffer" (2: the
// debug image, anything else: the image); nothing when its stride or height is 0.
void ParseImageData(std::vector<AONResult>& results, aov_event* event);

}  // namespace tarvo::aon
