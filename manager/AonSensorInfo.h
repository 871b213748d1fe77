// A sensor the always-on stream can run on, as the manager discovered it. The four leading
// int32 fields are contiguous and in this order: the service front copies them as one block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarvo::aon {

// One frame size of a sensor with the rates supported at it, in the vendor's order.
struct SizeAndSupportRates {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<int32_t> rates;
};

struct AonSensorInfo {
    int32_t sensorId = 0;
    int32_t reserved = 0;
    int32_t sensorAttribute = 0;
    int32_t supportServiceTypes = 0;
    std::vector<SizeAndSupportRates> sizes;
};

static_assert(offsetof(AonSensorInfo, sensorId) == 0);
static_assert(offsetof(AonSensorInfo, reserved) == 4);
static_assert(offsetof(AonSensorInfo, sensorAttribute) == 8);
static_assert(offsetof(AonSensorInfo, supportServiceTypes) == 12);

}  // namespace tarvo::aon
