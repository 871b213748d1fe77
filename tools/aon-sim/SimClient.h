// A client of the service as aon-sim plays it: the IAONServiceCallBack object of an app, living in
// a simulated process of its own. It keeps what it received (sensor states, event count, the last
// event) and writes each callback to the trace with the size of its transaction, saving received
// images when asked; then its listener may answer the callback.
//
// Thread-safety: callbacks arrive on any thread (binder, the library's workers, the stream's frame
// thread); mLock guards what was received and is released before the trace is written.
#pragma once

#include <android-base/thread_annotations.h>

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/aon-sim/Trace.h"
#include "tools/common/FrameSaver.h"

namespace aon_sim {

// Told of each callback a client received, on the thread that delivered it, after the client kept
// and traced it: there a client may answer with calls of its own.
class ClientCallbackListener {
  public:
    virtual ~ClientCallbackListener() = default;
    // `state` is the sensor state received, or nullopt for an event.
    virtual void OnClientCallback(const std::string& client, std::optional<int32_t> state) = 0;
};

class SimClient final : public aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    // `saver` (no images saved) and `listener` may be null.
    SimClient(std::string name, Trace& trace, bool withValues, const aon_tools::FrameSaver* saver,
              ClientCallbackListener* listener);

    ndk::ScopedAStatus onAONEvent(
            int64_t clientHandle,
            const aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& info) override
            EXCLUDES(mLock);
    ndk::ScopedAStatus onAONSensorEvent(
            int64_t clientHandle,
            const aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo& info) override
            EXCLUDES(mLock);

    const std::string& name() const { return mName; }
    int64_t eventCount() const EXCLUDES(mLock);
    std::vector<std::pair<int32_t, int32_t>> states() const EXCLUDES(mLock);
    std::optional<aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo> lastEvent() const
            EXCLUDES(mLock);

  private:
    const std::string mName;
    Trace& mTrace;
    const bool mWithValues;
    const aon_tools::FrameSaver* const mSaver;
    ClientCallbackListener* const mListener;

    mutable std::mutex mLock;
    int64_t mEventCount GUARDED_BY(mLock) = 0;
    std::vector<std::pair<int32_t, int32_t>> mStates GUARDED_BY(mLock);
    std::optional<aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo> mLastEvent
            GUARDED_BY(mLock);
};

}  // namespace aon_sim
