// What a run adds up to, shown at its end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace aon_sim {

struct ClientSummary {
    std::string name;
    int32_t pid = 0;
    int64_t events = 0;   // onAONEvent calls received
    int64_t dropped = 0;  // frames delivered by the stream that it did not receive while registered
    int64_t failedTransactions = 0;  // to or from its process, refused for want of buffer space
    std::vector<std::pair<int32_t, int32_t>> states;  // (sensor id, state) in order received
    std::string standing;  // "registered", "not registered", "replaced", "dead"
};

struct Summary {
    double seconds = 0;
    int64_t framesDelivered = 0;     // frames the stream delivered to the library
    int64_t framesNotDelivered = 0;  // frames asked for while no stream ran
    std::vector<ClientSummary> clients;
    std::vector<std::pair<std::string, int64_t>> vendorCalls;  // call name, count
    int64_t logLines = 0;
    int64_t logWarnings = 0;
    int64_t logErrors = 0;
    int64_t expectationsPassed = 0;
    std::optional<std::string> imagesDirectory;  // with --save-frames: where images went
    int64_t imagesSaved = 0;                     // and how many
};

}  // namespace aon_sim
