#include "tests/soak/Watchdog.h"

#include <dirent.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace aon_test {
namespace {

constexpr auto kCheckInterval = std::chrono::milliseconds(100);
constexpr int kGdbBoundSeconds = 60;

// The gdb on the PATH, or an empty string.
std::string FindGdb() {
    const char* path = std::getenv("PATH");
    std::string dirs = path != nullptr ? path : "/usr/bin:/bin";
    size_t start = 0;
    while (start <= dirs.size()) {
        const size_t end = dirs.find(':', start);
        const std::string candidate =
                dirs.substr(start, end == std::string::npos ? std::string::npos : end - start) +
                "/gdb";
        if (access(candidate.c_str(), X_OK) == 0) return candidate;
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return "";
}

// gdb attached to this process prints every thread's backtrace. False when it could not run.
bool PrintStacksWithGdb() {
    const std::string gdb = FindGdb();
    if (gdb.empty()) return false;
    // Under Yama's ptrace restrictions a child may attach to its parent only when allowed.
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const std::string pid = std::to_string(getpid());
    const pid_t child = fork();
    if (child < 0) return false;
    if (child == 0) {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        alarm(kGdbBoundSeconds);  // a gdb that hangs must not hang the report
        execl(gdb.c_str(), "gdb", "-batch", "-nx", "-p", pid.c_str(), "-ex",
              "thread apply all bt", static_cast<char*>(nullptr));
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
    std::vector<pid_t> threads;
    if (DIR* dir = opendir("/proc/self/task")) {
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.') threads.push_back(std::atoi(entry->d_name));
        }
        closedir(dir);
    }
    for (pid_t tid : threads) {
        const int before = gStacksPrinted.load();
        if (syscall(SYS_tgkill, getpid(), tid, SIGUSR2) != 0) continue;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        while (gStacksPrinted.load() == before && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
    }
}

}  // namespace

void PrintAllThreadStacks() {
    std::fflush(stderr);
    if (PrintStacksWithGdb()) return;
    std::fprintf(stderr, "(gdb not available: backtraces from each thread)\n");
    PrintStacksWithSignals();
}

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
