// Real time since construction. Thread-safe.
#pragma once

#include <chrono>

#include "tools/aon-sim/Clock.h"

namespace aon_sim {

class SteadyClock final : public Clock {
  public:
    int64_t NowMicros() const override {
        return std::chrono::duration_cast<std::chrono::microseconds>(
                       std::chrono::steady_clock::now() - mStart)
                .count();
    }

  private:
    const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
};

}  // namespace aon_sim
