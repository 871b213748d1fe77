// Holds a thread at a point of the test's choosing until the test opens the gate. Every wait is
// bounded, so a broken test fails instead of hanging.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace aon_test {

class Gate final {
  public:
    // Called by the held thread: signals that it arrived and waits until the gate opens.
    void Pass() {
        std::unique_lock<std::mutex> lock(mLock);
        mEntered = true;
        mChanged.notify_all();
        mChanged.wait_for(lock, std::chrono::seconds(20), [this] { return mOpen; });
    }
    [[nodiscard]] bool WaitEntered(std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, timeout, [this] { return mEntered; });
    }
    bool IsOpen() {
        std::lock_guard<std::mutex> guard(mLock);
        return mOpen;
    }
    void Open() {
        std::lock_guard<std::mutex> guard(mLock);
        mOpen = true;
        mChanged.notify_all();
    }

  private:
    std::mutex mLock;
    std::condition_variable mChanged;
    bool mEntered = false;
    bool mOpen = false;
};

}  // namespace aon_test
