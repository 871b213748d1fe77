// Time as the trace shows it: virtual in scenario runs (advanced only by the scenario, so the same
// file gives the same trace), real in the demonstration.
#pragma once

#include <cstdint>

namespace aon_sim {

class Clock {
  public:
    virtual ~Clock() = default;
    // Microseconds since the run started.
    virtual int64_t NowMicros() const = 0;
};

}  // namespace aon_sim
