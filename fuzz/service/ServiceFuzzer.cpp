// Fuzzes the service as a whole: the bytes drive a session of steps against a fresh AONService
// over the real registry, manager and event translation, with the fake vendor stream and module
// helper behind them. A step is one of the seven binder methods with arbitrary arguments from one
// of three clients (each in a simulated process of its own), a client's death, a ping failure, a
// camera device opening or closing, a vendor failure scripted for init, uninit or
// notifySensorState, a property change, or a frame from the vendor stream. Three more steps play
// the interleavings that once broke the service:
//   - a burst: a camera device closed and opened again (one to three times) without waiting for
//     the manager's workers in between, as a camera app does on a mode switch;
//   - a death followed at once by a registration: the registered client dies, and the next one
//     registers (and, as the input says, subscribes and starts) after the registry has forgotten
//     the dead one but before the service hears of its death;
//   - a client that calls the service back from inside its callbacks: from then on it answers
//     its next few sensor states with one of the binder methods.
//
// After every step (and after the manager's open/close workers, if the step started any, have
// ended) the invariants must hold:
//   - each status is one the service documents for that method (code and message), and a
//     registration with a callback always succeeds with handle 1;
//   - the vendor stream is initialised exactly while the manager runs a stream, with the types the
//     manager reports, except after a refused uninit (the stream then stays initialised, and the
//     manager skips the next init) and after a start with no types at all;
//   - the stream is never called against its calling order, and never initialised on a sensor
//     that an open camera device holds (one whose NotifyOpen has returned and whose NotifyClose
//     has not been called);
//   - the registry holds a client exactly when the session says one is registered;
//   - a client that is not registered, or whose death was handled, receives nothing; a frame the
//     stream delivers reaches the registered client (if it lives and answers pings) exactly once,
//     with keys 0, 1, 2 last; its event fits the client's binder buffer, so the transport never
//     refuses it;
//   - after a burst the vendor was told "opened" last, and the registered client (if it lives,
//     answers pings and calls nothing back) was told last that each of the device's sensors is
//     busy (state 2);
//   - after a death followed by a registration, what the next client set up survives the late
//     death notification: the types the stream runs, its registration (a subscription is then not
//     refused with error 2) and its subscription (a start is then not refused with error 2);
//   - a call from inside a callback is refused with the nested-call status exactly when the
//     service makes that callback while it holds its lock (on the thread of a binder method or of
//     a death notification); from a camera worker's callback it is served. A stall is a timeout.
// A broken invariant aborts.
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
// to 255 the three interleavings; inputs written before the interleavings keep their meaning but
// for op bytes of 240 and more.
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <android/binder_status.h>
#include <cutils/properties.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "callback/RemoteCallbackManager.h"
#include "fuzz/common/FuzzInput.h"
#include "fuzz/common/Harness.h"
#include "fuzz/common/Threads.h"
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
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using aon_test::InService;
using aon_test::tServiceCalls;
using fuzz::Fail;
using host::AovCall;

constexpr int kClientSlots = 3;
constexpr size_t kMaxSteps = 64;
// 99 and -1 have no sensors (the manager never refuses a start for device -1's sensors).
constexpr int32_t kDevices[] = {10, 11, 12, 13, 14, 15, 99, -1};
const std::vector<int32_t> kDeviceSensors[] = {{0}, {1}, {0, 1}, {}, {2}, {5}};  // devices 10-15
constexpr uint8_t kFirstInterleaving = 240;  // op bytes from here on choose an interleaving
constexpr int32_t kStateBusy = 2;
constexpr int kFirstClientPid = 20000;
constexpr auto kWorkerBound = std::chrono::seconds(10);

