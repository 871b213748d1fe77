// Fuzzes the service as a whole: the bytes drive a session of steps against a fresh AONService
// over the real registry, manager and event translation, with the fake vendor stream and module
// helper behind them. A step is one of the seven binder methods with arbitrary arguments from one
// of three clients (each in a simulated process of its own), a client's death, a
// camera device opening or closing, a vendor failure scripted for init, uninit or
// notifySensorState, a property change, or a frame from the vendor stream. Two more steps play
// interleavings that once broke the service (the soak plays a third, clients that call the service
// from inside its callbacks, on real threads):
//   - a burst: a camera device closed and opened again (one to three times) without waiting for
//     the manager's workers in between, as a camera app does on a mode switch;
//   - a death followed at once by a registration: the registered client dies, and the next one
//     registers (and, as the input says, subscribes and starts) after the registry has forgotten
//     the dead one but before the service hears of its death.
//
// After every step (and after the manager's open/close workers, if the step started any, have
// ended) the invariants must hold:
//   - every status is a status (never null), and no call is refused as nested; a registration
//     with a callback always succeeds with handle 1;
//   - the vendor stream is initialised whenever the manager runs a stream, and is never called
//     against its calling order; after the session it is released;
//   - the registry holds a client exactly when the session says one is registered;
//   - a client that is not registered, or whose death was handled, receives nothing; a frame the
//     stream delivers reaches the registered client (if it lives) exactly once;
//   - after a burst the vendor was told "opened" last;
//   - after a death followed by a registration, what the next client set up survives the late
//     death notification: its registration (a subscription is then not refused with error 2) and
//     its subscription (a start is then not refused with error 2).
// A broken invariant aborts; a stall is a timeout.
//
// The singletons live across inputs. Each input therefore ends by closing the devices it left open,
// stopping and releasing the stream, clearing the properties and destroying its service (which
// clears the registry), so that the next input starts from the same state; the stream's calls are
// forgotten after each step. The manager's sensor list, discovered once, is the one thing carried
// over. What is expensive and carries no state is reused: the n-th client of every session lives
// in the same simulated process, and no thread is started that a step does not call for (each
// costs more than most steps under AddressSanitizer).
//
// The op byte's values 0 to 239 choose one of the sixteen first steps (the value modulo 16), 240
// to 244 a burst, 245 to 255 a death followed by a registration.
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <cutils/properties.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "callback/RemoteCallbackManager.h"
#include "fuzz/common/Harness.h"
#include "host/EventBuilder.h"
#include "host/FakeAovStream.h"
#include "host/FakeModuleHelper.h"
#include "host/binder_control.h"
#include "host/properties_control.h"
#include "manager/AONManager.h"
#include "service/AONService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/ServiceCalls.h"

namespace {

using namespace tarvo::aon;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using fuzz::Fail;
using host::AovCall;

constexpr int kClientSlots = 3;
constexpr size_t kMaxSteps = 64;
// 99 and -1 have no sensors (the manager never refuses a start for device -1's sensors).
constexpr int32_t kDevices[] = {10, 11, 12, 13, 14, 15, 99, -1};
const std::vector<int32_t> kDeviceSensors[] = {{0}, {1}, {0, 1}, {}, {2}, {5}};  // devices 10-15
constexpr uint8_t kFirstInterleaving = 240;  // op bytes from here on choose an interleaving
constexpr auto kWorkerBound = std::chrono::seconds(10);

// One client; `seen` is the number of calls it had received when last looked at.
struct Client {
    aon_test::RemoteCallback remote;
    bool dead = false;
    size_t seen = 0;

