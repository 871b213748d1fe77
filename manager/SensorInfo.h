// One frame size a sensor offers to the always-on stream, as IAOVStream::getSensorInfo() returns
// it: a 64-byte layout contract with the vendor library. Only the named fields are read.
#pragma once

#include "manager/VendorAbi.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

struct sensor_info {
    int32_t width;
    int32_t height;
    int32_t reserved8;
    int32_t attribute;           // per-sensor value, the same in every entry of a sensor
    std::vector<int32_t> rates;  // frame rates supported at this size
    uint8_t reserved40[24];
};

#if defined(__LP64__)  // a 32-bit build has already failed in VendorAbi.h
static_assert(std::is_standard_layout_v<sensor_info>);
static_assert(sizeof(sensor_info) == 64);
static_assert(offsetof(sensor_info, width) == 0);
static_assert(offsetof(sensor_info, height) == 4);
static_assert(offsetof(sensor_info, attribute) == 12);
static_assert(offsetof(sensor_info, rates) == 16);
static_assert(sizeof(std::vector<int32_t>) == 24);
#endif
