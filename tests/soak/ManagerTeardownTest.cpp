// Found by the soak under ThreadSanitizer: the process hung at exit. The manager's destructor took
// mLock and then waited for the last open/close worker, which was still on its way to taking mLock
// itself; neither could go on. The destructor now waits for the worker without holding mLock.
//
// The worker is held where it starts (naming its thread, before it takes mLock): this binary is
// linked with -Wl,--wrap=prctl, and the wrapper of tests/support/WorkerGate.h keeps a thread that
// names itself "AONManager" until the test lets it go.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>

#include "manager/AONManager.h"
#include "tests/support/LogCapture.h"
#include "tests/support/WorkerGate.h"

namespace {

using namespace std::chrono_literals;

TEST(ManagerTeardownTest, DestroyingTheManagerWaitsForAWorkerThatHasNotTakenItsLockYet) {
    aon_test::LogCapture log;
    auto manager = std::make_shared<tarvo::aon::AONManager>();
    aon_test::gWorkerGate.Close();
    manager->NotifyClose(5);
    ASSERT_TRUE(aon_test::gWorkerGate.WaitEntered(5s)) << "the close worker did not start";

    std::atomic<pid_t> destroyerTid{0};
    std::promise<void> destroyed;
    std::thread destroyer([&] {
        destroyerTid = static_cast<pid_t>(syscall(SYS_gettid));
        manager.reset();
        destroyed.set_value();
    });
    // The destructor is under way and waits for the worker.
    ASSERT_TRUE(aon_test::WaitUntilAsleep(destroyerTid, [&] {
        return log.count("AONManager: aon manager destroy") != 0;
    })) << "the destructor did not start";

    aon_test::gWorkerGate.Open();
    if (destroyed.get_future().wait_for(5s) != std::future_status::ready) {
        ADD_FAILURE() << "the destructor and the worker wait for each other";
        std::fflush(stdout);
        std::_Exit(1);  // both threads are stuck: the process cannot end normally
    }
    destroyer.join();
    EXPECT_EQ(log.count("AONManager: mOpenDeviceMap erase instanceId=5 sensorIds:"), 1u)
            << "the worker did not finish its work";
}

}  // namespace