// The service-specific errors the binder methods document. Those that need a missing manager or
// registry are left out: both singletons exist here. registerClient with a callback and
// getAonSensorInfoList have none left: they always succeed here.
struct Documented {
    const char* method;
    int32_t code;
    const char* message;
};
constexpr Documented kDocumented[] = {
        {"subscribeSensor", 2, "service type need subset of register"},
        {"subscribeSensor", 1, "clientHandle not register"},
        {"subscribeSensor", 1, "config not support"},
        {"subscribeSensor", 1, "aon manager SubscribeSensor failed"},
        {"subscribeSensor", 1, "can support this config when sensor running"},
        {"subscribeSensor", 1, "can support this config when other process use"},
        {"startService", 1, "in_clientHandle not register"},
        {"startService", 2, "start service type is subset of subscribe service type"},
        {"startService", 1, "aon manager StartService failed"},
        {"startService", 1, "sensor hub is running, please do start on other process stop"},
        {"stopService", 1, "in_clientHandle not register"},
        {"unsubscribeSensor", 1, "in_clientHandle not register"},
        {"unregisterClient", 1, "in_clientHandle not register"},
        {"unregisterClient", 1, "not stop all service type, unregisterClient failed"},
        {"unregisterClient", 1, "not unsubscribe all service type, unregisterClient failed"},
};

// Aborts unless `status` is ok or an error `method` documents; returns whether it is ok.
bool Check(const char* method, const ndk::ScopedAStatus& status) {
    if (status.get() == nullptr) Fail("%s returned a null status", method);
    if (status.isOk()) return true;
    for (const Documented& error : kDocumented) {
        if (strcmp(error.method, method) == 0 &&
            status.getExceptionCode() == EX_SERVICE_SPECIFIC &&
            status.getServiceSpecificError() == error.code &&
            strcmp(status.getMessage(), error.message) == 0) {
            return false;
        }
    }
    Fail("%s returned an undocumented status: %s", method, status.getDescription().c_str());
}

// One client; `seen` is the number of calls it had received when last looked at.
struct Client {
    aon_test::RemoteCallback remote;
    bool dead = false;
    bool pingOk = true;
    size_t seen = 0;

    size_t calls() const { return remote.fake->eventCount() + remote.fake->sensorEventCount(); }
};

// Process-wide set-up, made once: the vendor's sensors and the camera devices' sensors.
struct World {
    World() {
        fuzz::QuietLog();
        fuzz::StayOnThisProcessor();
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
        stream.SetHook(AovCall::kInit, [this] {
            if (onInit) onInit();
        });
    }

    // The manager is not held here: its static reference alone keeps it, so that it is destroyed
    // at exit and waits for its last worker thread there.
    static std::shared_ptr<AONManager> Manager() { return AONManager::GetSingleton(); }

    host::FakeAovStream& stream = host::FakeAovStream::Get();
    std::shared_ptr<RemoteCallbackManager> registry = RemoteCallbackManager::GetSingleton();
    host::EventBuilder frame;
    std::function<void()> onInit;  // the session's check, inside every init of the stream
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

// One input's session.
class Session final : public IRemoteCallbackManagerListener {
  public:
    explicit Session(World& world) : mWorld(world) {
        mService = ndk::SharedRefBase::make<AONService>();
        // Deaths reach the service through the session, which can let a registration in first.
        mWorld.registry->SetListener(this);
        mWorld.onInit = [this] { CheckInit(); };
    }
    ~Session() override { mWorld.onInit = nullptr; }

    void Step(fuzz::FuzzInput& in) {
        const int registeredBefore = mRegistered;
        for (auto& client : mClients) client->seen = client->calls();

        const uint8_t code = in.Byte();
        const int slot = static_cast<int>(in.Below(kClientSlots));
        if (code >= kFirstInterleaving) {
            const int interleaving = code - kFirstInterleaving;
            if (interleaving < 5) {
                Burst(in);
            } else if (interleaving < 10) {
                DeathThenRegistration(in, slot);
            } else {
                CallBackFromCallbacks(in, slot);
            }
        } else {
            PlainStep(in, code % 16, slot);
        }
        TakeReactionOutcomes();

        // Only a living client that is registered, or was when the step began, may have had calls.
        for (size_t i = 0; i < mClients.size(); ++i) {
            const Client& client = *mClients[i];
            const int index = static_cast<int>(i);
            if (!client.dead && (index == mRegistered || index == registeredBefore)) continue;
            if (client.calls() != client.seen) {
                Fail("client %zu (pid %d) received %zu calls while %s", i, client.remote.pid,
                     client.calls() - client.seen, client.dead ? "dead" : "not registered");
            }
        }
        CheckStream();
        const bool held = mWorld.registry->CheckClientHandleRegistered(1);
        if (held != (mRegistered >= 0)) {
            Fail("the registry %s a client, the session expects %s", held ? "holds" : "holds no",
                 mRegistered >= 0 ? "one" : "none");
        }
    }

