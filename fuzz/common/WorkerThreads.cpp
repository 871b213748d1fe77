#include "fuzz/common/WorkerThreads.h"

#include <dirent.h>
#include <sched.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/common/RecordingClient.h"

namespace fuzz {
namespace {

bool ThreadExists(pid_t tid) {
    struct stat info;
    const std::string path = "/proc/self/task/" + std::to_string(tid);
    return stat(path.c_str(), &info) == 0;
}

}  // namespace

std::set<pid_t> WorkerThreads::ListThreads() {
    std::set<pid_t> threads;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) Fail("cannot list the threads of the process");
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.') threads.insert(static_cast<pid_t>(std::atoi(entry->d_name)));
    }
    closedir(dir);
    return threads;
}

void WorkerThreads::Track(const std::function<void()>& call) {
    const std::set<pid_t> before = ListThreads();
    call();
    for (pid_t tid : ListThreads()) {
        if (before.count(tid) == 0) mPending.insert(tid);
    }
}

void WorkerThreads::WaitForAll(std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    for (pid_t tid : mPending) {
        // The condition is the kernel's: the thread's entry goes when the thread has ended.
        while (ThreadExists(tid)) {
            if (std::chrono::steady_clock::now() > deadline) {
                Fail("worker thread %d still running after %lld ms", static_cast<int>(tid),
                     static_cast<long long>(bound.count()));
            }
            sched_yield();
        }
    }
    mPending.clear();
}

}  // namespace fuzz
