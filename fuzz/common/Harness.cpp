#include "fuzz/common/Harness.h"

#include <android/log.h>
#include <dirent.h>
#include <sched.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace fuzz {

void Fail(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::fputs("invariant broken: ", stderr);
    std::vfprintf(stderr, format, args);
    std::fputc('\n', stderr);
    va_end(args);
    std::abort();
}

void SetUpProcess() {
    const bool show = std::getenv("AON_FUZZ_LOG") != nullptr;
    __android_log_set_logger(show ? __android_log_stderr_logger
                                  : [](const struct __android_log_message*) {});
    const int cpu = sched_getcpu();
    if (cpu < 0) return;
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(cpu, &set);
    sched_setaffinity(0, sizeof(set), &set);  // threads inherit it
}

size_t ThreadCount() {
    DIR* tasks = opendir("/proc/self/task");  // one entry per thread, and "." and ".."
    if (tasks == nullptr) Fail("cannot open /proc/self/task");
    size_t count = 0;
    while (const dirent* entry = readdir(tasks)) count += entry->d_name[0] != '.';
    closedir(tasks);
    return count;
}

bool WaitForThreadCount(size_t count, std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (ThreadCount() > count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        sched_yield();  // the thread waited for shares this processor
    }
    return true;
}

}  // namespace fuzz
