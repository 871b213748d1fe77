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
//     with keys 0, 1, 2 last.
// A broken invariant aborts.
//
// The singletons live across inputs. Each input therefore ends by closing what it opened, killing
// its clients (whose deaths withdraw what they started and subscribed), stopping and releasing the
// stream, clearing the properties and destroying its service, so that the next input starts from
// the same state. The manager's sensor list, discovered once, is the one thing carried over.
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <android/binder_status.h>
#include <cutils/properties.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "callback/RemoteCallbackManager.h"
#include "fuzz/common/FuzzInput.h"
#include "fuzz/common/RecordingClient.h"
#include "fuzz/common/WorkerThreads.h"
#include "host/EventBuilder.h"
#include "host/FakeAovStream.h"
#include "host/FakeModuleHelper.h"
#include "host/binder_control.h"
#include "host/properties_control.h"
#include "manager/AONManager.h"
#include "service/AONService.h"

namespace {

using namespace tarvo::aon;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using fuzz::Fail;
using host::AovCall;
using host::FakeAovStream;

constexpr int kClientSlots = 3;
constexpr size_t kMaxSteps = 64;
constexpr int32_t kDevices[] = {10, 11, 12, 13, 14, 15, 99, -1};
constexpr int kFirstClientPid = 20000;

enum class Method { kRegister, kSensorList, kSubscribe, kStart, kStop, kUnsubscribe, kUnregister };

const char* NameOf(Method method) {
    static const char* const kNames[] = {"registerClient",    "getAonSensorInfoList",
                                         "subscribeSensor",   "startService",
                                         "stopService",       "unsubscribeSensor",
                                         "unregisterClient"};
    return kNames[static_cast<int>(method)];
}

// The service-specific errors each method documents; a null message is "no message". Those that
// need a missing manager or registry are left out: both singletons exist here.
struct Documented {
    int32_t code;
    const char* message;
};

std::vector<Documented> DocumentedErrors(Method method) {
    switch (method) {
        case Method::kRegister:
            return {};  // with a callback, always ok here; a null callback is an exception
        case Method::kSensorList:
            return {};  // fails only without a manager
        case Method::kSubscribe:
            return {{2, "service type need subset of register"},
                    {1, "clientHandle not register"},
                    {1, "config not support"},
                    {1, "aon manager SubscribeSensor failed"},
                    {1, "can support this config when sensor running"},
                    {1, "can support this config when other process use"}};
        case Method::kStart:
            return {{1, "in_clientHandle not register"},
                    {2, "start service type is subset of subscribe service type"},
                    {1, "aon manager StartService failed"},
                    {1, "sensor hub is running, please do start on other process stop"}};
        case Method::kStop:
            return {{1, "in_clientHandle not register"}};
        case Method::kUnsubscribe:
            return {{1, "in_clientHandle not register"}};
        case Method::kUnregister:
            return {{1, "in_clientHandle not register"},
                    {1, "not stop all service type, unregisterClient failed"},
                    {1, "not unsubscribe all service type, unregisterClient failed"}};
    }
    return {};
}

void CheckStatus(Method method, const ndk::ScopedAStatus& status) {
    if (status.get() == nullptr) Fail("%s returned a null status", NameOf(method));
    if (status.isOk()) return;
    const std::string message = status.getMessage();
    if (status.getExceptionCode() == EX_SERVICE_SPECIFIC) {
        for (const Documented& error : DocumentedErrors(method)) {
            if (error.code == status.getServiceSpecificError() && message == error.message) return;
        }
    }
    Fail("%s returned an undocumented status: %s", NameOf(method),
         status.getDescription().c_str());
}

// One client: its fake, and what it had received when it last stopped being registered.
struct Client {
    fuzz::RemoteClient remote;
    bool dead = false;
    bool pingOk = true;
    size_t frozenEvents = 0;
    size_t frozenSensorEvents = 0;

