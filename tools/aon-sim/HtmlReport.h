// The picture of a run: one self-contained HTML page (inline SVG and CSS, no script, nothing
// fetched) with a timeline of the session and its numbers. Like the readable and JSON renderings it
// is made from the trace records alone:
//  - a lane per client and sensor with the sensor states the client received, and under it the
//    frames the stream delivered while it was registered, each marked delivered, dropped by the
//    manager, dropped by the callback registry, or refused by binder (and any other drop);
//  - a lane for the vendor stream (from each init that succeeded to its uninit: the service
//    types, size and rate of the init), with the frames asked for while no stream ran;
//  - a lane per camera device, open from NotifyOpen to NotifyClose;
//  - the data size of each client's onAONEvent transaction against its binder buffer;
//  - chosen detector values over time: the first three face angle floats (key 200), the first
//    two gaze floats (key 300) and the fusion item count (key 101), from the events' values;
//  - a table of counts per client.
// Long runs are drawn in bins of one pixel column, so that the page stays small.
//
// Thread-safety: Write and WriteSummary come from Trace under its lock; Render may be called from
// any thread. mLock guards what was collected.
#pragma once

#include <android-base/thread_annotations.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/aon-sim/TraceSink.h"

namespace aon_sim {

class HtmlReport final : public TraceSink {
  public:
    // `title` heads the page (the scenario's path, or "demonstration").
    explicit HtmlReport(std::string title) : mTitle(std::move(title)) {}

    void Write(const TraceEntry& entry) override EXCLUDES(mLock);
    void WriteSummary(const Summary& summary) override EXCLUDES(mLock);

    // The page, from what was written so far.
    std::string Render() const EXCLUDES(mLock);

    // How a registered client fared with one frame.
    enum class Mark { kDelivered, kManagerBusy, kRegistryBusy, kRefused, kOther };
    static constexpr int kMarks = 5;

  private:
    // A stretch of time on a lane; `end` unset while it lasts.
    struct Span {
        int64_t begin = 0;
        std::optional<int64_t> end;
        std::string label;
        int32_t kind = 0;        // the sensor state, or 0
        std::string shortLabel;  // shown when the label does not fit
    };
    struct FrameMark {
        int64_t time = 0;
        uint32_t frameId = 0;
        Mark mark = Mark::kDelivered;
    };
    struct SizePoint {
        int64_t time = 0;
        size_t bytes = 0;
        bool refused = false;
    };
    struct Client {
        std::map<int32_t, std::vector<Span>> states;  // by sensor
        std::vector<FrameMark> frames;
        std::vector<SizePoint> sizes;
        int64_t events = 0;
        int64_t marks[kMarks] = {};
        int64_t failedTransactions = 0;
    };
    struct ValuePoint {
        int64_t time = 0;
        double value = 0;
    };

    Client& ClientLocked(const std::string& name) REQUIRES(mLock);
    void OnEventLocked(int64_t time, const EventEntry& event) REQUIRES(mLock);
    void OnVendorLocked(int64_t time, const VendorEntry& call) REQUIRES(mLock);
    void OnTransactionLocked(const TransactionEntry& transaction) REQUIRES(mLock);

    const std::string mTitle;
    mutable std::mutex mLock;
    std::vector<std::string> mClientOrder GUARDED_BY(mLock);
    std::map<std::string, Client> mClients GUARDED_BY(mLock);
    std::vector<Span> mStream GUARDED_BY(mLock);
    std::vector<int64_t> mFramesWithoutStream GUARDED_BY(mLock);
    std::map<int32_t, std::vector<Span>> mCameras GUARDED_BY(mLock);
    std::optional<uint32_t> mFrame GUARDED_BY(mLock);  // the frame being delivered
    int64_t mFramesDelivered GUARDED_BY(mLock) = 0;
    std::optional<uint32_t> mValuesOfFrame GUARDED_BY(mLock);  // the last frame with values kept
    std::map<std::string, std::vector<ValuePoint>> mValues GUARDED_BY(mLock);  // by series
    size_t mLimit GUARDED_BY(mLock) = 0;  // a client's binder buffer
    int64_t mEnd GUARDED_BY(mLock) = 0;   // time of the last entry, or of the summary
};

}  // namespace aon_sim
