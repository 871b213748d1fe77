// Rendering of sensor-id lists for log lines.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tarvo::aon {

// "sensorIds:" followed by every id and a comma after each, e.g. "sensorIds:0,2,".
std::string toString(const std::vector<int32_t>& ids);

}  // namespace tarvo::aon