    size_t calls() const { return remote.fake->eventCount() + remote.fake->sensorEventCount(); }
};

// Process-wide set-up, made once: the vendor's sensors and the camera devices' sensors.
struct World {
    World() {
        fuzz::SetUpProcess();
        // A sanitizer may start a thread of its own with the process's first new thread; let it
        // start now, so that it is not taken for a worker.
        std::thread([] {}).join();
        // Sensor 2 lists no size at all, and its mode cannot be read.
        stream.SetSensors({{0,
                            {host::MakeSensorInfo(640, 480, 5, {10, 15, 30}),
                             host::MakeSensorInfo(320, 240, 6, {15})}},
                           {1, {host::MakeSensorInfo(320, 240, 9, {15, 30})}, 0x5},
                           {2, {}, 0, -1}});
        for (int32_t device = 10; device <= 15; ++device) {
            host::SetSensorIdsOfDevice(device, kDeviceSensors[device - 10]);
        }
        frame.fullApuOutputSize().imagePattern(host::ImageBlock::kImage, 8, 4, 3);
    }

    // The manager is not held here: its static reference alone keeps it, so that it is destroyed
    // at exit and waits for its last worker thread there.
    static std::shared_ptr<AONManager> Manager() { return AONManager::GetSingleton(); }

    host::FakeAovStream& stream = host::FakeAovStream::Get();
    std::shared_ptr<RemoteCallbackManager> registry = RemoteCallbackManager::GetSingleton();
    host::EventBuilder frame;
};

int64_t PickHandle(fuzz::FuzzInput& in) {
    return in.PickOrRaw<int64_t>({1, 1, 1, 0, 2, -1, INT64_MAX});
}

int32_t PickMask(fuzz::FuzzInput& in) {
    return in.PickOrRaw<int32_t>({0, 1, 2, 3, 4, 5, 8, 0xF, 0x10, 0x3F, 0x40, -1});
}

SensorConfigInfo PickConfig(fuzz::FuzzInput& in) {
    SensorConfigInfo config;
    config.sensorId = in.PickOrRaw<int32_t>({0, 0, 1, 2, 3, -1});
    static constexpr int32_t kSizes[][2] = {{640, 480}, {320, 240}, {320, 480}, {0, 0}};
    const uint32_t size = in.Below(5);
    config.frameWidth = size < 4 ? kSizes[size][0] : static_cast<int32_t>(in.U32());
    config.frameHeight = size < 4 ? kSizes[size][1] : static_cast<int32_t>(in.U32());
    config.fps = in.PickOrRaw<int32_t>({10, 15, 30, 2, 0});
    config.serviceType = PickMask(in);
    config.deliveryMode = in.PickOrRaw<int32_t>({1, 1, 2, 3, 0, -1});
    if (in.Below(8) == 0) {
        config.extraParam0 = static_cast<int32_t>(in.U32());
        config.extraParam1 = static_cast<int32_t>(in.U32());
    }
    return config;
}

// Aborts on a null status or a nested-call refusal (the service's own statuses are checked by the
// unit tests); returns whether the call succeeded.
bool Served(const ndk::ScopedAStatus& status) {
    if (status.get() == nullptr || aon_test::IsNestedCallRefusal(status)) {
        Fail("a call returned %s", status.get() ? status.getDescription().c_str() : "null");
    }
    return status.isOk();
}

// One input's session.
class Session final : public IRemoteCallbackManagerListener {
  public:
    explicit Session(World& world) : mWorld(world) {
        mService = ndk::SharedRefBase::make<AONService>();
        // Deaths reach the service through the session, which can let a registration in first.
        mWorld.registry->SetListener(this);
    }

