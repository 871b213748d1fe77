// The readable timeline: one line per trace entry, time in seconds first. Optionally folds the
// frame traffic of a running stream (after the first frame and what it brought, further frames
// are counted and reported in one line when something else happens).
//
// Thread-safety: called by Trace one entry at a time (under the trace's lock); no lock of its own.
#pragma once

#include <map>
#include <set>
#include <string>

#include "tools/aon-sim/TraceSink.h"
#include "tools/common/Console.h"

namespace aon_sim {

class TextRenderer final : public TraceSink {
  public:
    struct Options {
        bool foldFrames = false;
        std::string quietThread;  // thread name not shown (the runner's own)
        bool showValues = true;   // else only the frame keys' values (0, 1, 2) show
    };

    TextRenderer(aon_tools::Console& console, Options options);

    void Write(const TraceEntry& entry) override;
    void WriteSummary(const Summary& summary) override;

    // The line an entry renders to, without the time column.
    std::string Render(const TraceBody& body) const;

  private:
    void Fold(const TraceEntry& entry);
    void FlushFolded();
    std::string ThreadSuffix(const std::string& thread) const;
    // The first line a thread tag marks is preceded by a note that says what the thread is.
    void ExplainThread(const TraceEntry& entry);
    static std::string ThreadOf(const TraceBody& body);
    static std::string ThreadMeaning(const std::string& thread);

    aon_tools::Console& mConsole;
    const Options mOptions;
    // Folding state of the current run of frame traffic.
    int64_t mRunFrames = 0;  // frames seen in the run
    int64_t mFoldedFrames = 0;
    uint32_t mFirstFolded = 0;
    uint32_t mLastFolded = 0;
    std::map<std::string, int64_t> mFoldedEvents;
    int64_t mLastTime = 0;
    std::set<std::string> mExplainedThreads;
};

}  // namespace aon_sim
