// Ends a scenario run whose step does not finish. Scenario time is virtual, but a thread that is
// stuck (a client that never returns from a callback, a lock a thread already holds taken again
// by a nested call) would hold the run forever: when a step makes no progress for the bound, the
// watchdog writes to stderr what is stuck (the file and line, the step's text, the thread that
// runs the step, each thread inside a binder transaction with its stack of transactions, each
// thread the step started that still runs) and ends the process with its own exit status. The
// trace up to that point is already on stdout.
//
// Thread-safety: Begin, Progress and End come from the runner's thread; the watchdog's thread
// reads what they set under mLock.
#pragma once

#include <android-base/thread_annotations.h>
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace aon_sim {

class StepWatchdog final {
  public:
    // `processName` names a simulated process in the report.
    StepWatchdog(std::chrono::milliseconds bound, int exitStatus,
                 std::function<std::string(int pid)> processName);
    ~StepWatchdog();
    StepWatchdog(const StepWatchdog&) = delete;
    StepWatchdog& operator=(const StepWatchdog&) = delete;

    // The step at `where` ("<file>:<line>") starts on the calling thread.
    void Begin(std::string where, std::string text) EXCLUDES(mLock);
    // The step moved on (one frame of several): its bound starts again.
    void Progress() EXCLUDES(mLock);
    void End() EXCLUDES(mLock);

  private:
    void Run() EXCLUDES(mLock);
    [[noreturn]] void Expire() REQUIRES(mLock);

    const std::chrono::milliseconds mBound;
    const int mExitStatus;
    const std::function<std::string(int)> mProcessName;

    std::mutex mLock;
    std::condition_variable mChanged;
    bool mArmed GUARDED_BY(mLock) = false;
    bool mStopping GUARDED_BY(mLock) = false;
    std::chrono::steady_clock::time_point mDeadline GUARDED_BY(mLock);
    std::string mWhere GUARDED_BY(mLock);
    std::string mText GUARDED_BY(mLock);
    pid_t mRunner GUARDED_BY(mLock) = 0;
    std::set<int> mThreadsBefore GUARDED_BY(mLock);  // the process's threads when the step began
    std::thread mThread;                             // last: joined before the rest goes
};

}  // namespace aon_sim
