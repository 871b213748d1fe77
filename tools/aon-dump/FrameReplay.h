// Rebuilds a frame's stream event record from its dump files and runs it through the library's own
// event translation (AONManagerCallback::onCallback), recording what a client would have received.
//
// The record gets every dumped block that could be read at its offset, zeros elsewhere (the fusion
// block and the images are not dumped), the frame id of the file names, width and height 0, and an
// apu_output_size that covers every block. Its service type holds the detector bits whose parsed
// block (gaze result, angle result, face feature result) was read: a detector whose block is
// missing or unreadable is left out rather than replayed on zeros.
//
// Thread-safety: one Replayer per thread; it installs the process's log hook while it replays.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResult.h>

#include "event/AONManagerCallback.h"
#include "host/EventBuilder.h"
#include "tools/aon-dump/DumpScan.h"

namespace aon_dump {

struct FrameReplay {
    int32_t frameId = 0;
    uint32_t serviceType = 0;  // the bits the replayed record carried
    // What the record lacks and why, one sentence each.
    std::vector<std::string> notes;
    // What the client would have received, in the library's order.
    std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONResult> results;
    // The lines the library logged while translating the record: "W AONManagerCallback: ...".
    std::vector<std::string> log;
    // The bytes of each block that was read, by table row (empty: not read).
    std::array<std::vector<uint8_t>, tarvo::aon::kDumpBlockCount> blocks;
};

// Reads a dump file of `expected` bytes, and never more: false with `problem` set when the file is
// not that long, longer, or cannot be read.
bool ReadBlockFile(const BlockFile& file, size_t expected, std::vector<uint8_t>* bytes,
                   std::string* problem);

class Replayer final {
  public:
    Replayer();
    FrameReplay Replay(const FrameFiles& frame);

  private:
    class Recorder;

    host::EventBuilder mBuilder;
    std::shared_ptr<Recorder> mRecorder;
    std::shared_ptr<tarvo::aon::AONManagerCallback> mCallback;
};

}  // namespace aon_dump
