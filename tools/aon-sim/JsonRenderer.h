// The trace as JSON lines: one object per entry with "seq", "t_us" and "kind", then the entry's
// fields; the summary as a last object of kind "summary".
//
// Thread-safety: called by Trace one entry at a time; no lock of its own.
#pragma once

#include <cstdio>

#include "tools/aon-sim/TraceSink.h"

namespace aon_sim {

class JsonRenderer final : public TraceSink {
  public:
    // Without `showValues` only the frame keys' values (0, 1, 2) show.
    explicit JsonRenderer(FILE* out, bool showValues = true) : mOut(out), mShowValues(showValues) {}

    void Write(const TraceEntry& entry) override;
    void WriteSummary(const Summary& summary) override;

  private:
    FILE* const mOut;
    const bool mShowValues;
};

}  // namespace aon_sim