    void Step(fuzz::FuzzInput& in) {
        const int registeredBefore = mRegistered;
        for (auto& client : mClients) client->seen = client->calls();

        const uint8_t code = in.Byte();
        const int slot = static_cast<int>(in.Below(kClientSlots));
        if (code < kFirstInterleaving) {
            PlainStep(in, code % 16, slot);
        } else if (code < kFirstInterleaving + 5) {
            const int32_t device = kDevices[in.Below(std::size(kDevices))];
            Burst(device, true, 1 + in.Below(3));
        } else {
            DeathThenRegistration(in, slot);
        }

        // Only a living client that is registered, or was when the step began, may have had calls.
        for (int i = 0; i < static_cast<int>(mClients.size()); ++i) {
            const Client& client = *mClients[i];
            if (!client.dead && (i == mRegistered || i == registeredBefore)) continue;
            if (client.calls() != client.seen) {
                Fail("client %d (pid %d) received %zu calls while %s", i, client.remote.pid,
                     client.calls() - client.seen, client.dead ? "dead" : "not registered");
            }
        }
        // The stream's calls are looked at once, after the step that made them, and then forgotten.
        const std::vector<std::string> violations = mWorld.stream.ContractViolations();
        if (!violations.empty()) Fail("stream called out of order: %s", violations[0].c_str());
        mWorld.stream.ClearCalls();
        const int32_t started = World::Manager()->GetServiceTypeStarted();
        if (started != 0 && !mWorld.stream.IsInitialized()) {
            Fail("the manager runs types %d on an uninitialised stream", started);
        }
        if (mWorld.registry->CheckClientHandleRegistered(1) != (mRegistered >= 0)) {
            Fail("the registry disagrees with the session, which has client %d", mRegistered);
        }
    }

    void TearDown() {
        for (uint32_t which = 0; which < 5; ++which) SetVendor(which, true);
        host::ClearProperties();
        while (!mCameraHolds.empty()) Notify(false, *mCameraHolds.begin());
        // A stream left initialised by a refused uninit is released through the manager: a start
        // finds it initialised, the stop now releases it.
        if (mWorld.stream.IsInitialized() && World::Manager()->GetServiceTypeStarted() == 0) {
            World::Manager()->StartService(1);
        }
        World::Manager()->StopService();
        World::Manager()->UnsubscribeSensor();
        // The service's end clears the registry and its death links: the clients need not die.
        mService.reset();
        if (mWorld.stream.IsInitialized() || World::Manager()->GetServiceTypeStarted() != 0) {
            Fail("the stream still runs after the session");
        }
        if (mWorld.registry->CheckClientHandleRegistered(1)) Fail("a client outlived the service");
        mWorld.stream.ClearCalls();
    }

    // IRemoteCallbackManagerListener: a death the registry has handled, passed on to the service
    // (after the registration the step lets in first, if any).
    void OnRemoteCallbackDied(long handle,
                              const std::shared_ptr<IAONServiceCallBack>& callback) override {
        if (const std::function<void()> first = std::exchange(mBeforeDeathReaches, nullptr)) {
            first();
        }
        mService->OnRemoteCallbackDied(handle, callback);
    }

  private:
    void PlainStep(fuzz::FuzzInput& in, uint8_t op, int slot) {
        // The binder methods after registerClient and getAonSensorInfoList take a handle first.
        const int64_t handle = op >= 3 && op <= 8 ? PickHandle(in) : 0;
        std::vector<AONSensorInfo> sensors;
        if (op <= 1) Register(in);
        if (op == 2) Served(mService->getAonSensorInfoList(&sensors));
        if (op == 3 || op == 4) Served(mService->subscribeSensor(handle, PickConfig(in)));
        if (op == 5) Served(mService->startService(handle, PickMask(in)));
        if (op == 6) Served(mService->stopService(handle, PickMask(in)));
        if (op == 7) Served(mService->unsubscribeSensor(handle));
        if (op == 8 && Served(mService->unregisterClient(handle))) mRegistered = -1;
        if (op == 9) Kill(slot);
        if (op == 10 || op == 15) DeliverFrame(in);
        if (op == 11 || op == 12) Notify(op == 11, kDevices[in.Below(std::size(kDevices))]);
        if (op == 13) {
            const uint32_t which = in.Below(5);
            SetVendor(which, in.Bool());
        }
        if (op == 14) {  // a property the manager or the event translation reads
            static const char* const kProperties[] = {
                    "camera.utils.AovDebugMode", "camera.utils.AovBitDepth.Main",
                    "camera.utils.AovBitDepth.Sub", "camera.utils.AovDebugBuffer",
                    "cameralog.enable"};
            static const char* const kValues[] = {"0", "1", "2", "8", "10", "12", "true", ""};
            const std::string name =
                    std::string("vendor.debug.") + kProperties[in.Below(std::size(kProperties))];
            const std::string value = in.Bool() ? std::to_string(static_cast<int32_t>(in.U32()))
                                                : kValues[in.Below(std::size(kValues))];
            property_set(name.c_str(), value.c_str());
        }
    }