    void TearDown() {
        for (auto& client : mClients) client->remote.fake->setSensorEventReaction(nullptr);
        mWorld.stream.SetInitResult(1);
        mWorld.stream.SetUninitResult(1);
        mWorld.stream.SetNotifySensorStateResult(1);
        host::SetModuleFactoryAvailable(true);
        host::SetLogicalDeviceListAvailable(true);
        mSensorLookups = true;
        host::ClearProperties();
        for (const auto& [device, sensors] : CameraHolds()) Notify(false, device);
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
        if (mBeforeDeathReaches) {
            const std::function<void()> first = std::move(mBeforeDeathReaches);
            mBeforeDeathReaches = nullptr;
            first();
        }
        const InService inService;
        mService->OnRemoteCallbackDied(handle, callback);
    }

  private:
    void PlainStep(fuzz::FuzzInput& in, uint8_t op, int slot) {
        // The binder methods after registerClient and getAonSensorInfoList take a handle first.
        const int64_t handle = op >= 3 && op <= 8 ? PickHandle(in) : 0;
        const InService inService;  // for the binder methods; a plain flag for the rest
        switch (op) {
            case 0:
            case 1: Register(in); break;
            case 2: {
                std::vector<AONSensorInfo> sensors;
                if (!Check("getAonSensorInfoList", mService->getAonSensorInfoList(&sensors)) ||
                    sensors.size() != 3) {
                    Fail("sensor list of %zu", sensors.size());
                }
                break;
            }
            case 3:
            case 4:
                Check("subscribeSensor", mService->subscribeSensor(handle, PickConfig(in)));
                break;
            case 5: Check("startService", mService->startService(handle, PickMask(in))); break;
            case 6: Check("stopService", mService->stopService(handle, PickMask(in))); break;
            case 7: Check("unsubscribeSensor", mService->unsubscribeSensor(handle)); break;
            case 8: {
                const bool wasRegistered =
                        mRegistered >= 0 && mWorld.registry->CheckClientHandleRegistered(1);
                if (Check("unregisterClient", mService->unregisterClient(handle))) {
                    if (!wasRegistered || handle != 1) {
                        Fail("unregistered handle %lld", static_cast<long long>(handle));
                    }
                    mRegistered = -1;
                }
                break;
            }
            case 9: Kill(slot); break;
            case 10: {
                Client& client = *mClients[ClientIn(slot)];
                client.pingOk = !client.pingOk;
                host::SetPingStatus(client.remote.binder.get(),
                                    client.pingOk ? STATUS_OK : STATUS_DEAD_OBJECT);
                break;
            }
            case 11:
            case 12: Notify(op == 11, kDevices[in.Below(std::size(kDevices))]); break;
            case 13:
                switch (in.Below(5)) {
                    case 0: mWorld.stream.SetInitResult(in.Bool() ? 1 : 0); break;
                    case 1: mWorld.stream.SetUninitResult(in.Bool() ? 1 : 0); break;
                    case 2: mWorld.stream.SetNotifySensorStateResult(in.Bool() ? 1 : 0); break;
                    case 3:
                        mFactory = in.Bool();
                        host::SetModuleFactoryAvailable(mFactory);
                        break;
                    default:
                        mDeviceList = in.Bool();
                        host::SetLogicalDeviceListAvailable(mDeviceList);
                        break;
                }
                mSensorLookups = mFactory && mDeviceList;
                break;
            case 14: {
                static const char* const kProperties[] = {
                        "vendor.debug.camera.utils.AovDebugMode",
                        "vendor.debug.camera.utils.AovBitDepth.Main",
                        "vendor.debug.camera.utils.AovBitDepth.Sub",
                        "vendor.debug.camera.utils.AovDebugBuffer",
                        "vendor.debug.cameralog.enable"};
                static const char* const kValues[] = {"0", "1", "2", "8", "10", "12", "true", ""};
                const char* name = kProperties[in.Below(std::size(kProperties))];
                const std::string value = in.Bool() ? std::to_string(static_cast<int32_t>(in.U32()))
                                                    : kValues[in.Below(std::size(kValues))];
                property_set(name, value.c_str());
                break;
            }
            default: DeliverFrame(in); break;
        }
    }

