// The command line of aon-sim.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/common/FrameSaver.h"

namespace aon_sim {

struct Options {
    std::vector<std::string> scenarios;  // none: the demonstration
    bool json = false;
    bool values = false;
    bool check = false;   // parse the scenarios only
    bool help = false;
    std::optional<bool> foldFrames;  // default: on in the demonstration, off in scenarios
    double demoSeconds = 4.0;
    std::string saveFrames;  // directory, empty for none
    std::optional<std::string> dumpDir;  // where the library's "/data/aon/" files go
    aon_tools::FrameColor frameColor = aon_tools::FrameColor::kGray;
    std::vector<std::pair<std::string, std::string>> properties;
};

// Returns false with `error` set for an unknown option or a bad value.
bool ParseOptions(int argc, char** argv, Options* options, std::string* error);
const char* Usage();

}  // namespace aon_sim