    // Makes the vendor's init, uninit or notifySensorState, the module factory or the logical
    // device list fail, or work again.
    void SetVendor(uint32_t which, bool ok) {
        if (which == 0) mWorld.stream.SetInitResult(ok ? 1 : 0);
        if (which == 1) mWorld.stream.SetUninitResult(ok ? 1 : 0);
        if (which == 2) mWorld.stream.SetNotifySensorStateResult(ok ? 1 : 0);
        if (which == 3) host::SetModuleFactoryAvailable(ok);
        if (which == 4) host::SetLogicalDeviceListAvailable(ok);
    }

    // The index of the slot's client, a new one if the slot has none or its client died.
    int ClientIn(int slot) {
        int& index = mSlots[slot];
        if (index < 0 || mClients[index]->dead) {
            mClients.push_back(std::make_unique<Client>());
            // The n-th client of every session lives in process 20000 + n: a process
            // killed in an earlier session takes new objects again, and the binder's tables
            // keep one entry per process, not one per client ever made.
            const int pid = 20000 + static_cast<int>(mClients.size()) - 1;
            mClients.back()->remote = aon_test::MakeRemoteCallback(pid);
            index = static_cast<int>(mClients.size()) - 1;
        }
        return index;
    }

    void Register(fuzz::FuzzInput& in) {
        const int slot = static_cast<int>(in.Below(kClientSlots));
        const int32_t mask = PickMask(in);
        if (in.Below(8) != 0) return Register(ClientIn(slot), mask);  // or a null callback
        int64_t handle = 0;
        if (mService->registerClient(nullptr, mask, &handle).isOk()) Fail("null registered");
    }

    // A registration with a callback always succeeds, with handle 1 (read once the call returned);
    // the newest client replaces the one registered before (the same client stays).
    void Register(int index, int32_t mask) {
        int64_t handle = 0;
        if (!mService->registerClient(mClients[index]->remote.proxy, mask, &handle).isOk() ||
            handle != 1) {
            Fail("registerClient returned handle %lld", static_cast<long long>(handle));
        }
        mRegistered = index;
    }

    void Kill(int slot) {
        const int index = ClientIn(slot);
        Client& client = *mClients[index];
        host::KillProcess(client.remote.pid);  // returns once the service has handled the death
        client.dead = true;
        client.seen = client.calls();
        // The registry lets go of a client it watched; a client registered after its death was
        // never watched and stays, unreachable.
        if (mRegistered == index && !mWorld.registry->CheckClientHandleRegistered(1)) {
            mRegistered = -1;
        }
    }

    // --- Camera devices ---

    // Tells the manager; Notify then waits until the worker thread it starts has ended.
    void Tell(bool open, int32_t device) {
        open ? World::Manager()->NotifyOpen(device) : World::Manager()->NotifyClose(device);
        open ? (void)mCameraHolds.insert(device) : (void)mCameraHolds.erase(device);
    }
    void Notify(bool open, int32_t device) { Burst(device, open, 0); }

    // A camera device closed and opened again, one to three times, without waiting for the
    // manager's workers in between (a closed one is opened first): the vendor hears "opened" last.
    // With no cycles, one notice alone, waited for likewise.
    void Burst(int32_t device, bool open, uint32_t cycles) {
        const size_t threads = fuzz::ThreadCount();
        if (cycles == 0 || mCameraHolds.count(device) == 0) Tell(open, device);
        for (uint32_t cycle = 0; cycle < cycles; ++cycle) {
            Tell(false, device);
            Tell(true, device);
        }
        if (!fuzz::WaitForThreadCount(threads, kWorkerBound)) {
            Fail("the worker for device %d runs on", device);
        }
        if (cycles == 0) return;
        const std::vector<host::AovCallRecord> notices =
                mWorld.stream.CallsOf(AovCall::kNotifySensorState);
        if (notices.empty() || notices.back().opened != 1) {
            Fail("after %u close/open cycles of device %d the vendor was told \"%s\" last", cycles,
                 device, notices.empty() ? "nothing" : "closed");
        }
    }