    // The index of the slot's client, a new one if the slot has none or its client died.
    int ClientIn(int slot) {
        int& index = mSlots[slot];
        if (index < 0 || mClients[index]->dead) {
            mClients.push_back(std::make_unique<Client>());
            // The n-th client of every session lives in process kFirstClientPid + n: a process
            // killed in an earlier session takes new objects again, and the binder's tables
            // keep one entry per process, not one per client ever made.
            const int pid = kFirstClientPid + static_cast<int>(mClients.size()) - 1;
            mClients.back()->remote = aon_test::MakeRemoteCallback(pid);
            index = static_cast<int>(mClients.size()) - 1;
        }
        return index;
    }

    void Register(fuzz::FuzzInput& in) {
        const int slot = static_cast<int>(in.Below(kClientSlots));
        const int32_t mask = PickMask(in);
        // A null callback (0), the last client whose process is already dead (1, when there is one:
        // its death link fails), or the slot's client.
        const uint32_t choice = in.Below(8);
        int index = -1;
        for (size_t i = 0; choice == 1 && i < mClients.size(); ++i) {
            if (mClients[i]->dead) index = static_cast<int>(i);
        }
        if (choice != 0 && index < 0) index = ClientIn(slot);
        const std::shared_ptr<IAONServiceCallBack> callback =
                index >= 0 ? mClients[index]->remote.proxy : nullptr;

        int64_t handle = -7;
        const ndk::ScopedAStatus status = mService->registerClient(callback, mask, &handle);
        if (callback == nullptr) {
            if (status.get() == nullptr || status.getExceptionCode() != EX_ILLEGAL_ARGUMENT ||
                handle != -7) {
                Fail("registerClient(null) returned %s with handle %lld",
                     status.getDescription().c_str(), static_cast<long long>(handle));
            }
            return;
        }
        ExpectHandle1(status, handle);
        // The newest client replaces the one registered before (the same client stays).
        mRegistered = index;
    }

