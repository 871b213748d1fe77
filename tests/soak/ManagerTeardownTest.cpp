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
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "manager/AONManager.h"
#include "tests/support/Gate.h"
#include "tests/support/LogCapture.h"

namespace {

using namespace std::chrono_literals;

// Holds threads that name themselves "AONManager" while closed.
aon_test::Gate gWorkerGate(/*open=*/true);

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
    unsigned long arg[4];  // prctl's arguments 2 to 5
    for (unsigned long& value : arg) value = va_arg(args, unsigned long);
    va_end(args);
    const char* name = reinterpret_cast<const char*>(arg[0]);
    if (option == PR_SET_NAME && std::strcmp(name, "AONManager") == 0) gWorkerGate.Pass();
    return __real_prctl(option, arg[0], arg[1], arg[2], arg[3]);
}

namespace {

TEST(ManagerTeardownTest, DestroyingTheManagerWaitsForAWorkerThatHasNotTakenItsLockYet) {
    aon_test::LogCapture log;
    auto manager = std::make_shared<tarvo::aon::AONManager>();
    gWorkerGate.Close();
    manager->NotifyClose(5);
    ASSERT_TRUE(gWorkerGate.WaitEntered(5s)) << "the close worker did not start";

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

    gWorkerGate.Open();
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