    // --- A death followed at once by a registration ---

    // The registered client (the slot's, registered now, if none lives) dies; inside the death
    // notification, after the registry has forgotten it and before the service hears of it, the
    // slot's next client registers and, as the input says, subscribes and starts.
    void DeathThenRegistration(fuzz::FuzzInput& in, int slot) {
        static constexpr int32_t kMasks[] = {0x1, 0x3, 0xF};
        const int32_t mask = kMasks[in.Below(3)];
        const uint32_t setUp = in.Below(3);  // 0 registers, 1 also subscribes, 2 also starts
        const SensorConfigInfo config = in.Bool() ? SensorConfigInfo{1, 320, 240, 15, 0, 0, 0x1, 1}
                                                  : SensorConfigInfo{0, 640, 480, 15, 0, 0, 0x1, 1};
        int dead = mRegistered;
        if (dead < 0 || mClients[dead]->dead) Register(dead = ClientIn(slot), 0xF);
        mClients[dead]->dead = true;  // from here on the slot's client is another one
        const int next = ClientIn(slot);
        bool subscribed = false;
        mBeforeDeathReaches = [&] {
            Register(next, mask);
            subscribed = setUp >= 1 && Served(mService->subscribeSensor(1, config));
            if (setUp >= 2 && subscribed) Served(mService->startService(1, 0x1));
        };
        host::KillProcess(mClients[dead]->remote.pid);
        if (mBeforeDeathReaches) Fail("the death of client %d was not notified", dead);
        mClients[dead]->seen = mClients[dead]->calls();

        // The late notification left what the next client set up as it was.
        const ndk::ScopedAStatus status =
                subscribed ? mService->startService(1, 0x1) : mService->subscribeSensor(1, config);
        if (status.getServiceSpecificError() == 2) {
            Fail("the late death notification withdrew the next client's %s",
                 subscribed ? "subscription" : "registration");
        }
    }

    // A frame reaches the registered client (if it lives) exactly once.
    void DeliverFrame(fuzz::FuzzInput& in) {
        const uint32_t serviceType = in.Byte() & 0x1F;
        mWorld.frame.frame(in.U32(), 640, 480).serviceType(serviceType);
        const Client* target = mRegistered >= 0 ? mClients[mRegistered].get() : nullptr;
        const size_t before = target != nullptr ? target->remote.fake->eventCount() : 0;
        const bool delivered = mWorld.stream.DeliverEvent(mWorld.frame.event());
        if (target == nullptr) return;  // the step's check: nobody received it
        // No other thread holds a lock now: a delivered frame is never dropped on the way.
        const size_t want = before + (delivered && !target->dead ? 1 : 0);
        if (target->remote.fake->eventCount() != want) {
            Fail("the registered client received %zu events for one frame (delivered %d)",
                 target->remote.fake->eventCount() - before, delivered);
        }
    }

    World& mWorld;
    std::shared_ptr<AONService> mService;
    std::vector<std::unique_ptr<Client>> mClients;  // every client of the session, dead included
    int mSlots[kClientSlots] = {-1, -1, -1};        // index into mClients of each slot's client
    int mRegistered = -1;                           // index of the client the registry holds
    std::set<int32_t> mCameraHolds;                 // devices open (NotifyOpen has returned)
    // Run inside the next death notification, before the service hears of it.
    std::function<void()> mBeforeDeathReaches;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static World* const world = new World();  // lives as long as the process
    fuzz::FuzzInput in(data, size);
    Session session(*world);
    for (size_t step = 0; step < kMaxSteps && !in.empty(); ++step) session.Step(in);
    session.TearDown();
    return 0;
}
