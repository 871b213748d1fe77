// aon_test::Watchdog: turns a stall into a failure that shows where every thread stands. Unless it
// is destroyed within its bound, it prints every thread's stack through gdb and aborts the process.
#pragma once

#include <android-base/thread_annotations.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace aon_test {

class Watchdog final {
  public:
    // `what` names the work that must end within `bound` in the report.
    Watchdog(const char* what, std::chrono::milliseconds bound)
        : mThread([this, what, bound] { Run(what, bound); }) {}

    ~Watchdog() {  // the work ended: stops watching
        {
            std::lock_guard<std::mutex> guard(mLock);
            mEnd = true;
        }
        mEnded.notify_all();
        mThread.join();
    }

  private:
    void Run(const char* what, std::chrono::milliseconds bound) EXCLUDES(mLock) {
        {
            std::unique_lock<std::mutex> lock(mLock);
            android::base::ScopedLockAssertion assertion(mLock);
            if (mEnded.wait_for(lock, bound, [this]() REQUIRES(mLock) { return mEnd; })) return;
        }
        std::fprintf(stderr, "watchdog: %s did not end within %lld ms\n", what,
                     static_cast<long long>(bound.count()));
        std::fflush(stderr);
        // gdb, attached to this process, prints every thread's backtrace. Under Yama's ptrace
        // restrictions a child may attach to its parent only when allowed.
        prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
        const std::string pid = std::to_string(getpid());
        const pid_t child = fork();
        if (child == 0) {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            alarm(60);  // a gdb that hangs must not hang the report
            execlp("gdb", "gdb", "-batch", "-nx", "-p", pid.c_str(), "-ex", "thread apply all bt",
                   static_cast<char*>(nullptr));
            _exit(127);
        }
        while (child > 0 && waitpid(child, nullptr, 0) < 0) {
        }
        std::fprintf(stderr, "watchdog: aborting\n");
        std::abort();
    }

    std::mutex mLock;
    std::condition_variable mEnded;
    bool mEnd GUARDED_BY(mLock) = false;
    std::thread mThread;  // last: started after the rest is built
};

}  // namespace aon_test
