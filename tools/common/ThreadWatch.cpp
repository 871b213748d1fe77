#include "tools/common/ThreadWatch.h"

#include <dirent.h>

#include <cstdlib>
#include <thread>

namespace aon_tools {

ThreadWatch::ThreadWatch() : mBefore(Threads()) {}

std::set<int> ThreadWatch::Threads() {
    std::set<int> threads;
    DIR* dir = opendir("/proc/self/task");
    if (dir == nullptr) return threads;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.') threads.insert(std::atoi(entry->d_name));
    }
    closedir(dir);
    return threads;
}

bool ThreadWatch::Wait(std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        bool newThreadRuns = false;
        for (int thread : Threads()) {
            if (mBefore.count(thread) == 0) newThreadRuns = true;
        }
        if (!newThreadRuns) return true;
        if (std::chrono::steady_clock::now() >= deadline) return false;
        // The workers leave no handle to wait on: look again shortly.
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
}

}  // namespace aon_tools
