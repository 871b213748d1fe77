// aon_test::Watchdog: turns a stall into a failure that shows where every thread stands. Each
// watched thread bumps its progress counter as it goes; when one counter stays unchanged for the
// stall bound, the watchdog prints every thread's stack (through gdb when the machine has it,
// otherwise each thread prints its own backtrace from a signal handler) and aborts the process.
#pragma once

#include <android-base/thread_annotations.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace aon_test {

class Watchdog final {
  public:
    explicit Watchdog(std::chrono::milliseconds stallBound);
    ~Watchdog();  // stops watching

    // A progress counter for one thread, named in the report. Valid while the watchdog lives.
    std::atomic<uint64_t>& Watch(const std::string& name) EXCLUDES(mLock);

  private:
    struct Watched {
        std::string name;
        std::atomic<uint64_t> progress{0};
        uint64_t seen = 0;
        std::chrono::steady_clock::time_point since;
    };

    void Run() EXCLUDES(mLock);

    const std::chrono::milliseconds mStallBound;
    std::mutex mLock;
    std::condition_variable mStopRequested;
    bool mStop GUARDED_BY(mLock) = false;
    std::deque<Watched> mWatched GUARDED_BY(mLock);  // a deque: counters never move
    std::thread mThread;                             // last: started after the rest is built
};

}  // namespace aon_test
