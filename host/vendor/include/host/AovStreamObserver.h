// Host-only: what the simulated vendor stream tells the program that drives it. Every function is
// called on the thread that made the call or delivers the frame, with no lock of the stream held.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/FakeAovStream.h"

namespace host {

// One call the stream received and what it answered.
struct SimulatedCall {
    AovCall call = AovCall::kInit;
    int64_t result = 0;
    int32_t sensorId = 0;            // getSensorInfo, getSensorMode
    std::vector<int32_t> sensorIds;  // getSensorList: the answer; notifySensorState: the argument
    int32_t opened = 0;              // notifySensorState
    uint32_t mode = 0;               // getSensorMode: the mode written
    size_t count = 0;                // getSensorInfo: number of entries answered
    const user_param* param = nullptr;  // init: the caller's record, valid during the call only
};

// A frame the stream made, as laid out in the event.
struct SimulatedFrame {
    uint32_t frameId = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t serviceType = 0;
    uint32_t apuOutputSize = 0;
    uint32_t imageStride = 0;
    uint32_t imageHeight = 0;
};

class AovStreamObserver {
  public:
    virtual ~AovStreamObserver() = default;
    // After each IAOVStream call, before it returns to the caller.
    virtual void OnStreamCall(const SimulatedCall& call) = 0;
    // Right before a frame goes to the stream's callback.
    virtual void OnFrameStarting(const SimulatedFrame& frame) = 0;
    // After the callback returned (`delivered`), or instead of it when no stream was running.
    virtual void OnFrameDone(const SimulatedFrame& frame, bool delivered) = 0;
};

}  // namespace host
