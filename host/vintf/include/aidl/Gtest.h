// Host stand-in for <aidl/Gtest.h> of the platform's VTS helper library: names the tests of a
// suite parameterised over instance names as the device's helper does, "<index>/<instance>" with
// every character that is not a letter or a digit replaced by '_'.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <string>

namespace android {

inline std::string PrintInstanceNameToString(const testing::TestParamInfo<std::string>& info) {
    std::string name = std::to_string(info.index) + "/" + info.param;
    for (char& c : name) {
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    }
    return name;
}

}  // namespace android