    size_t events() const { return remote.fake->eventCount(); }
    size_t sensorEvents() const { return remote.fake->sensorEventCount(); }
    void Freeze() {
        frozenEvents = events();
        frozenSensorEvents = sensorEvents();
    }
};

// Process-wide set-up, made once: the vendor's sensors and the camera devices' sensors.
struct World {
    World() {
        fuzz::QuietLog();
        // A sanitizer may start a thread of its own with the process's first new thread; let it
        // start now, so that it is not taken for a worker.
        std::thread([] {}).join();
        host::FakeSensor sensor0;
        sensor0.id = 0;
        sensor0.infos = {host::MakeSensorInfo(640, 480, 5, {10, 15, 30}),
                         host::MakeSensorInfo(320, 240, 6, {15})};
        host::FakeSensor sensor1;
        sensor1.id = 1;
        sensor1.infos = {host::MakeSensorInfo(320, 240, 9, {15, 30})};
        sensor1.mode = 0x5;
        host::FakeSensor sensor2;  // lists no size at all, and its mode cannot be read
        sensor2.id = 2;
        sensor2.modeStatus = -1;
        stream.SetSensors({sensor0, sensor1, sensor2});
        host::SetSensorIdsOfDevice(10, {0});
        host::SetSensorIdsOfDevice(11, {1});
        host::SetSensorIdsOfDevice(12, {0, 1});
        host::SetSensorIdsOfDevice(13, {});
        host::SetSensorIdsOfDevice(14, {2});
        host::SetSensorIdsOfDevice(15, {5});
        registry = RemoteCallbackManager::GetSingleton();
        frame.fullApuOutputSize().imagePattern(host::ImageBlock::kImage, 8, 4, 3);
    }

    // The manager is not held here: its static reference alone keeps it, so that it is destroyed
    // at exit and waits for its last worker thread there.
    static std::shared_ptr<AONManager> Manager() { return AONManager::GetSingleton(); }

    FakeAovStream& stream = FakeAovStream::Get();
    std::shared_ptr<RemoteCallbackManager> registry;
    host::EventBuilder frame;
    int nextPid = kFirstClientPid;
};

// One input's session.
class Session final {
  public:
    explicit Session(World& world) : mWorld(world), mStream(world.stream) {
        mStream.ClearCalls();
        mService = ndk::SharedRefBase::make<AONService>();
    }

    void Step(fuzz::FuzzInput& in);
    void TearDown();

  private:
    Client& ClientIn(int slot);
    int64_t PickHandle(fuzz::FuzzInput& in);
    static int32_t PickMask(fuzz::FuzzInput& in);
    static SensorConfigInfo PickConfig(fuzz::FuzzInput& in);

    void Register(fuzz::FuzzInput& in);
    void Kill(int slot);
    void Notify(bool open, int32_t device);
    void DeliverFrame(fuzz::FuzzInput& in);
    void CheckInvariants();
    void CheckStream();

