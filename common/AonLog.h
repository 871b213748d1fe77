// Logging shared by every subsystem: the Android log, tag "AONLog_HAL", each line formatted as
// "%s: " followed by the message, the first argument being the logging class's name.
//
// A source file that logs defines, before using these macros:
//     constexpr char kLogClass[] = "AONManager";
// The DEBUG lines of the event translation are gated by "vendor.debug.cameralog.enable", read
// afresh at every line (AON_LOGD_GATED).
#pragma once

#include <android/log.h>
#include <cutils/properties.h>

#define AON_LOG_TAG "AONLog_HAL"
#define AON_DEBUG_LOG_PROPERTY "vendor.debug.cameralog.enable"

#define AON_LOG(priority, fmt, ...) \
    __android_log_print(priority, AON_LOG_TAG, "%s: " fmt, kLogClass, ##__VA_ARGS__)

#define AON_LOGD(fmt, ...) AON_LOG(ANDROID_LOG_DEBUG, fmt, ##__VA_ARGS__)
#define AON_LOGI(fmt, ...) AON_LOG(ANDROID_LOG_INFO, fmt, ##__VA_ARGS__)
#define AON_LOGW(fmt, ...) AON_LOG(ANDROID_LOG_WARN, fmt, ##__VA_ARGS__)
#define AON_LOGE(fmt, ...) AON_LOG(ANDROID_LOG_ERROR, fmt, ##__VA_ARGS__)

#define AON_LOGD_GATED(fmt, ...)                                        \
    do {                                                                \
        if (property_get_bool(AON_DEBUG_LOG_PROPERTY, false)) {         \
            AON_LOGD(fmt, ##__VA_ARGS__);                               \
        }                                                               \
    } while (0)
