// Fuzzes the service as a whole: the bytes drive a session of steps against a fresh AONService
// over the real registry, manager and event translation, with the fake vendor stream and module
// helper behind them. A step is one of the seven binder methods with arbitrary arguments from one
// of three clients (each in a simulated process of its own), a client's death, a ping failure, a
// camera device opening or closing, a vendor failure scripted for init, uninit or
// notifySensorState, a property change, or a frame from the vendor stream.
//
// After every step (and after the manager's open/close worker, if the step started one, has
// ended) the invariants must hold:
//   - each status is one the service documents for that method (code and message), and a
//     registration with a callback always succeeds with handle 1;
//   - the vendor stream is initialised exactly while the manager runs a stream, with the types the
//     manager reports, except after a refused uninit (the stream then stays initialised, and the
//     manager skips the next init) and after a start with no types at all;
//   - the stream is never called against its calling order;
//   - the registry holds a client exactly when the session says one is registered;
//   - a client that is not registered, or whose death was handled, receives nothing; a frame the
//     stream delivers reaches the registered client (if it lives and answers pings) exactly once,
//     with keys 0, 1, 2 last; its event fits the client's binder buffer, so the transport never
//     refuses it.
// A broken invariant aborts.
//
// The singletons live across inputs. Each input therefore ends by closing the devices it left open,
// stopping and releasing the stream, clearing the properties and destroying its service (which
// clears the registry), so that the next input starts from the same state; the stream's calls are
// forgotten after each step. The manager's sensor list, discovered once, is the one thing carried
// over. What is expensive and carries no state is reused: the n-th client of every session lives
// in the same simulated process, and no thread is started that a step does not call for (each
// costs more than most steps under AddressSanitizer).
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <android/binder_status.h>
#include <cutils/properties.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
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

namespace {

using namespace tarvo::aon;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using fuzz::Fail;
using host::AovCall;

constexpr int kClientSlots = 3;
constexpr size_t kMaxSteps = 64;
constexpr int32_t kDevices[] = {10, 11, 12, 13, 14, 15, 99, -1};
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
        const std::vector<int32_t> kDeviceSensors[] = {{0}, {1}, {0, 1}, {}, {2}, {5}};
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

// One input's session.
class Session final {
  public:
    explicit Session(World& world) : mWorld(world) {
        mService = ndk::SharedRefBase::make<AONService>();
    }

    void Step(fuzz::FuzzInput& in) {
        const int registeredBefore = mRegistered;
        for (auto& client : mClients) client->seen = client->calls();

        const uint8_t op = in.Byte() % 16;
        const int slot = static_cast<int>(in.Below(kClientSlots));
        // The binder methods after registerClient and getAonSensorInfoList take a handle first.
        const int64_t handle = op >= 3 && op <= 8 ? PickHandle(in) : 0;
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
                    case 3: host::SetModuleFactoryAvailable(in.Bool()); break;
                    default: host::SetLogicalDeviceListAvailable(in.Bool()); break;
                }
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
        mWorld.stream.SetInitResult(1);
        mWorld.stream.SetUninitResult(1);
        mWorld.stream.SetNotifySensorStateResult(1);
        host::SetModuleFactoryAvailable(true);
        host::SetLogicalDeviceListAvailable(true);
        host::ClearProperties();
        for (int32_t device : std::set<int32_t>(mOpenDevices)) Notify(false, device);
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

  private:
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
        if (!Check("registerClient", status) || handle != 1) {
            Fail("registerClient returned handle %lld", static_cast<long long>(handle));
        }
        // The newest client replaces the one registered before (the same client stays).
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

    // Tells the manager, and waits until the worker thread it starts for it has ended.
    void Notify(bool open, int32_t device) {
        const size_t threads = fuzz::ThreadCount();
        if (open) {
            World::Manager()->NotifyOpen(device);
            mOpenDevices.insert(device);
        } else {
            World::Manager()->NotifyClose(device);
            mOpenDevices.erase(device);
        }
        if (!fuzz::WaitForThreadCount(threads, kWorkerBound)) {
            Fail("the worker for device %d runs on", device);
        }
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
    std::set<int32_t> mOpenDevices;                 // opened and not closed since
    std::optional<AovCall> mLastInitOrUninit;       // the session's last of either
    int32_t mLastInitTypes = 0;                     // the service types of that init
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
