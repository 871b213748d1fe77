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
    std::optional<std::string> report;   // the HTML page to write
    std::optional<std::string> dumpDir;  // where the library's "/data/aon/" files go
    aon_tools::FrameColor frameColor = aon_tools::FrameColor::kGray;
    std::vector<std::pair<std::string, std::string>> properties;
    std::vector<std::string> warnings;  // slips worth telling, the run goes on
};

// Returns false with `error` set for an unknown option or a bad value; `--help` sets `help`.
bool ParseOptions(int argc, char** argv, Options* options, std::string* error);
// The help text: the options, where the scenario language is described, the exit statuses.
std::string Usage();

}  // namespace aon_sim
