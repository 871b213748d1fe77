// The built-in demonstration, in real time: a client registers, lists the sensors, subscribes,
// starts all four detectors and receives frames from the stream's own thread; the camera opens and
// closes device 0 (sensor 0), taking the sensor away and giving it back; the client starts again,
// stops, unsubscribes and unregisters. A status line shows the frames while they flow.
//
// Not thread-safe: runs on the thread that owns the simulation.
#pragma once

#include <string>

#include "host/SimulatedAovStream.h"
#include "tools/aon-sim/Simulation.h"
#include "tools/aon-sim/Trace.h"
#include "tools/common/Console.h"

namespace aon_sim {

class Demo final {
  public:
    // `console` is null when no status line is wanted.
    Demo(Simulation& simulation, host::SimulatedAovStream& stream, Trace& trace,
         aon_tools::Console* console, double seconds);

    // Returns false with `failure` set when the library did not behave as a device would.
    bool Run(std::string* failure);

  private:
    CallResult Step(const std::string& text, const ClientCall& call);
    // Lets frames flow for `seconds`, updating the status line.
    void Watch(double seconds);

    Simulation& mSimulation;
    host::SimulatedAovStream& mStream;
    Trace& mTrace;
    aon_tools::Console* const mConsole;
    const double mSeconds;
    std::string mFailure;
};

}  // namespace aon_sim
