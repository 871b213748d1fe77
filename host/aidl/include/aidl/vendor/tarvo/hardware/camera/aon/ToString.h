// Host equivalent of the generated code's value printing, used by the records' toString().
#pragma once

#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace aidl::vendor::tarvo::hardware::camera::aon::internal {

template <typename T>
std::string ToString(const T& value) {
    if constexpr (std::is_same_v<T, std::string>) {
        return value;
    } else if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, int8_t> || std::is_same_v<T, uint8_t>) {
        return std::to_string(static_cast<int>(value));
    } else if constexpr (std::is_arithmetic_v<T>) {
        std::ostringstream out;
        out << value;
        return out.str();
    } else {
        return value.toString();
    }
}

template <typename T>
std::string ToString(const std::vector<T>& values) {
    std::string out = "[";
    for (size_t i = 0; i < values.size(); ++i) {
        if (i != 0) out += ", ";
        out += ToString(values[i]);
    }
    return out + "]";
}

}  // namespace aidl::vendor::tarvo::hardware::camera::aon::internal
