#include "tools/aon-client/RunControl.h"

#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <thread>

namespace aon_client {
namespace {

constexpr int kExitInterruptedTwice = 130;

sigset_t InterruptSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

void Say(const char* text) {
    // Straight to the descriptor: the process may end right after.
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) return;
}

}  // namespace

void RunControl::BlockInterrupts() {
    const sigset_t set = InterruptSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void RunControl::StartSignalThread() {
    // The thread is never joined: the process ends (with _exit) while it waits for a signal.
    std::thread([this] {
        const sigset_t set = InterruptSignals();
        for (int count = 1;; ++count) {
            int signal = 0;
            if (sigwait(&set, &signal) != 0) continue;
            if (count == 1) {
                Say("aon-client: interrupted: leaving the service clean (interrupt again to exit "
                    "at once)\n");
                OnInterrupt();
            } else {
                Say("aon-client: interrupted again: exiting at once\n");
                _exit(kExitInterruptedTwice);
            }
        }
    }).detach();
}

void RunControl::OnEvent() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        ++mEvents;
    }
    mChanged.notify_all();
}

void RunControl::OnInterrupt() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mInterrupted = true;
    }
    mChanged.notify_all();
}

void RunControl::OnServiceDied() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mServiceDied = true;
    }
    mChanged.notify_all();
}

bool RunControl::interrupted() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mInterrupted;
}

bool RunControl::serviceDied() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mServiceDied;
}

int64_t RunControl::events() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mEvents;
}

std::optional<RunControl::End> RunControl::EndLocked(std::optional<int64_t> events) const {
    if (mServiceDied) return End::kServiceDied;
    if (mInterrupted) return End::kInterrupted;
    if (events && mEvents >= *events) return End::kEvents;
    return std::nullopt;
}

RunControl::End RunControl::Wait(std::optional<int64_t> events,
                                 std::optional<Clock::time_point> deadline) {
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion held(mLock);
    auto ended = [&] {
        android::base::ScopedLockAssertion waitHeld(mLock);
        return EndLocked(events).has_value();
    };
    if (deadline) {
        if (!mChanged.wait_until(lock, *deadline, ended)) return End::kDuration;
    } else {
        mChanged.wait(lock, ended);
    }
    return *EndLocked(events);
}

bool RunControl::Pause(std::chrono::milliseconds period) {
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion held(mLock);
    return !mChanged.wait_for(lock, period, [this] {
        android::base::ScopedLockAssertion waitHeld(mLock);
        return mInterrupted;
    });
}

}  // namespace aon_client
