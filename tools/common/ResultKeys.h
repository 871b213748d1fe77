// The names of what crosses the interface, for people: result keys, service-type bits and sensor
// states, as the programs print them beside the numbers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

// A binder exception code's name ("EX_ILLEGAL_ARGUMENT", ...), or null for a code binder does not
// define.
const char* ExceptionName(int32_t exception);
// The exception code of such a name; false for another text.
bool ExceptionCode(const std::string& name, int32_t* exception);
// Every name ExceptionCode takes, in the order of their codes.
std::vector<std::string> ExceptionNames();

}  // namespace aon_tools
