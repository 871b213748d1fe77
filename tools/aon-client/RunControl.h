// What ends a run, as the main thread sees it: the run's own end (a duration, a number of events),
// an interrupt from the user (SIGINT, SIGTERM, SIGHUP), or the death of the service. Events come
// from the threads the service calls this process on, interrupts from the signal thread, the death
// from the binder's death notification.
//
// The first interrupt asks the main thread to leave the service clean; a second one ends the
// process at once (status 130), whatever it is doing.
//
// Thread-safety: every function may be called from any thread; mLock guards the state.
#pragma once

#include <android-base/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>

namespace aon_client {

class RunControl final {
  public:
    using Clock = std::chrono::steady_clock;
    enum class End { kEvents, kDuration, kInterrupted, kServiceDied };

    // Blocks the interrupt signals in the calling thread, and so in every thread started after;
    // call first thing in main.
    static void BlockInterrupts();
    // Starts the thread that takes the interrupts. It lives as long as the process.
    void StartSignalThread();

    void OnEvent() EXCLUDES(mLock);
    void OnInterrupt() EXCLUDES(mLock);
    void OnServiceDied() EXCLUDES(mLock);

    bool interrupted() const EXCLUDES(mLock);
    bool serviceDied() const EXCLUDES(mLock);
    int64_t events() const EXCLUDES(mLock);

    // Waits until `events` events have come in all (none: no such end), `deadline` has passed
    // (none: no such end), the run is interrupted or the service dies; says which came first.
    End Wait(std::optional<int64_t> events, std::optional<Clock::time_point> deadline)
            EXCLUDES(mLock);
    // Waits `period` unless interrupted meanwhile; false when interrupted.
    bool Pause(std::chrono::milliseconds period) EXCLUDES(mLock);

  private:
    std::optional<End> EndLocked(std::optional<int64_t> events) const REQUIRES(mLock);

    mutable std::mutex mLock;
    std::condition_variable mChanged;
    int64_t mEvents GUARDED_BY(mLock) = 0;
    bool mInterrupted GUARDED_BY(mLock) = false;
    bool mServiceDied GUARDED_BY(mLock) = false;
};

}  // namespace aon_client
