// Holds a thread at a point of the test's choosing: Pass() waits while the gate is closed. The
// test learns that a thread is held (WaitEntered) and lets it go (Open). Every wait is bounded, so
// a broken test fails instead of hanging.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

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

}  // namespace aon_test
