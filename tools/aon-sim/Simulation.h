// Hosts the library as the camera process does and plays what surrounds it: RegisterIAonService()
// and the lookup of the service by its instance name, the clients (each an IAONServiceCallBack in
// a simulated process of its own, handed to the service as a proxy, calling the service through
// a proxy of their own, from the runner's thread or from inside their callbacks), the camera
// stack (AONManager::NotifyOpen / NotifyClose) and the observation of the simulated vendor
// stream. Everything it does and sees goes to the trace: statuses with out values, vendor calls,
// frames, the frames a registered client did not receive, the binder transactions refused for
// want of buffer space, and the clients' calls that binder runs nested.
//
// Thread-safety: the runner (scenario or demonstration) calls the public functions from one
// thread; the stream observer functions come from the library's threads and the stream's frame
// thread, the transaction observer and the clients' answers from whichever thread makes the
// binder call. mLock guards the client table and the counters, and is never held while the
// service, the manager, a client or the trace is called.
#pragma once

#include <android-base/thread_annotations.h>

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/AovStreamObserver.h"
#include "host/binder_control.h"
#include "tools/aon-sim/SimClient.h"
#include "tools/aon-sim/Summary.h"
#include "tools/aon-sim/Trace.h"
#include "tools/aon-sim/scenario/ScenarioCommand.h"
#include "tools/common/FrameSaver.h"

namespace aon_sim {

class Simulation final : public host::AovStreamObserver, public ClientCallbackListener {
  public:
    struct Options {
        // Result values in the trace records (the renderings decide what they show).
        aon_tools::ValueDetail values = aon_tools::ValueDetail::kNone;
        const aon_tools::FrameSaver* saver = nullptr;  // saves the images clients receive
    };

    // What a client holds and received, for expectations and summaries.
    struct ClientView {
        std::shared_ptr<SimClient> object;
        int32_t pid = 0;
        int64_t handle = 0;  // from its last successful registerClient
        bool registered = false;
        std::string standing;
        int64_t dropped = 0;
        int64_t failedTransactions = 0;
        std::optional<std::vector<int32_t>> lastSensorIds;  // from its last sensor list
    };

    // An answer of a client that did not return what its line expects.
    struct AnswerFailure {
        int line = 0;      // the line that gave the answer
        std::string text;  // "expected ..., got ... (answering ...)"
    };

    Simulation(Trace& trace, Options options);
    ~Simulation() override;
    Simulation(const Simulation&) = delete;
    Simulation& operator=(const Simulation&) = delete;

    // RegisterIAonService() and the lookup; false (with a note) when no service can be found.
    bool StartService() EXCLUDES(mLock);
    bool serviceStarted() const EXCLUDES(mLock);

    void AddClient(const std::string& name, int32_t pid) EXCLUDES(mLock);
    // One IAONService call on the client's behalf; the status goes to the trace.
    CallResult Call(const ClientCall& call) EXCLUDES(mLock);
    // The client's process dies; returns once the service has been told.
    void Kill(const std::string& name) EXCLUDES(mLock);
    void SetPingFails(const std::string& name, bool fails) EXCLUDES(mLock);
    // What the client does from inside its callbacks from now on (given at scenario line `line`).
    void SetReaction(const ClientReaction& reaction, int line) EXCLUDES(mLock);
    // The first answer since the last call that did not return what its line expects.
    std::optional<AnswerFailure> TakeAnswerFailure() EXCLUDES(mLock);
    // The client living in process `pid`, "camera process" for 0, or "process N".
    std::string ProcessName(int pid) const EXCLUDES(mLock);

    // The camera stack. Each waits for the library's worker thread to finish; false (with a
    // note) when it still runs after a few seconds.
    bool OpenCamera(int32_t instanceId) EXCLUDES(mLock);
    bool CloseCamera(int32_t instanceId) EXCLUDES(mLock);

    std::optional<ClientView> View(const std::string& name) const EXCLUDES(mLock);
    Summary MakeSummary(double seconds) const EXCLUDES(mLock);

    // host::AovStreamObserver
    void OnStreamCall(const host::SimulatedCall& call) override EXCLUDES(mLock);
    void OnFrameStarting(const host::SimulatedFrame& frame) override EXCLUDES(mLock);
    void OnFrameDone(const host::SimulatedFrame& frame, bool delivered) override EXCLUDES(mLock);

    // ClientCallbackListener: runs the client's answer, if it has one for this callback.
    void OnClientCallback(const std::string& client, std::optional<int32_t> state) override
            EXCLUDES(mLock);

  private:
    struct Reaction {
        ClientReaction reaction;
        int line = 0;
    };
    struct Slot {
        std::string name;
        int32_t pid = 0;
        std::shared_ptr<SimClient> object;
        ndk::SpAIBinder binder;
        std::shared_ptr<aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack> proxy;
        int64_t handle = 0;
        bool registered = false;
        bool alive = true;
        bool pingFails = false;
        std::string standing = "not registered";
        int64_t dropped = 0;
        int64_t failedTransactions = 0;
        std::optional<std::vector<int32_t>> lastSensorIds;
        std::optional<Reaction> onEvent;
        std::map<int32_t, Reaction> onState;  // by sensor state
    };

    Slot* FindLocked(const std::string& name) REQUIRES(mLock);
    const Slot* FindLocked(const std::string& name) const REQUIRES(mLock);
    Slot* FindByPidLocked(int pid) REQUIRES(mLock);
    std::string ProcessNameLocked(int pid) const REQUIRES(mLock);
    // Traces refused transactions and the clients' nested calls into the service.
    void OnTransaction(const host::TransactionRecord& record) EXCLUDES(mLock);
    void AfterCallLocked(const ClientCall& call, const CallResult& result, int64_t handle,
                         std::vector<std::string>* replaced) REQUIRES(mLock);

    Trace& mTrace;
    const Options mOptions;

    mutable std::mutex mLock;
    // The service object, and the proxy its clients call it through.
    std::shared_ptr<aidl::vendor::tarvo::hardware::camera::aon::IAONService> mService
            GUARDED_BY(mLock);
    std::shared_ptr<aidl::vendor::tarvo::hardware::camera::aon::IAONService> mServiceProxy
            GUARDED_BY(mLock);
    std::vector<std::unique_ptr<Slot>> mSlots GUARDED_BY(mLock);  // in declaration order
    std::map<std::string, int64_t> mVendorCalls GUARDED_BY(mLock);
    int64_t mFramesDelivered GUARDED_BY(mLock) = 0;
    int64_t mFramesNotDelivered GUARDED_BY(mLock) = 0;
    // The registered clients and their event counts as a frame started (the delivering thread's).
    std::vector<std::pair<std::shared_ptr<SimClient>, int64_t>> mFrameWatch GUARDED_BY(mLock);
    // The frame being delivered, and the clients whose event of it binder refused.
    std::optional<uint32_t> mFrameId GUARDED_BY(mLock);
    std::set<std::string> mFrameRefused GUARDED_BY(mLock);
    std::optional<AnswerFailure> mAnswerFailure GUARDED_BY(mLock);
};

}  // namespace aon_sim
