#include "tools/common/ResultKeys.h"

#include <android/binder_status.h>

#include <utility>

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

constexpr std::pair<int32_t, const char*> kExceptions[] = {
        {EX_SECURITY, "EX_SECURITY"},
        {EX_BAD_PARCELABLE, "EX_BAD_PARCELABLE"},
        {EX_ILLEGAL_ARGUMENT, "EX_ILLEGAL_ARGUMENT"},
        {EX_NULL_POINTER, "EX_NULL_POINTER"},
        {EX_ILLEGAL_STATE, "EX_ILLEGAL_STATE"},
        {EX_NETWORK_MAIN_THREAD, "EX_NETWORK_MAIN_THREAD"},
        {EX_UNSUPPORTED_OPERATION, "EX_UNSUPPORTED_OPERATION"},
        {EX_SERVICE_SPECIFIC, "EX_SERVICE_SPECIFIC"},
        {EX_PARCELABLE, "EX_PARCELABLE"},
        {EX_TRANSACTION_FAILED, "EX_TRANSACTION_FAILED"},
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

const char* ExceptionName(int32_t exception) {
    for (const auto& [code, name] : kExceptions) {
        if (code == exception) return name;
    }
    return nullptr;
}

bool ExceptionCode(const std::string& name, int32_t* exception) {
    for (const auto& [code, known] : kExceptions) {
        if (name == known) {
            *exception = code;
            return true;
        }
    }
    return false;
}

std::vector<std::string> ExceptionNames() {
    std::vector<std::string> names;
    for (const auto& exception : kExceptions) names.emplace_back(exception.second);
    return names;
}

}  // namespace aon_tools
