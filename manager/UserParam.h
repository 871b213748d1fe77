// The configuration handed to IAOVStream::init(), a layout contract with the vendor library:
// 224 bytes, every field at a fixed offset. Regions named reserved... belong to the vendor and are
// passed as zero.
#pragma once

#include "manager/VendorAbi.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "manager/IAOVStreamCallback.h"

struct user_param {
    uint32_t reserved0;
    int32_t sensorId;
    uint8_t reserved8[36];
    uint32_t mainFormat;  // image format of the main stream (from its bit depth)
    uint8_t reserved48[8];
    uint32_t subFormat;  // image format of the sub stream
    int32_t fps;
    int32_t serviceType;  // service-type bit mask to run
    uint32_t reserved68;
    uint32_t debugMode;  // 1: the vendor's debug output is on
    uint8_t reserved76[68];
    int32_t requestedFps;  // the asked rate when fps was forced down, else 0
    uint8_t reserved148[52];
    int32_t width;
    int32_t height;
    std::shared_ptr<IAOVStreamCallback> callback;  // receives the stream's events
};

#if defined(__LP64__)  // a 32-bit build has already failed in VendorAbi.h
static_assert(std::is_standard_layout_v<user_param>);
static_assert(sizeof(user_param) == 224);
static_assert(offsetof(user_param, sensorId) == 4);
static_assert(offsetof(user_param, mainFormat) == 44);
static_assert(offsetof(user_param, subFormat) == 56);
static_assert(offsetof(user_param, fps) == 60);
static_assert(offsetof(user_param, serviceType) == 64);
static_assert(offsetof(user_param, debugMode) == 72);
static_assert(offsetof(user_param, requestedFps) == 144);
static_assert(offsetof(user_param, width) == 200);
static_assert(offsetof(user_param, height) == 204);
static_assert(offsetof(user_param, callback) == 208);
static_assert(sizeof(std::shared_ptr<IAOVStreamCallback>) == 16);
#endif
