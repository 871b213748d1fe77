// The watchdog itself: a thread that stops making progress turns into a failure that shows every
// thread's stack, the stuck one's included.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "tests/soak/Watchdog.h"

namespace aon_test {

// Exported (the test is linked with -rdynamic), so that the stack shows its name with or without
// gdb.
void StuckInHere(std::mutex& taken, std::atomic<uint64_t>& progress) {
    progress.fetch_add(1);
    std::lock_guard<std::mutex> never(taken);  // the lock is held until the process dies
    progress.fetch_add(1);
}

namespace {

TEST(WatchdogDeathTest, AStalledThreadFailsWithEveryThreadsStack) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                Watchdog watchdog(std::chrono::milliseconds(300));
                std::atomic<uint64_t>& progress = watchdog.Watch("stuck worker");
                std::mutex taken;
                taken.lock();
                std::thread stuck(StuckInHere, std::ref(taken), std::ref(progress));
                stuck.join();
            },
            "thread \"stuck worker\" made no progress for 300 ms.*StuckInHere.*watchdog: aborting");
}

}  // namespace
}  // namespace aon_test
