#include "tests/soak/Watchdog.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace aon_test {

Watchdog::Watchdog(std::string what, std::chrono::milliseconds bound)
    : mWhat(std::move(what)), mThread([this, bound] { Run(bound); }) {}

Watchdog::~Watchdog() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mEnd = true;
    }
    mEnded.notify_all();
    mThread.join();
}

void Watchdog::Run(std::chrono::milliseconds bound) {
    {
        std::unique_lock<std::mutex> lock(mLock);
        android::base::ScopedLockAssertion assertion(mLock);
        if (mEnded.wait_for(lock, bound, [this]() REQUIRES(mLock) { return mEnd; })) return;
    }
    std::fprintf(stderr, "watchdog: %s did not end within %lld ms\n", mWhat.c_str(),
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

}  // namespace aon_test
