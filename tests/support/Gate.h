// Holds a thread at a point of the test's choosing: Pass() waits while the gate is closed. The
// test learns that a thread is held (WaitEntered) and lets it go (Open). WaitUntilAsleep learns
// that a thread blocks where the test cannot place a gate. Every wait is bounded, so a broken test
// fails instead of hanging.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

namespace aon_test {

class Gate final {
  public:
    explicit Gate(bool open = false) : mOpen(open) {}

    void Pass() {
        std::unique_lock<std::mutex> lock(mLock);
        if (mOpen) return;
        mEntered = true;
        mChanged.notify_all();
        mChanged.wait_for(lock, std::chrono::seconds(20), [this] { return mOpen; });
    }
    [[nodiscard]] bool WaitEntered(std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, timeout, [this] { return mEntered; });
    }
    void Open() { Set(true); }
    void Close() { Set(false); }

  private:
    void Set(bool open) {
        std::lock_guard<std::mutex> guard(mLock);
        mOpen = open;
        mChanged.notify_all();
    }

    std::mutex mLock;
    std::condition_variable mChanged;
    bool mEntered = false;
    bool mOpen;
};

// The thread's scheduler state from /proc ('S' while it waits).
inline char ThreadState(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const size_t end = line.rfind(')');
    return end == std::string::npos || end + 2 >= line.size() ? '?' : line[end + 2];
}

// True once `ready()` holds and thread `tid` (0 until it is known) sleeps; false after 5 s.
template <typename Ready>
[[nodiscard]] bool WaitUntilAsleep(const std::atomic<pid_t>& tid, Ready ready) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!ready() || tid == 0 || ThreadState(tid) != 'S') {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

}  // namespace aon_test
