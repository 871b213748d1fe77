// One run of the client, in the order a client uses the service: find it, list the sensors,
// register, subscribe, start, receive until the run ends, then stop, unsubscribe and unregister.
// Whatever ends the run (its duration, its number of events, a refused call, an interrupt), the
// session undoes exactly the steps that succeeded, so the service is left clean; only the
// service's death leaves nothing to undo. Every call is printed with its status as the client got
// it.
//
// Thread-safety: Run() is called once, from the main thread; the callback and the run control
// take the other threads.
#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/SensorConfigInfo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/aon-client/ClientCallback.h"
#include "tools/aon-client/Options.h"
#include "tools/aon-client/Output.h"
#include "tools/aon-client/Printer.h"
#include "tools/aon-client/RunControl.h"

namespace aon_client {

constexpr int kExitOk = 0;
constexpr int kExitRefused = 1;      // the service refused a call
constexpr int kExitUsage = 2;        // the command line is wrong, or names what the service lacks
constexpr int kExitUnreachable = 3;  // the service cannot be found, or died

class Session final {
  public:
    Session(const Options& options, RunControl& control, Output& output, const Printer& printer);

    // The exit status.
    int Run();

  private:
    bool Connect();
    void List(std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo>* sensors);
    // 0, or the exit status with the reason on stderr.
    int ChooseConfig(
            const std::vector<aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo>& sensors,
            aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo* config) const;
    void Register();
    void Subscribe(const aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo& config);
    void Start();
    void Receive();
    void CleanUp();
    int Finish();

    // Prints the call; a dead service or a refusal ends the course.
    CallStatus Report(CallReport report, const ndk::ScopedAStatus& status);
    bool Going() const;
    static void OnServiceDied(void* cookie);

    const Options& mOptions;
    RunControl& mControl;
    Output& mOutput;
    const Printer& mPrinter;

    ndk::SpAIBinder mServiceBinder;
    std::shared_ptr<aidl::vendor::tarvo::hardware::camera::aon::IAONService> mService;
    ndk::ScopedAIBinder_DeathRecipient mDeathRecipient;
    std::shared_ptr<ClientCallback> mCallback;
    ndk::SpAIBinder mCallbackBinder;  // keeps the callback's binder, and its place, for the run

    int64_t mHandle = 0;
    bool mRegistered = false;
    bool mSubscribed = false;
    int32_t mStarted = 0;
    const char* mRefusedCall = nullptr;  // the first call the service refused
    const char* mEnd = "";               // what ended the run, as a JSON word
    std::string mEndText;
};

}  // namespace aon_client
