// Host-only: the content of the simulated vendor stream's frames. A frame is a pure function of
// its wanted, so that the same frame id and configuration always give the same bytes.
#pragma once

#include <cstdint>

#include "host/EventBuilder.h"

namespace host {

struct SyntheticFrameParams {
    uint32_t frameId = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t serviceType = 0;
};

// How FillSyntheticFrame clears the builder first: the whole record, or only what the builder's
// tracked writes touched (EventBuilder::resetWritten), for a builder that nothing else writes.
enum class SyntheticReset { kWhole, kWritten };

// Lays out a plausible event in `builder` (which is reset first): the header words, an
// apu_output_size that covers every detector block, the detector blocks of the selected service
// types (fusion items, face angle, gaze, face feature of one face moving across the picture), and
// a moving NV12 test pattern of width x height in the image block (rows past what the block holds
// are left out). Returns the image height actually written.
uint32_t FillSyntheticFrame(EventBuilder& builder, const SyntheticFrameParams& wanted,
                            SyntheticReset reset = SyntheticReset::kWhole);

}  // namespace host
