// The API 30 logger functions of <android/log.h> over Debian's older liblog: a logger set here is
// called with one __android_log_message per line, built from what Debian's liblog hands its own
// logger; the logd and stderr loggers hand the message back to Debian's.
#include <android/log.h>

#include <atomic>

// From here on the names are Debian's own functions.
#undef __android_logger_function
#undef __android_log_set_logger
#undef __android_log_logd_logger
#undef __android_log_stderr_logger

namespace {

// As on a device, setting the logger is a plain store that any thread may make at any time.
std::atomic<host_android_logger_function> gLogger{nullptr};

void CallLogger(const struct __android_logger_data* data, const char* message) {
    const host_android_logger_function logger = gLogger.load();
    if (logger == nullptr) return;
    const __android_log_message logMessage = {sizeof(__android_log_message),
                                              static_cast<int32_t>(data->buffer_id),
                                              static_cast<int32_t>(data->priority),
                                              data->tag,
                                              data->file,
                                              data->file == nullptr ? 0u : data->line,
                                              message};
    logger(&logMessage);
}

__android_logger_data DataOf(const __android_log_message* message) {
    return {sizeof(__android_logger_data),
            message->buffer_id,
            message->priority,
            message->tag,
            message->file,
            message->line};
}

}  // namespace

extern "C" void host_android_log_set_logger(host_android_logger_function logger) {
    gLogger.store(logger);
    __android_log_set_logger(&CallLogger);
}

extern "C" void host_android_log_logd_logger(const struct __android_log_message* message) {
    __android_logger_data data = DataOf(message);
    __android_log_logd_logger(&data, message->message);
}

extern "C" void host_android_log_stderr_logger(const struct __android_log_message* message) {
    __android_logger_data data = DataOf(message);
    __android_log_stderr_logger(&data, message->message);
}