    World& mWorld;
    FakeAovStream& mStream;
    std::shared_ptr<AONService> mService;
    std::vector<std::unique_ptr<Client>> mClients;  // every client of the session, dead included
    int mSlots[kClientSlots] = {-1, -1, -1};        // index into mClients of each slot's client
    int mRegistered = -1;                           // index of the client the registry holds
    std::set<int32_t> mOpenedDevices;
    fuzz::WorkerThreads mWorkers;
};

Client& Session::ClientIn(int slot) {
    int& index = mSlots[slot];
    if (index < 0 || mClients[index]->dead) {
        auto client = std::make_unique<Client>();
        client->remote = fuzz::MakeRemoteClient(mWorld.nextPid++);
        mClients.push_back(std::move(client));
        index = static_cast<int>(mClients.size()) - 1;
    }
    return *mClients[index];
}

int64_t Session::PickHandle(fuzz::FuzzInput& in) {
    return in.PickOrRaw<int64_t>({1, 1, 1, 0, 2, -1, INT64_MAX});
}

int32_t Session::PickMask(fuzz::FuzzInput& in) {
    return in.PickOrRaw<int32_t>({0, 1, 2, 3, 4, 5, 8, 0xF, 0x10, 0x3F, 0x40, -1});
}

SensorConfigInfo Session::PickConfig(fuzz::FuzzInput& in) {
    SensorConfigInfo config;
    config.sensorId = in.PickOrRaw<int32_t>({0, 0, 1, 2, 3, -1});
    switch (in.Below(5)) {
        case 0: config.frameWidth = 640, config.frameHeight = 480; break;
        case 1: config.frameWidth = 320, config.frameHeight = 240; break;
        case 2: config.frameWidth = 320, config.frameHeight = 480; break;
        case 3: break;
        default:
            config.frameWidth = static_cast<int32_t>(in.U32());
            config.frameHeight = static_cast<int32_t>(in.U32());
            break;
    }
    config.fps = in.PickOrRaw<int32_t>({10, 15, 30, 2, 0});
    config.serviceType = PickMask(in);
    config.deliveryMode = in.PickOrRaw<int32_t>({1, 1, 2, 3, 0, -1});
    if (in.Below(8) == 0) {
        config.extraParam0 = static_cast<int32_t>(in.U32());
        config.extraParam1 = static_cast<int32_t>(in.U32());
    }
    return config;
}

void Session::Step(fuzz::FuzzInput& in) {
    // Clients that are not registered now must receive nothing during the step (unless the step
    // registers them).
    std::vector<int> unregistered;
    for (size_t i = 0; i < mClients.size(); ++i) {
        if (static_cast<int>(i) != mRegistered) {
            mClients[i]->Freeze();
            unregistered.push_back(static_cast<int>(i));
        }
    }

    const uint8_t op = in.Byte();
    const int slot = static_cast<int>(in.Below(kClientSlots));
    switch (op % 16) {
        case 0:
        case 1:
            Register(in);
            break;
        case 2: {
            std::vector<AONSensorInfo> sensors;
            const ndk::ScopedAStatus status = mService->getAonSensorInfoList(&sensors);
            CheckStatus(Method::kSensorList, status);
            if (!status.isOk() || sensors.size() != 3) Fail("sensor list of %zu", sensors.size());
            break;
        }
        case 3:
        case 4: {
            const int64_t handle = PickHandle(in);
            CheckStatus(Method::kSubscribe, mService->subscribeSensor(handle, PickConfig(in)));
            break;
        }
        case 5: {
            const int64_t handle = PickHandle(in);
            CheckStatus(Method::kStart, mService->startService(handle, PickMask(in)));
            break;
        }
        case 6: {
            const int64_t handle = PickHandle(in);
            CheckStatus(Method::kStop, mService->stopService(handle, PickMask(in)));
            break;
        }
        case 7:
            CheckStatus(Method::kUnsubscribe, mService->unsubscribeSensor(PickHandle(in)));
            break;
        case 8: {
            const bool wasRegistered =
                    mRegistered >= 0 && mWorld.registry->CheckClientHandleRegistered(1);
            const int64_t handle = PickHandle(in);
            const ndk::ScopedAStatus status = mService->unregisterClient(handle);
            CheckStatus(Method::kUnregister, status);
            if (status.isOk()) {
                if (!wasRegistered || handle != 1) Fail("unregistered handle %lld", static_cast<long long>(handle));
                mRegistered = -1;
            }
            break;
        }
        case 9:
            Kill(slot);
            break;
        case 10: {
            Client& client = ClientIn(slot);
            client.pingOk = !client.pingOk;
            host::SetPingStatus(client.remote.binder.get(),
                                client.pingOk ? STATUS_OK : STATUS_DEAD_OBJECT);
            break;
        }
        case 11:
        case 12:
            Notify(op % 16 == 11, kDevices[in.Below(std::size(kDevices))]);
            break;
        case 13:
            switch (in.Below(5)) {
                case 0: mStream.SetInitResult(in.Bool() ? 1 : 0); break;
                case 1: mStream.SetUninitResult(in.Bool() ? 1 : 0); break;
                case 2: mStream.SetNotifySensorStateResult(in.Bool() ? 1 : 0); break;
                case 3: host::SetModuleFactoryAvailable(in.Bool()); break;
                default: host::SetLogicalDeviceListAvailable(in.Bool()); break;
            }
            break;
        case 14: {
            static const char* const kProperties[] = {
                    "vendor.debug.camera.utils.AovDebugMode",
                    "vendor.debug.camera.utils.AovBitDepth.Main",
                    "vendor.debug.camera.utils.AovBitDepth.Sub",
                    "vendor.debug.camera.utils.AovDebugBuffer", "vendor.debug.cameralog.enable"};
            const char* name = kProperties[in.Below(std::size(kProperties))];
            const std::string value =
                    in.Bool() ? std::to_string(static_cast<int32_t>(in.U32()))
                              : in.Pick<const char*>({"0", "1", "2", "8", "10", "12", "true", ""});
            property_set(name, value.c_str());
            break;
        }
        default:
            DeliverFrame(in);
            break;
    }
    mWorkers.WaitForAll();

    for (int index : unregistered) {
        const Client& client = *mClients[index];
        if (index == mRegistered) continue;  // the step registered it
        if (client.events() != client.frozenEvents ||
            client.sensorEvents() != client.frozenSensorEvents) {
            Fail("client %d (pid %d) received %zu events and %zu sensor states while not "
                 "registered",
                 index, client.remote.pid, client.events() - client.frozenEvents,
                 client.sensorEvents() - client.frozenSensorEvents);
        }
    }
    CheckInvariants();
}

void Session::Register(fuzz::FuzzInput& in) {
    const int slot = static_cast<int>(in.Below(kClientSlots));
    const int32_t mask = PickMask(in);
    int index = -1;
    std::shared_ptr<IAONServiceCallBack> callback;
    switch (in.Below(8)) {
        case 0:
            break;  // a null callback
        case 1:
            // A client whose process is already dead, if there is one: its death link fails.
            for (size_t i = 0; i < mClients.size(); ++i) {
                if (mClients[i]->dead) index = static_cast<int>(i);
            }
            if (index >= 0) break;
            [[fallthrough]];
        default:
            ClientIn(slot);
            index = mSlots[slot];
            break;
    }
    if (index >= 0) callback = mClients[index]->remote.proxy;

    int64_t handle = -7;
    const ndk::ScopedAStatus status = mService->registerClient(callback, mask, &handle);
    if (callback == nullptr) {
        if (status.get() == nullptr || status.getExceptionCode() != EX_ILLEGAL_ARGUMENT) {
            Fail("registerClient(null) returned %s", status.getDescription().c_str());
        }
        if (handle != -7) Fail("registerClient(null) wrote a handle");
        return;
    }
    CheckStatus(Method::kRegister, status);
    if (!status.isOk() || handle != 1) {
        Fail("registerClient returned %s with handle %lld", status.getDescription().c_str(),
             static_cast<long long>(handle));
    }
    // The newest client replaces the one registered before (the same client stays).
    mRegistered = index;
}

void Session::Kill(int slot) {
    Client& client = ClientIn(slot);
    const int index = mSlots[slot];
    // Returns once the service has handled the death.
    host::KillProcess(client.remote.pid);
    client.dead = true;
    client.Freeze();
    // The registry lets go of a client it watched; a client registered after its death was
    // never watched and stays, unreachable.
    if (mRegistered == index && !mWorld.registry->CheckClientHandleRegistered(1)) {
        mRegistered = -1;
    }
}

void Session::Notify(bool open, int32_t device) {
    mWorkers.Track([&] {
        if (open) {
            World::Manager()->NotifyOpen(device);
            mOpenedDevices.insert(device);
        } else {
            World::Manager()->NotifyClose(device);
        }
    });
}

void Session::DeliverFrame(fuzz::FuzzInput& in) {
    const uint32_t serviceType = in.Byte() & 0x1F;
    mWorld.frame.frame(in.U32(), 640, 480).serviceType(serviceType);
    Client* target = mRegistered >= 0 ? mClients[mRegistered].get() : nullptr;
    const size_t before = target != nullptr ? target->events() : 0;
    std::vector<size_t> othersBefore;
    for (const auto& client : mClients) othersBefore.push_back(client->events());

    const bool delivered = mStream.DeliverEvent(mWorld.frame.event());

    // No other thread holds a lock now: a delivered frame is never dropped on the way.
    const bool reaches = delivered && target != nullptr && !target->dead && target->pingOk;
    if (target != nullptr && target->events() != before + (reaches ? 1 : 0)) {
        Fail("the registered client received %zu events for one frame (delivered %d)",
             target->events() - before, delivered);
    }
    for (size_t i = 0; i < mClients.size(); ++i) {
        if (mClients[i].get() != target && mClients[i]->events() != othersBefore[i]) {
            Fail("client %zu received a frame while not registered", i);
        }
    }
    if (reaches) {
        const auto info = target->remote.fake->lastEvent();
        const auto& results = info.results;
        if (results.size() < 3 || results[results.size() - 3].key != 0 ||
            results[results.size() - 2].key != 1 || results.back().key != 2) {
            Fail("the frame's results do not end with keys 0, 1, 2");
        }
        if (info.serviceType != static_cast<int32_t>(serviceType)) Fail("serviceType changed");
    }
}

void Session::CheckStream() {
    const int32_t started = World::Manager()->GetServiceTypeStarted();
    const bool initialised = mStream.IsInitialized();
    const std::vector<std::string> violations = mStream.ContractViolations();
    if (!violations.empty()) Fail("vendor stream called out of order: %s", violations[0].c_str());

    // The last init or uninit of this session tells in which state the stream was left.
    const host::AovCallRecord* last = nullptr;
    const std::vector<host::AovCallRecord> calls = mStream.Calls();
    for (const host::AovCallRecord& call : calls) {
        if (call.call == AovCall::kInit || call.call == AovCall::kUninit) last = &call;
    }
    const bool refusedUninit = initialised && last != nullptr && last->call == AovCall::kUninit;
    if (started != 0) {
        if (!initialised) Fail("the manager runs types %d on an uninitialised stream", started);
        if (!refusedUninit && last != nullptr && last->param.serviceType != started) {
            Fail("the manager runs types %d, the stream was initialised with %d", started,
                 last->param.serviceType);
        }
    } else if (initialised) {
        const bool startedWithNoType = last != nullptr && last->call == AovCall::kInit &&
                                       last->param.serviceType == 0;
        if (!refusedUninit && !startedWithNoType) {
            Fail("the stream is initialised while the manager runs nothing");
        }
    }
}

void Session::CheckInvariants() {
    CheckStream();
    const bool held = mWorld.registry->CheckClientHandleRegistered(1);
    if (held != (mRegistered >= 0)) {
        Fail("the registry %s a client, the session expects %s", held ? "holds" : "holds no",
             mRegistered >= 0 ? "one" : "none");
    }
    for (size_t i = 0; i < mClients.size(); ++i) {
        const Client& client = *mClients[i];
        if (client.dead && (client.events() != client.frozenEvents ||
                            client.sensorEvents() != client.frozenSensorEvents)) {
            Fail("client %zu received a call after its death was handled", i);
        }
    }
}

void Session::TearDown() {
    mStream.SetInitResult(1);
    mStream.SetUninitResult(1);
    mStream.SetNotifySensorStateResult(1);
    host::SetModuleFactoryAvailable(true);
    host::SetLogicalDeviceListAvailable(true);
    host::ClearProperties();
    for (int32_t device : mOpenedDevices) Notify(false, device);
    mWorkers.WaitForAll();
    for (auto& client : mClients) {
        if (!client->dead) {
            host::KillProcess(client->remote.pid);
            client->dead = true;
        }
    }
    // A stream left initialised by a refused uninit is released through the manager: a start
    // finds it initialised, the stop now releases it.
    if (mStream.IsInitialized() && World::Manager()->GetServiceTypeStarted() == 0) {
        World::Manager()->StartService(1);
    }
    World::Manager()->StopService();
    World::Manager()->UnsubscribeSensor();
    mService.reset();
    if (mStream.IsInitialized() || World::Manager()->GetServiceTypeStarted() != 0) {
        Fail("the stream still runs after the session");
    }
    if (mWorld.registry->CheckClientHandleRegistered(1)) Fail("a client outlived its session");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static World* const world = new World();  // lives as long as the process
    fuzz::FuzzInput in(data, size);
    Session session(*world);
    for (size_t step = 0; step < kMaxSteps && !in.empty(); ++step) session.Step(in);
    session.TearDown();
    return 0;
}
