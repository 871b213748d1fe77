// Found by the soak under ThreadSanitizer: the process hung at exit. The manager's destructor took
// mLock and then waited for the last open/close worker, which was still on its way to taking mLock
// itself; neither could go on. The destructor now waits for the worker without holding mLock.
//
// The worker is held where it starts (naming its thread, before it takes mLock): this binary is
// linked with -Wl,--wrap=prctl, and the wrapper below keeps a thread that names itself
// "AONManager" until the test lets it go.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "manager/AONManager.h"
#include "tests/support/LogCapture.h"

namespace {

using namespace std::chrono_literals;

// Holds threads that name themselves "AONManager" while armed.
struct WorkerGate {
    std::mutex lock;
    std::condition_variable changed;
    bool armed = false;
    bool held = false;

    void Pass() {
        std::unique_lock<std::mutex> guard(lock);
        if (!armed) return;
        held = true;
        changed.notify_all();
        changed.wait_for(guard, 10s, [this] { return !armed; });
    }
    bool WaitUntilHeld(std::chrono::milliseconds bound) {
        std::unique_lock<std::mutex> guard(lock);
        return changed.wait_for(guard, bound, [this] { return held; });
    }
    void Release() {
        {
            std::lock_guard<std::mutex> guard(lock);
            armed = false;
        }
        changed.notify_all();
    }
};

WorkerGate gGate;

// The thread's scheduler state from /proc ('S' while it waits).
char ThreadState(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(stat, line);
    const size_t end = line.rfind(')');
    return end == std::string::npos || end + 2 >= line.size() ? '?' : line[end + 2];
}

}  // namespace

extern "C" int __real_prctl(int option, ...);

extern "C" int __wrap_prctl(int option, ...) {
    std::va_list args;
    va_start(args, option);
    const unsigned long arg2 = va_arg(args, unsigned long);
    const unsigned long arg3 = va_arg(args, unsigned long);
    const unsigned long arg4 = va_arg(args, unsigned long);
    const unsigned long arg5 = va_arg(args, unsigned long);
    va_end(args);
    if (option == PR_SET_NAME && std::strcmp(reinterpret_cast<const char*>(arg2), "AONManager") == 0) {
        gGate.Pass();
    }
    return __real_prctl(option, arg2, arg3, arg4, arg5);
}

namespace {

TEST(ManagerTeardownTest, DestroyingTheManagerWaitsForAWorkerThatHasNotTakenItsLockYet) {
    aon_test::LogCapture log;
    auto manager = std::make_shared<tarvo::aon::AONManager>();
    {
        std::lock_guard<std::mutex> guard(gGate.lock);
        gGate.armed = true;
    }
    manager->NotifyClose(5);
    ASSERT_TRUE(gGate.WaitUntilHeld(5s)) << "the close worker did not start";

    std::atomic<pid_t> destroyerTid{0};
    std::promise<void> destroyed;
    std::thread destroyer([&] {
        destroyerTid = static_cast<pid_t>(syscall(SYS_gettid));
        manager.reset();
        destroyed.set_value();
    });
    // The destructor is under way and waits for the worker.
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (log.count("AONManager: aon manager destroy") == 0 || destroyerTid == 0 ||
           ThreadState(destroyerTid) != 'S') {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the destructor did not start";
        std::this_thread::yield();
    }

    gGate.Release();
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
