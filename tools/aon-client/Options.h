// The command line of aon-client (getopt_long: the same parser on a device and on a desk).
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/aon-client/FrameFile.h"

namespace aon_client {

struct Size {
    int32_t width = 0;
    int32_t height = 0;
};

struct Options {
    std::string instance;  // the service's instance name
    double waitSeconds = 5;
    bool listOnly = false;
    std::optional<int32_t> sensor;
    std::optional<Size> size;
    std::optional<int32_t> fps;
    int32_t types = 0xf;
    std::optional<int32_t> registerTypes;  // default: types
    std::optional<int32_t> startTypes;     // default: types
    int32_t mode = 1;                      // delivery mode, 1 time based
    double durationSeconds = 10;           // 0: until interrupted
    std::optional<int64_t> events;
    bool json = false;
    bool values = false;
    bool brief = false;
    std::string saveFrames;
    FrameFormat frameFormat = FrameFormat::kPgm;
    std::optional<int64_t> killServiceAfter;  // host drill: events before the service dies
    bool help = false;
};

// False with `error` set (one sentence, no program name) when the command line is wrong.
bool ParseOptions(int argc, char** argv, Options* options, std::string* error);
std::string Usage();

}  // namespace aon_client
