// Plays a parsed scenario against the hosted library, step by step, in virtual time: each line
// goes to the trace, runs, and is waited for (the library's workers included) before the next,
// so that the same file always gives the same trace. Expectations are checked where they stand;
// the first that fails ends the run, as does a client's answer that did not return what its line
// expects. A watchdog, when given, ends the process if a step does not finish. A console, when
// given (a terminal), shows the progress of a long `frames` line in its status line.
//
// Not thread-safe: one runner, on the thread that owns the simulation.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/FakeAovStream.h"
#include "host/SimulatedAovStream.h"
#include "tools/aon-sim/Simulation.h"
#include "tools/aon-sim/StepWatchdog.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/VirtualClock.h"
#include "tools/aon-sim/scenario/ScenarioCommand.h"
#include "tools/common/Console.h"

namespace aon_sim {

class ScenarioRunner final {
  public:
    // `watchdog` and `console` may be null.
    ScenarioRunner(const Scenario& scenario, Simulation& simulation,
                   host::SimulatedAovStream& stream, host::FakeAovStream& vendor, Trace& trace,
                   VirtualClock& clock, StepWatchdog* watchdog,
                   aon_tools::Console* console = nullptr);

    // Runs the scenario. Returns false at the first expectation that fails, with `failure` set
    // to "<file>:<line>: expected ..., got ...".
    bool Run(std::string* failure);
    int64_t expectationsPassed() const { return mExpectationsPassed; }

  private:
    // Runs one action line; false with `failure` ("expected ..., got ...") when its inline
    // result expectation fails.
    bool Act(const Command& command, std::string* failure);
    void Frames(const FrameSpec& wanted, int line);
    void ScriptSensor(const VendorSensor& sensor);

    const Scenario& mScenario;
    Simulation& mSimulation;
    host::SimulatedAovStream& mStream;
    host::FakeAovStream& mVendor;
    Trace& mTrace;
    VirtualClock& mClock;
    StepWatchdog* const mWatchdog;
    aon_tools::Console* const mConsole;
    std::vector<host::FakeSensor> mSensors;
    bool mSensorsScripted = false;
    uint64_t mActionSeq = 0;
    int64_t mExpectationsPassed = 0;
};

}  // namespace aon_sim
