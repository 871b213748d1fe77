#include "tools/common/ResultKeys.h"

namespace aon_tools {
namespace {

// In the order the library appends them to an event with every detector and an image.
constexpr KeyInfo kKeys[] = {
        {100, "fusion rotate angle", "floatValue", 0x1},
        {101, "fusion item count", "intValue", 0x1},
        {102, "fusion item length", "intValue", 0x1},
        {103, "fusion items", "floatArray", 0x1},
        {200, "face angle", "floatArray", 0x2},
        {300, "gaze", "floatArray", 0x4},
        {400, "face feature", "byteArray", 0x8},
        {700, "image stride", "intValue", 0},
        {701, "image height", "intValue", 0},
        {702, "image stride (again)", "intValue", 0},
        {703, "image", "byteArray", 0},
        {0, "frame id", "intValue", 0},
        {1, "frame width", "intValue", 0},
        {2, "frame height", "intValue", 0},
};

}  // namespace

const KeyInfo* FindKey(int32_t key) {
    for (const KeyInfo& info : kKeys) {
        if (info.key == key) return &info;
    }
    return nullptr;
}

std::string KeyName(int32_t key) {
    const KeyInfo* info = FindKey(key);
    return info != nullptr ? info->name : "key " + std::to_string(key);
}

std::string ServiceBitName(uint32_t bit) {
    switch (bit) {
        case 0x1:
            return "fusion";
        case 0x2:
            return "face angle";
        case 0x4:
            return "gaze";
        case 0x8:
            return "face feature";
        default:
            return "type " + std::to_string(bit);
    }
}

std::string ServiceTypeNames(uint32_t mask) {
    if (mask == 0) return "none";
    std::string names;
    for (uint32_t bit = 1; bit != 0; bit <<= 1) {
        if ((mask & bit) == 0) continue;
        if (!names.empty()) names += ", ";
        names += ServiceBitName(bit);
    }
    return names;
}

const char* SensorStateName(int32_t state) {
    switch (state) {
        case 0:
            return "idle";
        case 1:
            return "started";
        case 2:
            return "busy";
        default:
            return "?";
    }
}

}  // namespace aon_tools
