// Per-frame debug dumps of the detectors' raw output: one file per block under "/data/aon/",
// named after the frame number. The directory is not created here; without it every file fails
// with an ERROR line.
#pragma once

#include <cstdint>

struct aov_event;

namespace tarvo::aon {

// Writes the event's dump files: the always-written blocks, then the gaze, face angle and face
// feature groups when their service-type bits are set. Null is ignored.
void dumpOutput(aov_event* event);

// Writes `size` bytes from `data + offset` to the file `path`, created or truncated.
void writeByteToFile(const uint8_t* data, int offset, unsigned long size, const char* path);

}  // namespace tarvo::aon
