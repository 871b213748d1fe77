// Host stand-in for <android/log.h>: Debian's liblog with the logger API of Android 11 (API 30),
// which is what a device has. Debian packages an older liblog whose logger functions take
// `const struct __android_logger_data*` and the message as a separate argument; a device's take
// one `const struct __android_log_message*` holding both. Code that runs on both sides is written
// against the device's API; this header declares it, and host/liblog/Logger.cpp carries it over
// to Debian's functions. Everything else is Debian's header unchanged.
#pragma once

#include_next <android/log.h>

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// One message as a logger gets it (API 30).
struct __android_log_message {
    size_t struct_size;  // sizeof(__android_log_message)
    int32_t buffer_id;   // log_id_t, or -1 for the default buffer
    int32_t priority;    // android_LogPriority
    const char* tag;
    const char* file;  // may be null
    uint32_t line;     // 0 when file is null
    const char* message;
};

// The API 30 logger functions. Debian's liblog exports the older functions under these names, so
// the host build reaches the adapter's under names of its own; source code uses the names below.
typedef void (*host_android_logger_function)(const struct __android_log_message* log_message);
void host_android_log_set_logger(host_android_logger_function logger);
void host_android_log_logd_logger(const struct __android_log_message* log_message);
void host_android_log_stderr_logger(const struct __android_log_message* log_message);

#ifdef __cplusplus
}
#endif

#define __android_logger_function host_android_logger_function
#define __android_log_set_logger host_android_log_set_logger
#define __android_log_logd_logger host_android_log_logd_logger
#define __android_log_stderr_logger host_android_log_stderr_logger
