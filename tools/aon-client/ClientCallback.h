// The client's IAONServiceCallBack: prints every sensor state and event as it comes, counts the
// events and the frames that never came, hands the images to be saved, and tells the run control
// that an event arrived. It does no more than that on the calling thread (the service's frame
// thread is waiting for it): the writing is the Output's.
//
// Thread-safety: the service may call from several threads (frames from its frame thread, states
// from its call and worker threads); mLock serialises the counting and keeps the order of the
// printed records equal to the order of counting.
#pragma once

#include <android-base/thread_annotations.h>

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>

#include <mutex>
#include <utility>
#include <vector>

#include "tools/aon-client/FrameStats.h"
#include "tools/aon-client/Output.h"
#include "tools/aon-client/Printer.h"
#include "tools/aon-client/RunControl.h"

namespace aon_client {

class ClientCallback final
    : public aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack {
  public:
    ClientCallback(const Printer& printer, Output& output, RunControl& control, bool saveFrames);

    ndk::ScopedAStatus onAONEvent(
            int64_t clientHandle,
            const aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& info) override
            EXCLUDES(mLock);
    ndk::ScopedAStatus onAONSensorEvent(
            int64_t clientHandle,
            const aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo& info) override
            EXCLUDES(mLock);

    FrameStats stats() const EXCLUDES(mLock);
    std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo> states() const
            EXCLUDES(mLock);

  private:
    const Printer& mPrinter;
    Output& mOutput;
    RunControl& mControl;
    const bool mSaveFrames;

    mutable std::mutex mLock;
    FrameStats mStats GUARDED_BY(mLock);
    std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo> mStates
            GUARDED_BY(mLock);
};

}  // namespace aon_client
