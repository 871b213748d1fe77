// The stream configuration the service front subscribes with the manager.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarvo::aon {

struct SensorConfig {
    int32_t sensorId = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t fps = 0;
    int32_t serviceType = 0;  // overwritten by StartService with the mask actually started
    int32_t mode = 0;         // 1: normal mode; anything else: motion-detection mode
};

static_assert(sizeof(SensorConfig) == 24);
static_assert(offsetof(SensorConfig, sensorId) == 0);
static_assert(offsetof(SensorConfig, width) == 4);
static_assert(offsetof(SensorConfig, height) == 8);
static_assert(offsetof(SensorConfig, fps) == 12);
static_assert(offsetof(SensorConfig, serviceType) == 16);
static_assert(offsetof(SensorConfig, mode) == 20);

}  // namespace tarvo::aon
