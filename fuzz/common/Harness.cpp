#include "fuzz/common/Harness.h"

#include <android/log.h>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

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
    // "pid (comm) state ppid ..." with num_threads the 20th field; comm may hold spaces and
    // parentheses, so the fields are counted from the last ')'.
    char buffer[1024];
    const int fd = open("/proc/self/stat", O_RDONLY | O_CLOEXEC);
    if (fd < 0) Fail("cannot open /proc/self/stat");
    const ssize_t length = read(fd, buffer, sizeof(buffer) - 1);
    close(fd);
    if (length <= 0) Fail("cannot read /proc/self/stat");
    buffer[length] = '\0';
    const char* field = strrchr(buffer, ')');
    for (int index = 2; field != nullptr && index < 20; ++index) field = strchr(field + 1, ' ');
    if (field == nullptr) Fail("no thread count in /proc/self/stat");
    return std::strtoul(field + 1, nullptr, 10);
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
