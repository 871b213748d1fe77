// Waits for the threads a step started to end. The library answers some calls from short-lived
// workers of its own (the camera open and close notifications); a deterministic run waits for them
// before its next step, so that the trace order never depends on scheduling.
//
// The watch takes the process's thread list (/proc/self/task) when made; Wait() returns once every
// thread that was not on it has ended.
#pragma once

#include <chrono>
#include <set>

namespace aon_tools {

class ThreadWatch final {
  public:
    ThreadWatch();

    // False when new threads still run after `timeout`.
    [[nodiscard]] bool Wait(std::chrono::milliseconds timeout) const;

    static std::set<int> Threads();

  private:
    const std::set<int> mBefore;
};

}  // namespace aon_tools
