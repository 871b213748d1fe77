// The watchdog itself: work that does not end turns into a failure that shows every thread's
// stack, the stuck one's included.
#include <gtest/gtest.h>

#include <cstdlib>
#include <mutex>
#include <thread>

#include "tests/soak/Watchdog.h"

namespace aon_test {

// Not in the anonymous namespace, so that the stack shows a plain name.
void StuckInHere(std::mutex& taken) {
    std::lock_guard<std::mutex> never(taken);  // the lock is held until the process dies
}

namespace {

TEST(WatchdogDeathTest, WorkThatDoesNotEndFailsWithEveryThreadsStack) {
    if (std::system("command -v gdb > /dev/null") != 0) GTEST_SKIP() << "no gdb";
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                Watchdog watchdog("the stuck worker", std::chrono::milliseconds(300));
                std::mutex taken;
                taken.lock();
                std::thread(StuckInHere, std::ref(taken)).join();
            },
            "the stuck worker did not end within 300 ms.*StuckInHere.*watchdog: aborting");
}

}  // namespace
}  // namespace aon_test
