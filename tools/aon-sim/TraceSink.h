// Where the trace goes as it is written: a rendering.
#pragma once

#include "tools/aon-sim/Summary.h"
#include "tools/aon-sim/TraceEntry.h"

namespace aon_sim {

class TraceSink {
  public:
    virtual ~TraceSink() = default;
    // Called once per entry, in entry order, one call at a time.
    virtual void Write(const TraceEntry& entry) = 0;
    virtual void WriteSummary(const Summary& summary) = 0;
};

}  // namespace aon_sim
