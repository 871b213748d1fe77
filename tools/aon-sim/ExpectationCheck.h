// Checks one expectation of a scenario against what the run has seen so far.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/FakeAovStream.h"
#include "tools/aon-sim/Simulation.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/scenario/ScenarioCommand.h"

namespace aon_sim {

struct CheckContext {
    const Simulation& simulation;
    const host::FakeAovStream& vendor;
    const Trace& trace;
    uint64_t actionSeq = 0;  // first trace entry of the last action (for log expectations)
};

// nullopt when the expectation holds, else "expected ..., got ...".
std::optional<std::string> CheckExpectation(const CommandBody& expectation,
                                            const CheckContext& context);

// The same for the result a client call had to return ("-> ..." on its line).
std::optional<std::string> CheckCallResult(const CallExpectation& expect,
                                           const CallResult& result);

}  // namespace aon_sim
