#include "fuzz/common/Harness.h"

#include <android/log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

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

void QuietLog() {
    const bool show = std::getenv("AON_FUZZ_LOG") != nullptr;
    __android_log_set_logger(show ? __android_log_stderr_logger
                                  : [](const struct __android_log_message*) {});
}

}  // namespace fuzz