    // A registration with a callback always succeeds, with handle 1 (read once the call returned).
    static void ExpectHandle1(const ndk::ScopedAStatus& status, const int64_t& handle) {
        if (!Check("registerClient", status) || handle != 1) {
            Fail("registerClient returned handle %lld", static_cast<long long>(handle));
        }
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

    // The sensors the manager looks up for `device` now.
    std::vector<int32_t> SensorsOf(int32_t device) const {
        if (!mSensorLookups || device < 10 || device > 15) return {};
        return kDeviceSensors[device - 10];
    }

    // What the camera holds: recorded once NotifyOpen has returned, forgotten before NotifyClose is
    // called. Read by the check inside the stream's init, on whatever thread starts the stream.
    std::map<int32_t, std::vector<int32_t>> CameraHolds() const {
        std::lock_guard<std::mutex> guard(mCameraLock);
        return mCameraHolds;
    }

    void Open(int32_t device) {
        World::Manager()->NotifyOpen(device);
        std::lock_guard<std::mutex> guard(mCameraLock);
        mCameraHolds.emplace(device, SensorsOf(device));  // a device open already keeps its list
    }

    void Close(int32_t device) {
        {
            std::lock_guard<std::mutex> guard(mCameraLock);
            mCameraHolds.erase(device);
        }
        World::Manager()->NotifyClose(device);
    }

    // Waits until the workers started since the process had `threads` threads have ended.
    void WaitForWorkers(size_t threads, int32_t device) {
        if (!fuzz::WaitForThreadCount(threads, kWorkerBound)) {
            Fail("the worker for device %d runs on", device);
        }
    }

    // Tells the manager, and waits until the worker thread it starts for it has ended.
    void Notify(bool open, int32_t device) {
        const size_t threads = fuzz::ThreadCount();
        open ? Open(device) : Close(device);
        WaitForWorkers(threads, device);
    }

    // The stream is being initialised (inside init, with the manager's lock held).
    void CheckInit() {
        const std::vector<host::AovCallRecord> inits = mWorld.stream.CallsOf(AovCall::kInit);
        if (inits.empty()) return;
        const int32_t sensor = inits.back().param.sensorId;
        for (const auto& [device, sensors] : CameraHolds()) {
            if (device != -1 && std::count(sensors.begin(), sensors.end(), sensor) != 0) {
                Fail("the stream was initialised on sensor %d, which open camera device %d holds",
                     sensor, device);
            }
        }
    }

    // A camera device closed and opened again, one to three times, without waiting for the
    // manager's workers in between (a closed one is opened first).
    void Burst(fuzz::FuzzInput& in) {
        const int32_t device = kDevices[in.Below(std::size(kDevices))];
        const uint32_t cycles = 1 + in.Below(3);
        const int registered = mRegistered;
        const Client* client = registered >= 0 ? mClients[registered].get() : nullptr;
        const size_t statesBefore = client != nullptr ? client->remote.fake->sensorEventCount() : 0;
        const uint64_t firedBefore = ReactionsFired();

        const size_t threads = fuzz::ThreadCount();
        if (CameraHolds().count(device) == 0) Open(device);
        for (uint32_t cycle = 0; cycle < cycles; ++cycle) {
            Close(device);
            Open(device);
        }
        WaitForWorkers(threads, device);

        // The vendor heard "opened" last.
        const std::vector<host::AovCallRecord> notices =
                mWorld.stream.CallsOf(AovCall::kNotifySensorState);
        if (notices.empty() || notices.back().opened != 1) {
            Fail("after %u close/open cycles of device %d the vendor was told \"%s\" last", cycles,
                 device, notices.empty() ? "nothing" : "closed");
        }
        // The registered client heard last that each of the device's sensors is busy.
        if (client == nullptr || mRegistered != registered || client->dead || !client->pingOk ||
            ReactionsFired() != firedBefore) {
            return;
        }
        const std::vector<aon_test::FakeServiceCallback::SensorEvent> states =
                client->remote.fake->sensorEvents();
        for (int32_t sensor : SensorsOf(device)) {
            int32_t last = -1;
            for (size_t i = statesBefore; i < states.size(); ++i) {
                if (states[i].info.sensorId == sensor) last = states[i].info.state;
            }
            if (last != kStateBusy) {
                Fail("after %u close/open cycles of device %d its sensor %d was last reported in "
                     "state %d, not busy",
                     cycles, device, sensor, last);
            }
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
        if (dead < 0 || mClients[dead]->dead) {
            dead = ClientIn(slot);
            int64_t handle = 0;
            const InService inService;
            ExpectHandle1(mService->registerClient(mClients[dead]->remote.proxy, 0xF, &handle),
                          handle);
            mRegistered = dead;
        }
        mClients[dead]->dead = true;  // from here on the slot's client is another one
        const int next = ClientIn(slot);
        bool subscribed = false;
        int32_t running = 0;  // the manager's types once the next client has set up
        mBeforeDeathReaches = [&] {
            const InService inService;
            int64_t handle = 0;
            ExpectHandle1(mService->registerClient(mClients[next]->remote.proxy, mask, &handle),
                          handle);
            if (setUp >= 1) {
                subscribed = Check("subscribeSensor", mService->subscribeSensor(1, config));
            }
            if (setUp >= 2 && subscribed) Check("startService", mService->startService(1, 0x1));
            running = World::Manager()->GetServiceTypeStarted();
        };
        host::KillProcess(mClients[dead]->remote.pid);
        if (mBeforeDeathReaches) Fail("the death of client %d was not notified", dead);
        mClients[dead]->seen = mClients[dead]->calls();
        mRegistered = next;

        // The late notification left what the next client set up as it was.
        if (World::Manager()->GetServiceTypeStarted() != running) {
            Fail("the late death notification changed the running types from %d to %d", running,
                 World::Manager()->GetServiceTypeStarted());
        }
        const InService inService;
        const ndk::ScopedAStatus status =
                subscribed ? mService->startService(1, 0x1) : mService->subscribeSensor(1, config);
        Check(subscribed ? "startService" : "subscribeSensor", status);
        if (status.getServiceSpecificError() == 2) {
            Fail("the late death notification withdrew the next client's %s",
                 subscribed ? "subscription" : "registration");
        }
    }

    // --- Clients that call the service back from inside callbacks ---

    enum class Method { kUnsubscribe, kStop, kSensorList, kSubscribe, kStart, kUnregister };

    struct Reaction {
        Method method = Method::kSensorList;
        int32_t mask = 0;
        SensorConfigInfo config;
    };

    // The slot's client answers its next one to four sensor states with one binder method.
    void CallBackFromCallbacks(fuzz::FuzzInput& in, int slot) {
        const int index = ClientIn(slot);
        Reaction reaction;
        reaction.method = static_cast<Method>(in.Below(6));
        const uint32_t answers = 1 + in.Below(4);
        if (reaction.method == Method::kStop || reaction.method == Method::kStart) {
            reaction.mask = PickMask(in);
        } else if (reaction.method == Method::kSubscribe) {
            reaction.config = PickConfig(in);
        }
        {
            std::lock_guard<std::mutex> guard(mReactionLock);
            mAnswersLeft[index] = answers;
        }
        mClients[index]->remote.fake->setSensorEventReaction(
                [this, index, reaction](int64_t, const AONSensorStateInfo&) {
                    React(index, reaction);
                });
    }

    // Runs on the thread that delivers the state: the service's, under its lock, or a camera
    // worker's.
    void React(int index, const Reaction& reaction) {
        {
            std::lock_guard<std::mutex> guard(mReactionLock);
            uint32_t& left = mAnswersLeft[index];
            if (left == 0) return;
            --left;
            ++mReactionsFired;
        }
        const bool nested = tServiceCalls > 0;
        const InService inService;
        static const char* const kNames[] = {"unsubscribeSensor",    "stopService",
                                             "getAonSensorInfoList", "subscribeSensor",
                                             "startService",         "unregisterClient"};
        const char* method = kNames[static_cast<int>(reaction.method)];
        std::vector<AONSensorInfo> sensors;
        const ndk::ScopedAStatus status =
                reaction.method == Method::kUnsubscribe  ? mService->unsubscribeSensor(1)
                : reaction.method == Method::kStop       ? mService->stopService(1, reaction.mask)
                : reaction.method == Method::kSensorList ? mService->getAonSensorInfoList(&sensors)
                : reaction.method == Method::kSubscribe
                        ? mService->subscribeSensor(1, reaction.config)
                : reaction.method == Method::kStart ? mService->startService(1, reaction.mask)
                                                    : mService->unregisterClient(1);
        if (nested) {
            if (!aon_test::IsNestedCallRefusal(status)) {
                Fail("%s from inside a callback the service made under its lock returned %s",
                     method, status.get() == nullptr ? "null" : status.getDescription().c_str());
            }
            return;
        }
        // Served: an ordinary status, never the refusal (Check knows no such status).
        const bool ok = Check(method, status);
        if (reaction.method == Method::kSensorList && ok && sensors.size() != 3) {
            Fail("sensor list of %zu", sensors.size());
        }
        std::lock_guard<std::mutex> guard(mReactionLock);
        if (reaction.method == Method::kUnregister && ok) mUnregisteredByReaction = true;
    }

    uint64_t ReactionsFired() const {
        std::lock_guard<std::mutex> guard(mReactionLock);
        return mReactionsFired;
    }

    // A served unregisterClient took the registered client out of the registry.
    void TakeReactionOutcomes() {
        std::lock_guard<std::mutex> guard(mReactionLock);
        if (mUnregisteredByReaction) mRegistered = -1;
        mUnregisteredByReaction = false;
    }

    void DeliverFrame(fuzz::FuzzInput& in) {
        const uint32_t serviceType = in.Byte() & 0x1F;
        mWorld.frame.frame(in.U32(), 640, 480).serviceType(serviceType);
        const Client* target = mRegistered >= 0 ? mClients[mRegistered].get() : nullptr;
        const size_t before = target != nullptr ? target->remote.fake->eventCount() : 0;
        const uint64_t refusedBefore = host::FailedTransactionCount();
        const bool delivered = mWorld.stream.DeliverEvent(mWorld.frame.event());
        // Its events are far smaller than a client's binder buffer: the transport refuses none.
        if (host::FailedTransactionCount() != refusedBefore) Fail("the transport refused an event");
        if (target == nullptr) return;  // the step's check: nobody received it

        // No other thread holds a lock now: a delivered frame is never dropped on the way.
        const bool reaches = delivered && !target->dead && target->pingOk;
        const auto events = target->remote.fake->events();
        if (events.size() != before + (reaches ? 1 : 0)) {
            Fail("the registered client received %zu events for one frame (delivered %d)",
                 events.size() - before, delivered);
        }
        if (!reaches) return;
        const auto& info = events.back().info;
        const auto& results = info.results;
        if (results.size() < 3 || results[results.size() - 3].key != 0 ||
            results[results.size() - 2].key != 1 || results.back().key != 2) {
            Fail("the frame's results do not end with keys 0, 1, 2");
        }
        if (info.serviceType != static_cast<int32_t>(serviceType)) Fail("serviceType changed");
    }

    // The stream's calls are looked at once, after the step that made them, and then forgotten:
    // the session keeps only the last init or uninit, which tells in which state the stream was
    // left.
    void CheckStream() {
        const std::vector<std::string> violations = mWorld.stream.ContractViolations();
        if (!violations.empty()) Fail("stream called out of order: %s", violations[0].c_str());

        for (const host::AovCallRecord& record : mWorld.stream.Calls()) {
            if (record.call != AovCall::kInit && record.call != AovCall::kUninit) continue;
            mLastInitOrUninit = record.call;
            mLastInitTypes = record.param.serviceType;
        }
        mWorld.stream.ClearCalls();
        const bool any = mLastInitOrUninit.has_value();
        const int32_t started = World::Manager()->GetServiceTypeStarted();
        const bool initialised = mWorld.stream.IsInitialized();
        const bool refusedUninit = initialised && mLastInitOrUninit == AovCall::kUninit;
        if (started != 0) {
            if (!initialised) Fail("the manager runs types %d on an uninitialised stream", started);
            if (!refusedUninit && any && mLastInitTypes != started) {
                Fail("the manager runs types %d, the stream was initialised with %d", started,
                     mLastInitTypes);
            }
        } else if (initialised && !refusedUninit &&
                   !(mLastInitOrUninit == AovCall::kInit && mLastInitTypes == 0)) {
            Fail("the stream is initialised while the manager runs nothing");
        }
    }

    World& mWorld;
    std::shared_ptr<AONService> mService;
    std::vector<std::unique_ptr<Client>> mClients;  // every client of the session, dead included
    int mSlots[kClientSlots] = {-1, -1, -1};        // index into mClients of each slot's client
    int mRegistered = -1;                           // index of the client the registry holds
    std::optional<AovCall> mLastInitOrUninit;       // the session's last of either
    int32_t mLastInitTypes = 0;                     // the service types of that init
    bool mFactory = true;                           // the module helper's factory is there
    bool mDeviceList = true;                        // and so is the logical device list
    bool mSensorLookups = true;                     // both: the manager finds devices' sensors
    // Run inside the next death notification, before the service hears of it.
    std::function<void()> mBeforeDeathReaches;

    mutable std::mutex mCameraLock;
    std::map<int32_t, std::vector<int32_t>> mCameraHolds;  // device to the sensors it holds

    mutable std::mutex mReactionLock;
    std::map<int, uint32_t> mAnswersLeft;  // client index to the callbacks it still answers
    uint64_t mReactionsFired = 0;
    bool mUnregisteredByReaction = false;
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
