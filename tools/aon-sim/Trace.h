// The trace of a run. Entries come from every thread of the process (the runner, the library's
// workers, the binder death thread, the stream's frame thread); each gets the next sequence number
// and the clock's time, and goes to the sinks at once.
//
// Thread-safety: all public functions may be called from any thread. mLock is held while the
// sinks write, on purpose: the output order must be the sequence order. Sinks therefore must not
// call back into the trace.
#pragma once

#include <android-base/thread_annotations.h>

#include <cstdint>
#include <mutex>
#include <vector>

#include "tools/aon-sim/Clock.h"
#include "tools/aon-sim/TraceEntry.h"
#include "tools/aon-sim/TraceSink.h"

namespace aon_sim {

class Trace final {
  public:
    explicit Trace(const Clock& clock) : mClock(clock) {}

    void AddSink(TraceSink* sink) EXCLUDES(mLock);
    // Returns the entry's sequence number.
    uint64_t Append(TraceBody body) EXCLUDES(mLock);
    void WriteSummary(const Summary& summary) EXCLUDES(mLock);

    // The sequence number the next entry will get.
    uint64_t NextSeq() const EXCLUDES(mLock);
    // Log lines written since entry `seq` (inclusive).
    std::vector<LogEntry> LogsSince(uint64_t seq) const EXCLUDES(mLock);
    // Counts of log lines: all, warnings, errors (and worse).
    void CountLogs(int64_t* all, int64_t* warnings, int64_t* errors) const EXCLUDES(mLock);

  private:
    const Clock& mClock;
    mutable std::mutex mLock;
    std::vector<TraceSink*> mSinks GUARDED_BY(mLock);
    uint64_t mNextSeq GUARDED_BY(mLock) = 1;
    std::vector<std::pair<uint64_t, LogEntry>> mLogs GUARDED_BY(mLock);
};

}  // namespace aon_sim
