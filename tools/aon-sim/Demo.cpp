#include "tools/aon-sim/Demo.h"

#include <chrono>
#include <thread>
#include <vector>

#include "tools/common/DefaultDevice.h"

namespace aon_sim {
namespace {

constexpr char kClient[] = "app";
constexpr int32_t kClientPid = 2001;
constexpr int32_t kAllDetectors = 0xF;

ClientCall MakeCall(ClientMethod method, int32_t serviceType = 0) {
    ClientCall call;
    call.client = kClient;
    call.method = method;
    call.serviceType = serviceType;
    return call;
}

}  // namespace

Demo::Demo(Simulation& simulation, host::SimulatedAovStream& stream, Trace& trace,
           aon_tools::Console* console, double seconds)
    : mSimulation(simulation),
      mStream(stream),
      mTrace(trace),
      mConsole(console),
      mSeconds(seconds) {}

CallResult Demo::Step(const std::string& text, const ClientCall& call) {
    mTrace.Append(StepEntry{0, text});
    const CallResult result = mSimulation.Call(call);
    if (!result.ok() && mFailure.empty()) {
        mFailure = std::string(ClientMethodName(call.method)) + " returned " +
                   CallResultText(result);
    }
    return result;
}

void Demo::Watch(double seconds) {
    const auto end = std::chrono::steady_clock::now() +
                     std::chrono::microseconds(static_cast<int64_t>(seconds * 1e6));
    while (std::chrono::steady_clock::now() < end) {
        // Real time is the point of the demonstration: the frames come from the stream's thread.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (mConsole == nullptr) continue;
        const std::optional<Simulation::ClientView> view = mSimulation.View(kClient);
        if (!view) continue;
        mConsole->SetStatus("  frames " + std::to_string(mStream.framesDelivered()) + " | " +
                            kClient + ": " + std::to_string(view->object->eventCount()) +
                            " events, " + std::to_string(view->dropped) + " dropped");
    }
    if (mConsole != nullptr) mConsole->ClearStatus();
}

bool Demo::Run(std::string* failure) {
    aon_tools::ApplyDefaultCameraDevices();
    mTrace.Append(NoteEntry{"demonstration: one client, the camera taking sensor 0 and giving it back"});
    if (!mSimulation.StartService()) {
        *failure = "the service was not registered";
        return false;
    }
    mSimulation.AddClient(kClient, kClientPid);
    Step("app registers for all four detectors",
         MakeCall(ClientMethod::kRegister, kAllDetectors));
    Step("app lists the sensors", MakeCall(ClientMethod::kList));
    ClientCall subscribe = MakeCall(ClientMethod::kSubscribe);
    subscribe.config = {0, 640, 480, 15, 0, 0, kAllDetectors, 1};
    Step("app subscribes sensor 0 at 640x480, 15 fps, time based", subscribe);
    Step("app starts fusion, face angle, gaze and face feature",
         MakeCall(ClientMethod::kStart, kAllDetectors));
    Watch(mSeconds * 0.35);
    const int64_t firstRun = mSimulation.View(kClient)->object->eventCount();

    mTrace.Append(StepEntry{0, "the camera opens device 0, which uses sensor 0"});
    mSimulation.OpenCamera(0);
    Watch(mSeconds * 0.1);
    mTrace.Append(StepEntry{0, "the camera closes device 0"});
    mSimulation.CloseCamera(0);

    Step("app starts again", MakeCall(ClientMethod::kStart, kAllDetectors));
    Watch(mSeconds * 0.35);
    const int64_t secondRun = mSimulation.View(kClient)->object->eventCount() - firstRun;
    Step("app stops", MakeCall(ClientMethod::kStop, kAllDetectors));
    Step("app unsubscribes", MakeCall(ClientMethod::kUnsubscribe));
    Step("app unregisters", MakeCall(ClientMethod::kUnregister));

    const std::vector<std::pair<int32_t, int32_t>> expectedStates = {
            {0, 1}, {0, 2}, {0, 0}, {0, 1}, {0, 0}};
    if (mFailure.empty() && (firstRun == 0 || secondRun == 0)) {
        mFailure = "no frames reached the client while the stream ran";
    }
    if (mFailure.empty() && mSimulation.View(kClient)->object->states() != expectedStates) {
        mFailure = "the client did not see started, busy, idle, started, idle on sensor 0";
    }
    *failure = mFailure;
    return mFailure.empty();
}

}  // namespace aon_sim
