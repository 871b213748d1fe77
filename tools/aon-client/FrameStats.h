// Counts what the client received: events, their rate, and the frame ids it never saw. The frame
// ids of a running stream grow by one per frame, so a jump forward is frames the client missed
// (the service dropped them, or their transaction failed); a step back or a repeat is a new run
// of the stream (a restart), not a gap.
//
// Thread-safety: none; the owner serialises the calls.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace aon_client {

class FrameStats final {
  public:
    using Clock = std::chrono::steady_clock;

    // Frames first to last (inclusive) were not received.
    struct Gap {
        int64_t first = 0;
        int64_t last = 0;
        int64_t count() const { return last - first + 1; }
    };

    // One event, with its frame id (result key 0) when it carries one. Returns the gap that
    // ends at this event, if any.
    std::optional<Gap> Add(std::optional<int64_t> frameId, Clock::time_point at);

    int64_t events() const { return mEvents; }
    int64_t missed() const { return mMissed; }
    int64_t gaps() const { return mGaps; }
    int64_t restarts() const { return mRestarts; }
    std::optional<int64_t> firstFrameId() const { return mFirstId; }
    std::optional<int64_t> lastFrameId() const { return mLastId; }
    // Events per second between the first and the last event; null before two events.
    std::optional<double> rate() const;

  private:
    int64_t mEvents = 0;
    int64_t mMissed = 0;
    int64_t mGaps = 0;
    int64_t mRestarts = 0;
    std::optional<int64_t> mFirstId;
    std::optional<int64_t> mLastId;
    Clock::time_point mFirstAt;
    Clock::time_point mLastAt;
};

}  // namespace aon_client
