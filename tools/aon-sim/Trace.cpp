#include "tools/aon-sim/Trace.h"

namespace aon_sim {

void Trace::AddSink(TraceSink* sink) {
    std::lock_guard<std::mutex> guard(mLock);
    mSinks.push_back(sink);
}

uint64_t Trace::Append(TraceBody body) {
    std::lock_guard<std::mutex> guard(mLock);
    TraceEntry entry{mNextSeq++, mClock.NowMicros(), std::move(body)};
    if (const LogEntry* log = std::get_if<LogEntry>(&entry.body)) {
        mLogs.emplace_back(entry.seq, *log);
    }
    // Written under mLock: see the class comment.
    for (TraceSink* sink : mSinks) sink->Write(entry);
    return entry.seq;
}

void Trace::WriteSummary(const Summary& summary) {
    std::lock_guard<std::mutex> guard(mLock);
    for (TraceSink* sink : mSinks) sink->WriteSummary(summary);
}

uint64_t Trace::NextSeq() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mNextSeq;
}

std::vector<LogEntry> Trace::LogsSince(uint64_t seq) const {
    std::lock_guard<std::mutex> guard(mLock);
    std::vector<LogEntry> logs;
    for (const auto& [logSeq, log] : mLogs) {
        if (logSeq >= seq) logs.push_back(log);
    }
    return logs;
}

void Trace::CountLogs(int64_t* all, int64_t* warnings, int64_t* errors) const {
    std::lock_guard<std::mutex> guard(mLock);
    *all = static_cast<int64_t>(mLogs.size());
    *warnings = 0;
    *errors = 0;
    for (const auto& [seq, log] : mLogs) {
        if (log.priority == 5) ++*warnings;  // ANDROID_LOG_WARN
        if (log.priority >= 6) ++*errors;    // ANDROID_LOG_ERROR, ANDROID_LOG_FATAL
    }
}

}  // namespace aon_sim
