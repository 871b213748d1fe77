#include "tests/soak/Watchdog.h"

#include <execinfo.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/common/ThreadWatch.h"

namespace aon_test {
namespace {

constexpr auto kCheckInterval = std::chrono::milliseconds(100);
constexpr int kGdbBoundSeconds = 60;

// gdb attached to this process prints every thread's backtrace. False when it could not run.
bool PrintStacksWithGdb() {
    // Under Yama's ptrace restrictions a child may attach to its parent only when allowed.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const std::string pid = std::to_string(getpid());
    const pid_t child = fork();
    if (child < 0) return false;
    if (child == 0) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        alarm(kGdbBoundSeconds);  // a gdb that hangs must not hang the report
        execlp("gdb", "gdb", "-batch", "-nx", "-p", pid.c_str(), "-ex", "thread apply all bt",
               static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::atomic<int> gStacksPrinted{0};

void PrintOwnStack(int) {
    void* frames[64];
    const int count = backtrace(frames, 64);
    char header[64];
    const int length = snprintf(header, sizeof(header), "--- thread %ld ---\n",
                                static_cast<long>(syscall(SYS_gettid)));
    if (write(STDERR_FILENO, header, static_cast<size_t>(length)) < 0) return;
    backtrace_symbols_fd(frames, count, STDERR_FILENO);
    gStacksPrinted.fetch_add(1);
}

// Without gdb: each thread prints its own backtrace from a signal handler, one after another.
void PrintStacksWithSignals() {
    struct sigaction action = {};
    action.sa_handler = &PrintOwnStack;
    sigemptyset(&action.sa_mask);
    sigaction(SIGUSR2, &action, nullptr);
    for (int tid : aon_tools::ThreadWatch::Threads()) {
        const int before = gStacksPrinted.load();
        if (syscall(SYS_tgkill, getpid(), tid, SIGUSR2) != 0) continue;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (gStacksPrinted.load() == before && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }
}

// Prints the stack of every thread of this process to stderr.
void PrintAllThreadStacks() {
    std::fflush(stderr);
    if (PrintStacksWithGdb()) return;
    std::fprintf(stderr, "(gdb not available: backtraces from each thread)\n");
    PrintStacksWithSignals();
}

}  // namespace

Watchdog::Watchdog(std::chrono::milliseconds stallBound)
    : mStallBound(stallBound), mThread([this] { Run(); }) {}

Watchdog::~Watchdog() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mStop = true;
    }
    mStopRequested.notify_all();
    mThread.join();
}

std::atomic<uint64_t>& Watchdog::Watch(const std::string& name) {
    std::lock_guard<std::mutex> guard(mLock);
    Watched& watched = mWatched.emplace_back();
    watched.name = name;
    watched.since = std::chrono::steady_clock::now();
    return watched.progress;
}

void Watchdog::Run() {
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion assertion(mLock);
    while (!mStopRequested.wait_for(lock, kCheckInterval, [this]() REQUIRES(mLock) {
        return mStop;
    })) {
        const auto now = std::chrono::steady_clock::now();
        for (Watched& watched : mWatched) {
            const uint64_t progress = watched.progress.load();
            if (progress != watched.seen) {
                watched.seen = progress;
                watched.since = now;
                continue;
            }
            if (now - watched.since < mStallBound) continue;
            std::fprintf(stderr, "watchdog: thread \"%s\" made no progress for %lld ms (at %llu)\n",
                         watched.name.c_str(), static_cast<long long>(mStallBound.count()),
                         static_cast<unsigned long long>(progress));
            PrintAllThreadStacks();
            std::fprintf(stderr, "watchdog: aborting\n");
            std::abort();
        }
    }
}

}  // namespace aon_test
