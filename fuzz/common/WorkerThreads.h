// fuzz::WorkerThreads: waits for the short-lived threads a call starts, such as the open and
// close workers of AONManager::NotifyOpen/NotifyClose. Around the call, Track() notes which
// threads of the process appeared; WaitForAll() then waits, with a bound, until they have ended.
// A worker that does not end within the bound is a stall: it aborts with the thread list.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <set>

namespace fuzz {

class WorkerThreads final {
  public:
    // Runs `call` and remembers every thread that exists after it but did not before.
    void Track(const std::function<void()>& call);
    // Waits until every remembered thread has ended; aborts after `bound`.
    void WaitForAll(std::chrono::milliseconds bound = std::chrono::seconds(10));

    // The thread ids of this process now.
    static std::set<pid_t> ListThreads();

  private:
    std::set<pid_t> mPending;
};

}  // namespace fuzz
