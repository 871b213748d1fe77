// The names of what crosses the interface, for people: result keys, service-type bits and sensor
// states, as the programs print them beside the numbers.
#pragma once

#include <cstdint>
#include <string>

namespace aon_tools {

// One result key of AONCallBackInfo.results.
struct KeyInfo {
    int32_t key = 0;
    const char* name = "";    // "fusion rotate angle", "image stride", ...
    const char* member = "";  // the AONResultValue member the library sets: "intValue", ...
    uint32_t serviceBit =
            0;  // the service-type bit that selects it; 0 for the image and frame keys
};

// The key's description, or null for a key the library never sets.
const KeyInfo* FindKey(int32_t key);
// The key's name, or "key <n>" for a key the library never sets.
std::string KeyName(int32_t key);

// "fusion", "face angle", "gaze", "face feature" for bits 1, 2, 4, 8; "type 16" and so on.
std::string ServiceBitName(uint32_t bit);
// The bits of a mask by name, lowest first, joined with ", "; "none" for 0.
std::string ServiceTypeNames(uint32_t mask);

// "idle", "started", "busy", or "?".
const char* SensorStateName(int32_t state);

}  // namespace aon_tools
