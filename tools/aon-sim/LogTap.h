// Receives every line the process writes to the Android log (liblog's logger hook) and puts it in
// the trace with its priority, tag, text and thread. In deterministic runs, pointers in the text
// (0x followed by 9 or more hex digits) are shown as 0x<ptr>, so that runs compare equal.
//
// One instance at a time; the logger may be called from any thread.
#pragma once

#include <android/log.h>

#include <string>

#include "tools/aon-sim/Trace.h"

namespace aon_sim {

class LogTap final {
  public:
    LogTap(Trace& trace, bool hidePointers);
    ~LogTap();
    LogTap(const LogTap&) = delete;
    LogTap& operator=(const LogTap&) = delete;

    // Why the library dropped the frame being delivered on the calling thread, from its own log
    // line ("onCallback can not get lock", "OnAONEvent try_lock failed"); empty when it said
    // nothing. Cleared by the call.
    struct DropReason {
        DropCause cause = DropCause::kOther;
        std::string text;  // empty: the library said nothing
    };
    static DropReason TakeDropReason();

    static std::string HidePointers(const std::string& text);

  private:
    static void Logger(const struct __android_log_message* line);

    Trace& mTrace;
    const bool mHidePointers;
};

}  // namespace aon_sim
