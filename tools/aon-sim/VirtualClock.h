// A clock that moves only when told to. Thread-safe.
#pragma once

#include <atomic>

#include "tools/aon-sim/Clock.h"

namespace aon_sim {

class VirtualClock final : public Clock {
  public:
    int64_t NowMicros() const override { return mNow.load(); }
    void Advance(int64_t micros) { mNow.fetch_add(micros); }

  private:
    std::atomic<int64_t> mNow{0};
};

}  // namespace aon_sim
