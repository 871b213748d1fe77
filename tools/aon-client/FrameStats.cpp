#include "tools/aon-client/FrameStats.h"

namespace aon_client {

std::optional<FrameStats::Gap> FrameStats::Add(std::optional<int64_t> frameId,
                                               Clock::time_point at) {
    if (mEvents == 0) mFirstAt = at;
    mLastAt = at;
    ++mEvents;
    if (!frameId) return std::nullopt;
    std::optional<Gap> gap;
    if (mLastId) {
        if (*frameId > *mLastId + 1) {
            gap = Gap{*mLastId + 1, *frameId - 1};
            mMissed += gap->count();
            ++mGaps;
        } else if (*frameId <= *mLastId) {
            ++mRestarts;
        }
    } else {
        mFirstId = frameId;
    }
    mLastId = frameId;
    return gap;
}

std::optional<double> FrameStats::rate() const {
    const std::chrono::duration<double> span = mLastAt - mFirstAt;
    if (mEvents < 2 || span.count() <= 0) return std::nullopt;
    return static_cast<double>(mEvents - 1) / span.count();
}

}  // namespace aon_client
