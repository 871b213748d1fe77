#include "manager/SensorIds.h"

namespace tarvo::aon {

std::string toString(const std::vector<int32_t>& ids) {
    std::string text = "sensorIds:";
    for (int32_t id : ids) {
        text += std::to_string(id);
        text += ',';
    }
    return text;
}

}  // namespace tarvo::aon
