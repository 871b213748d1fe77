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
#include "tools/common/ResultDescription.h"

namespace aon_sim {

// Told of each callback a client received, on the thread that delivered it, after the client kept
// and traced it: there a client may answer with calls of its own.
class ClientCallbackListener {
  public:
    virtual ~ClientCallbackListener() = default;
    // `state` is the sensor state received, or nullopt for an event.
    virtual void OnClientCallback(const std::string& client, std::optional<int32_t> state) = 0;
};

// What a client keeps of the last event it received, for expectations: its service type and each
// result's key, union member, number of elements and, for a scalar, its value. The arrays
// themselves are not kept (an image is hundreds of kilobytes a frame).
struct ReceivedResult {
    int32_t key = 0;
    aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag tag{};
    bool array = false;
    size_t size = 1;      // elements of an array
    bool number = false;  // a scalar with a numeric value
    bool integral = true;
    double value = 0;
};

struct ReceivedEvent {
    int32_t serviceType = 0;
    std::vector<ReceivedResult> results;
};

class SimClient final : public aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    // `saver` (no images saved) and `listener` may be null.
    SimClient(std::string name, Trace& trace, aon_tools::ValueDetail values,
              const aon_tools::FrameSaver* saver, ClientCallbackListener* listener);

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
    std::optional<ReceivedEvent> lastEvent() const EXCLUDES(mLock);

  private:
    const std::string mName;
    Trace& mTrace;
    const aon_tools::ValueDetail mValues;
    const aon_tools::FrameSaver* const mSaver;
    ClientCallbackListener* const mListener;

    mutable std::mutex mLock;
    int64_t mEventCount GUARDED_BY(mLock) = 0;
    std::vector<std::pair<int32_t, int32_t>> mStates GUARDED_BY(mLock);
    std::optional<ReceivedEvent> mLastEvent GUARDED_BY(mLock);
};

}  // namespace aon_sim
