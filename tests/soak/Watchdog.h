// aon_test::Watchdog: turns a stall into a failure that shows where every thread stands. Unless it
// is destroyed within its bound, it prints every thread's stack through gdb and aborts the process.
#pragma once

#include <android-base/thread_annotations.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace aon_test {

class Watchdog final {
  public:
    // `what` names the work that must end within `bound` in the report.
    Watchdog(std::string what, std::chrono::milliseconds bound);
    ~Watchdog();  // the work ended: stops watching

  private:
    void Run(std::chrono::milliseconds bound) EXCLUDES(mLock);

    const std::string mWhat;
    std::mutex mLock;
    std::condition_variable mEnded;
    bool mEnd GUARDED_BY(mLock) = false;
    std::thread mThread;  // last: started after the rest is built
};

}  // namespace aon_test
