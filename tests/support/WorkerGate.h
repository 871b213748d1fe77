// Holds the manager's open/close workers where they start: a worker names its thread "AONManager"
// with prctl before it takes the manager's lock, and a binary linked with -Wl,--wrap=prctl that
// includes this header (in one source file) sends that call through gWorkerGate first. Closed, the
// gate keeps the worker there until the test opens it.
#pragma once

#include <sys/prctl.h>
#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

#include "tests/support/Gate.h"

namespace aon_test {

inline Gate gWorkerGate(/*open=*/true);

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

extern "C" int __real_prctl(int option, ...);

extern "C" int __wrap_prctl(int option, ...) {
    std::va_list args;
    va_start(args, option);
    unsigned long arg[4];  // prctl's arguments 2 to 5
    for (unsigned long& value : arg) value = va_arg(args, unsigned long);
    va_end(args);
    const char* name = reinterpret_cast<const char*>(arg[0]);
    if (option == PR_SET_NAME && std::strcmp(name, "AONManager") == 0) aon_test::gWorkerGate.Pass();
    return __real_prctl(option, arg[0], arg[1], arg[2], arg[3]);
}
