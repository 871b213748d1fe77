// The service front against the real registry, manager and event translation, over the host
// binder and the fake vendor stream, scripted with
//   sensor 0: 640x480 @ {10, 15, 30}, 320x240 @ {15}, 320x480 @ {15}
//   sensor 1: 320x240 @ {15}

#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/FakeAovStream.h>
#include <host/FakeModuleHelper.h>
#include <host/binder_control.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "manager/AONManager.h"
#include "service/AONService.h"
#include "service/RegisterIAonService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/Gate.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Named.h"
#include "tests/support/StatusMatchers.h"
#include "tests/support/TransactionLog.h"

namespace tarvo::aon {

// Test access to AONService's per-handle tables. The registry admits one client and issues handle
// 1 to it, so a second handle never reaches the binder methods; the peer gives that handle what
// registerClient would record for it and drives the operations that follow the registry check,
// under the service's lock, as the binder methods do.
class AONServiceTestPeer final {
  public:
    using SensorConfigInfo = AONService::SensorConfigInfo;

    explicit AONServiceTestPeer(AONService& service) : mService(service) {}

    void RegisterHandle(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        mService.mClientRegisterServiceType[handle] = serviceType;
    }
    ndk::ScopedAStatus Subscribe(int64_t handle, const SensorConfigInfo& config) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.SubscribeSensorLocked(handle, config);
    }
    ndk::ScopedAStatus Start(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.StartServiceLocked(handle, serviceType);
    }
    ndk::ScopedAStatus Stop(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.StopServiceLocked(handle, serviceType);
    }

  private:
    AONService& mService;
};

}  // namespace tarvo::aon

namespace aon_test {
namespace {

using tarvo::aon::AONService;
using Status = ndk::ScopedAStatus;
using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::chrono::milliseconds kTimeout{2000};
constexpr int32_t kAllTypes = 0xF;

inline SensorConfigInfo Config(int32_t sensorId, int32_t width, int32_t height, int32_t fps,
                               int32_t serviceType, int32_t deliveryMode = 1) {
    return {sensorId, width, height, fps, 0, 0, serviceType, deliveryMode};
}

// A stream init as StreamCalls() writes it: sensor, size, rate, asked rate and types.
inline std::string Init(int32_t sensorId, int32_t width, int32_t height, int32_t fps,
                        int32_t serviceType, int32_t requestedFps = 0) {
    return "init " + std::to_string(sensorId) + " " + std::to_string(width) + "x" +
           std::to_string(height) + "@" + std::to_string(fps) + "/" + std::to_string(requestedFps) +
           " t" + std::to_string(serviceType);
}

// A binder method by name, for `handle`: "registerClient" registers `client`, "replaceClient" a
// new client.
inline ndk::ScopedAStatus Call(tarvo::aon::AONService& service, const std::string& method,
                               std::shared_ptr<IAONServiceCallBack> client = nullptr,
                               int64_t handle = 1) {
    std::vector<tarvo::aon::AONService::AONSensorInfo> sensors;
    if (method == "registerClient" || method == "replaceClient") {
        return service.registerClient(client ? client : MakeRemoteCallback(kClientPid + 1).proxy,
                                      kAllTypes, &handle);
    }
    if (method == "getAonSensorInfoList") return service.getAonSensorInfoList(&sensors);
    if (method == "subscribeSensor")
        return service.subscribeSensor(handle, Config(0, 640, 480, 30, 3));
    if (method == "startService") return service.startService(handle, 0x3);
    if (method == "stopService") return service.stopService(handle, 0x3);
    if (method == "unsubscribeSensor") return service.unsubscribeSensor(handle);
    return service.unregisterClient(handle);
}

class ServiceTest : public ::testing::Test {
  protected:
    // Registers a client in a simulated process of its own; returns its handle.
    int64_t Register(const RemoteCallback& client, int32_t serviceType = kAllTypes) {
        int64_t handle = 0;
        EXPECT_THAT(mService->registerClient(client.proxy, serviceType, &handle), IsOk());
        return handle;
    }
    // The init ("init ..." as Init() writes it), uninit ("uninit") and notifySensorState
    // ("notify <ids>, opened <0|1>") calls the stream received, in order.
    std::vector<std::string> StreamCalls() const {
        std::vector<std::string> calls;
        for (const host::AovCallRecord& record : mStream.Calls()) {
            const user_param& p = record.param;
            if (record.call == host::AovCall::kInit) {
                calls.push_back(
                        Init(p.sensorId, p.width, p.height, p.fps, p.serviceType, p.requestedFps));
            } else if (record.call == host::AovCall::kUninit) {
                calls.push_back("uninit");
            } else if (record.call == host::AovCall::kNotifySensorState) {
                std::string ids;
                for (int32_t id : record.sensorIds) ids += std::to_string(id) + ",";
                calls.push_back("notify " + ids + " opened " + std::to_string(record.opened));
            }
        }
        return calls;
    }
    bool HasLine(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "AONService", text);
    }
    // The service's and the registry's WARN and ERROR lines: a course that goes well writes none.
    std::vector<LogLine> Complaints() const {
        std::vector<LogLine> lines;
        for (const char* className : {"AONService", "RemoteCallbackManager"}) {
            for (LogLine& line : mLog.linesOf(className)) {
                if (line.priority >= ANDROID_LOG_WARN) lines.push_back(std::move(line));
            }
        }
        return lines;
    }

    static host::FakeAovStream& ScriptedStream() {
        using host::MakeSensorInfo;
        host::FakeAovStream& stream = host::FakeAovStream::Get();
        stream.SetSensors({{0,
                            {MakeSensorInfo(640, 480, 5, {10, 15, 30}),
                             MakeSensorInfo(320, 240, 6, {15}), MakeSensorInfo(320, 480, 7, {15})},
                            0,
                            0},
                           {1, {MakeSensorInfo(320, 240, 9, {15})}, 0, 0}});
        return stream;
    }

    LogCapture mLog;  // first, so that it sees the service being built
    host::FakeAovStream& mStream = ScriptedStream();
    std::shared_ptr<tarvo::aon::AONService> mService =
            ndk::SharedRefBase::make<tarvo::aon::AONService>();
};

// Client admission: refusals, replacement of the registered client by a new one, the order that
// unregisterClient enforces, and what a dead client leaves behind. End to end: the library's entry,
// publishing the service with its two lines of tag "AonService" (its plain C symbol is checked
// with the library's other entry points); and a client's whole session against the real
// registry, manager and event translation, with the camera stack opening and closing a device on
// the stream's sensor midway.

using ClientRegistrationTest = ServiceTest;

TEST_F(ClientRegistrationTest, NullCallbackAndUnknownHandleAreRefused) {
    int64_t handle = 5;
    EXPECT_EQ(mService->registerClient(nullptr, 1, &handle).getExceptionCode(),
              EX_ILLEGAL_ARGUMENT);
    EXPECT_EQ(handle, 5);
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "callback is null"));
    for (const std::string method : {"subscribeSensor", "startService", "stopService",
                                     "unsubscribeSensor", "unregisterClient"}) {
        const std::string message = method == "subscribeSensor" ? "clientHandle not register"
                                                                : "in_clientHandle not register";
        SCOPED_TRACE(method);
        mLog.clear();
        EXPECT_THAT(Call(*mService, method, nullptr, 7), ServiceSpecificErrorIs(1, message));
        EXPECT_THAT(mLog.linesOf("AONService"),
                    ElementsAre(HalLine(ANDROID_LOG_ERROR, "in_clientHandle not register")));
    }
    EXPECT_THAT(StreamCalls(), IsEmpty());
}

TEST_F(ClientRegistrationTest, SubscriptionBeyondRegisteredTypesOrOfferedConfigsIsRefused) {
    RemoteCallback client = MakeRemoteCallback();
    ASSERT_EQ(Register(client, 0x3), 1);
    EXPECT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 10, 0x4)),
                ServiceSpecificErrorIs(2, "service type need subset of register"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR,
                        "subscribe service type is subset of register service type"));
    // A rate sensor 0 lacks; sizes and a rate only another sensor offers.
    for (const SensorConfigInfo& config :
         {Config(0, 640, 480, 12, 0x1), Config(3, 640, 480, 30, 0x1),
          Config(1, 640, 480, 30, 0x1)}) {
        EXPECT_THAT(mService->subscribeSensor(1, config),
                    ServiceSpecificErrorIs(1, "config not support"));
    }
}

TEST_F(ClientRegistrationTest, NewClientReplacesRunningOne) {
    RemoteCallback first = MakeRemoteCallback(kClientPid);
    RemoteCallback second = MakeRemoteCallback(kClientPid + 1);
    ASSERT_EQ(Register(first), 1);
    ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, 0x3)), IsOk());
    ASSERT_THAT(mService->startService(1, 0x3), IsOk());
    mLog.clear();

    EXPECT_EQ(Register(second, 0x1), 1);
    // The union of started types is stopped for the old handle, its subscription withdrawn (the
    // "UnsubscribeSensor failed" line is written on success), the registry cleared, and the new
    // client gets handle 1 again.
    EXPECT_THAT(
            mLog.linesOf("AONService"),
            ElementsAre(
                    HalLine(ANDROID_LOG_WARN, "service has other callback"),
                    HalLine(ANDROID_LOG_WARN, "so do stop service and remove old callback"),
                    HalLine(ANDROID_LOG_INFO, "stop service actual type:3, left:0 for client:1"),
                    HalLine(ANDROID_LOG_ERROR, "UnsubscribeSensor failed:0"),
                    HalLine(ANDROID_LOG_INFO, "register callback success-> client:1, type:1")));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3), "uninit"));
    EXPECT_EQ(first.fake->states(), (States{{0, 1}, {0, 0}}));
    EXPECT_THAT(second.fake->states(), IsEmpty());
    EXPECT_EQ(host::LinkedDeathRecipientCount(first.binder.get()), 0u);
    // Nothing of the old client's subscription is left to start on.
    EXPECT_THAT(
            mService->startService(1, 0x1),
            ServiceSpecificErrorIs(2, "start service type is subset of subscribe service type"));
}

TEST_F(ClientRegistrationTest, UnregisterNeedsStopAndUnsubscribeFirst) {
    RemoteCallback client = MakeRemoteCallback();
    ASSERT_EQ(Register(client), 1);
    ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, 0x1)), IsOk());
    // A stop before any start stops nothing; the number after "client:" is the started mask.
    EXPECT_THAT(mService->stopService(1, 0x1), IsOk());
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN,
                        "stop service type:1 more than start service type for client:0"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "stop service actual type:0, left:0 for client:1"));
    ASSERT_THAT(mService->startService(1, 0x1), IsOk());

    for (const char* refusal : {"not stop all service type, unregisterClient failed",
                                "not unsubscribe all service type, unregisterClient failed"}) {
        mLog.clear();
        EXPECT_THAT(mService->unregisterClient(1), ServiceSpecificErrorIs(1, refusal));
        EXPECT_THAT(mLog.linesOf("AONService"), ElementsAre(HalLine(ANDROID_LOG_ERROR, refusal)));
        // The zero entry left by the stop does not block; the subscription does.
        ASSERT_THAT(mService->stopService(1, 0x1), IsOk());
    }
    ASSERT_THAT(mService->unsubscribeSensor(1), IsOk());
    mLog.clear();
    EXPECT_THAT(mService->unregisterClient(1), IsOk());
    EXPECT_THAT(Complaints(), IsEmpty());
    EXPECT_EQ(host::LinkedDeathRecipientCount(client.binder.get()), 0u);
    EXPECT_THAT(mService->unregisterClient(1),
                ServiceSpecificErrorIs(1, "in_clientHandle not register"));
}

TEST_F(ClientRegistrationTest, DeadClientsTypesAreStoppedAndSubscriptionWithdrawn) {
    RemoteCallback client = MakeRemoteCallback(kClientPid);
    ASSERT_EQ(Register(client), 1);
    ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, 0x3)), IsOk());
    ASSERT_THAT(mService->startService(1, 0x3), IsOk());

    host::KillProcess(client.pid);  // returns once the death has been handled

    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "OnRemoteCallbackDied:1, startType:3"));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3), "uninit"));
    EXPECT_EQ(tarvo::aon::AONManager::GetSingleton()->GetServiceTypeStarted(), 0);
    // The next client is free to subscribe another sensor: no entry of the dead one is left.
    RemoteCallback next = MakeRemoteCallback(kClientPid + 1);
    ASSERT_EQ(Register(next), 1);
    EXPECT_THAT(mService->subscribeSensor(1, Config(1, 320, 240, 15, 0x1)), IsOk());
}

// Stands in as the registry's listener and holds a death notification where the registry has
// forgotten the dead client and released its lock but the service has not heard of it yet.
class LateListener final : public tarvo::aon::IRemoteCallbackManagerListener {
  public:
    explicit LateListener(tarvo::aon::AONService& service) : mService(service) {}
    void OnRemoteCallbackDied(long handle,
                              const std::shared_ptr<IAONServiceCallBack>& callback) override {
        gate.Pass();
        mService.OnRemoteCallbackDied(handle, callback);
    }
    Gate gate;

  private:
    tarvo::aon::AONService& mService;
};

using LateDeathTest = ServiceTest;

// The next client gets the dead client's handle. The stream the dead client left running is
// stopped when the next one registers, and the late cleanup leaves the next one's entries (its
// registration, subscription and started types) alone.
TEST_F(LateDeathTest, LateCleanupWithdrawsOnlyWhatTheDeadClientLeft) {
    LateListener late(*mService);
    auto registry = tarvo::aon::RemoteCallbackManager::GetSingleton();
    registry->SetListener(&late);
    late.gate.Close();
    RemoteCallback dead = MakeRemoteCallback(kClientPid);
    ASSERT_EQ(Register(dead), 1);
    ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, 0x3)), IsOk());
    ASSERT_THAT(mService->startService(1, 0x3), IsOk());
    auto kill = std::async(std::launch::async, [&] { host::KillProcess(dead.pid); });
    ASSERT_TRUE(late.gate.WaitEntered());

    RemoteCallback next = MakeRemoteCallback(kClientPid + 1);
    EXPECT_EQ(Register(next, 0x1), 1);
    EXPECT_EQ(tarvo::aon::AONManager::GetSingleton()->GetServiceTypeStarted(), 0)
            << "the stream still runs for the dead client";
    EXPECT_THAT(mService->subscribeSensor(1, Config(1, 320, 240, 15, 0x1)), IsOk());
    EXPECT_THAT(mService->startService(1, 0x1), IsOk());
    late.gate.Open();
    ASSERT_EQ(kill.wait_for(kTimeout), std::future_status::ready);

    EXPECT_TRUE(
            HasLine(ANDROID_LOG_WARN,
                    "OnRemoteCallbackDied:1, already withdrawn when the next client registered"));
    EXPECT_EQ(tarvo::aon::AONManager::GetSingleton()->GetServiceTypeStarted(), 0x1);
    EXPECT_THAT(StreamCalls(),
                ElementsAre(Init(0, 640, 480, 30, 0x3), "uninit", Init(1, 320, 240, 15, 0x1)));
    EXPECT_THAT(mService->stopService(1, 0x1), IsOk());
    registry->SetListener(mService.get());
}

TEST_F(ClientRegistrationTest, DestroyedServiceClearsRegistryBeforeLeavingManager) {
    RemoteCallback client = MakeRemoteCallback();
    ASSERT_EQ(Register(client), 1);
    mLog.clear();
    mService.reset();

    EXPECT_EQ(host::LinkedDeathRecipientCount(client.binder.get()), 0u);
    const std::vector<std::string> expected{"AONService: AON service destroy",
                                            "RemoteCallbackManager: RemoteCallbackManager clear",
                                            "AONManager: unregister callback success"};
    std::vector<std::string> seen;
    for (const LogLine& line : mLog.lines()) {
        if (std::count(expected.begin(), expected.end(), line.text) != 0 &&
            line == HalLine(ANDROID_LOG_INFO, line.text)) {
            seen.push_back(line.text);
        }
    }
    EXPECT_EQ(seen, expected);
}

using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;

constexpr char kInstance[] = "vendor.tarvo.hardware.camera.aon.IAONService/default";

// A refused publication is logged once; the next one publishes the service.
TEST(RegisterIAonServiceTest, PublishesServiceWiredToManager) {
    host::FakeAovStream::Get().SetSensors({{0, {host::MakeSensorInfo(640, 480, 0, {30})}, 0, 0}});
    LogCapture log;
    host::SetAddServiceResult(STATUS_PERMISSION_DENIED);
    RegisterIAonService();
    EXPECT_EQ(host::LookupService(kInstance).get(), nullptr);
    host::SetAddServiceResult(STATUS_OK);
    RegisterIAonService();
    std::vector<LogLine> entry, all = log.lines();
    std::copy_if(all.begin(), all.end(), std::back_inserter(entry),
                 [](const LogLine& line) { return line.tag == "AonService"; });
    EXPECT_THAT(entry, ElementsAre(LogLine{ANDROID_LOG_ERROR, "AonService",
                                           "RegisterIAonService register failed"},
                                   LogLine{ANDROID_LOG_INFO, "AonService",
                                           "RegisterIAonService register successfully"}));
    EXPECT_TRUE(log.hasLine(ANDROID_LOG_INFO, "AONService", "Create AON Service"));

    std::shared_ptr<IAONService> service = IAONService::fromBinder(host::LookupService(kInstance));
    ASSERT_NE(service, nullptr);
    std::vector<AONSensorInfo> sensors;
    EXPECT_THAT(service->getAonSensorInfoList(&sensors), IsOk());
    EXPECT_EQ(sensors.size(), 1u);
}

using ClientCourseTest = ServiceTest;

TEST_F(ClientCourseTest, TypicalClientSession) {
    constexpr int kCameraDevice = 5;
    RemoteCallback client = MakeRemoteCallback();
    std::shared_ptr<tarvo::aon::AONManager> camera = tarvo::aon::AONManager::GetSingleton();
    host::SetSensorIdsOfDevice(kCameraDevice, {0});

    ASSERT_EQ(Register(client, 0x5), 1);
    // The list is appended to what the caller holds; sensorParam2 is the last size's attribute.
    std::vector<AONSensorInfo> sensors{{9, 0, 0, 0x3F, {}}};
    ASSERT_THAT(mService->getAonSensorInfoList(&sensors), IsOk());
    const std::vector<FrameInfo> sizes0{
            {640, 480, {10, 15, 30}}, {320, 240, {15}}, {320, 480, {15}}};
    EXPECT_THAT(sensors,
                ElementsAre(AONSensorInfo{9, 0, 0, 0x3F, {}}, AONSensorInfo{0, 0, 7, 0x3F, sizes0},
                            AONSensorInfo{1, 0, 9, 0x3F, {{320, 240, {15}}}}));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "get aon sensor list success-> size:3"));
    // Subscribing only records the configuration; the stream starts with the types. (What frames
    // carry to a client is checked through aon-client and aon-sim.)
    ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, 0x5)), IsOk());
    ASSERT_THAT(mService->startService(1, 0x5), IsOk());

    // The camera takes the sensor: the stream stops, the client learns the sensor is busy; the
    // close frees it again without restarting anything.
    camera->NotifyOpen(kCameraDevice);
    ASSERT_TRUE(client.fake->waitForSensorEvents(2, kTimeout));
    camera->NotifyClose(kCameraDevice);
    ASSERT_TRUE(client.fake->waitForSensorEvents(3, kTimeout));
    EXPECT_EQ(camera->GetServiceTypeStarted(), 0);

    // The client starts again, then winds its session down.
    EXPECT_THAT(mService->startService(1, 0x5), IsOk());
    EXPECT_THAT(mService->stopService(1, 0x5), IsOk());
    EXPECT_THAT(mService->unsubscribeSensor(1), IsOk());
    EXPECT_THAT(mService->unregisterClient(1), IsOk());

    EXPECT_THAT(StreamCalls(),
                ElementsAre(Init(0, 640, 480, 30, 0x5), "notify 0, opened 1", "uninit",
                            "notify 0, opened 0", Init(0, 640, 480, 30, 0x5), "uninit"));
    ASSERT_TRUE(client.fake->waitForSensorEvents(5, kTimeout));
    EXPECT_EQ(client.fake->states(), (States{{0, 1}, {0, 2}, {0, 0}, {0, 1}, {0, 0}}));
    EXPECT_THAT(Complaints(), IsEmpty());
}

// Subscription arbitration and service-type start/stop: which configurations are admitted while
// the stream idles or runs, how they merge, and when a stop leaves, stops or restarts the stream.
// Handle 1 is a registered client; handle 2 exists only in the service's tables (see
// AONServiceTestPeer).

class ArbitrationTest : public ServiceTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(Register(mClient), 1);
        mPeer.RegisterHandle(2, kAllTypes);
    }
    // Handle 1 runs `types` of a subscription of all types at 640x480@30.
    void Run(int32_t types) {
        ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, kAllTypes)), IsOk());
        ASSERT_THAT(mService->startService(1, types), IsOk());
        mLog.clear();
    }

    RemoteCallback mClient = MakeRemoteCallback();
    tarvo::aon::AONServiceTestPeer mPeer{*mService};
};

TEST_F(ArbitrationTest, ResubscribingOnAnotherSensorIsRefusedByOwnEarlierEntry) {
    EXPECT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 10, 0x1)), IsOk());
    EXPECT_THAT(mService->subscribeSensor(1, Config(1, 320, 240, 15, 0x1)),
                ServiceSpecificErrorIs(1, "can support this config when other process use"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "exist use sensor id:0, new config:1, not support"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "can not support this config when other process use"));
}

struct DeliveryModeCase : Named {
    int32_t first, second;
    bool conflict;
    int32_t streamFps;     // 2 in motion-detection mode
    int32_t requestedFps;  // the asked rate when forced to 2
};

class DeliveryModeMergeTest : public ArbitrationTest,
                              public ::testing::WithParamInterface<DeliveryModeCase> {};

// Idle configurations merge to the largest size and rate, the union of types and one mode.
TEST_P(DeliveryModeMergeTest, IdleConfigurationsMergeAndConflictingModesAreSentAsTimeBased) {
    const DeliveryModeCase& c = GetParam();
    EXPECT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 10, 0x1, c.first)), IsOk());
    EXPECT_THAT(mPeer.Subscribe(2, Config(0, 320, 240, 15, 0x2, c.second)), IsOk());
    EXPECT_TRUE(
            HasLine(ANDROID_LOG_INFO, "subscribe success-> c:2, id:0, t:3, w:640, h:480, f:15"));
    EXPECT_EQ(
            HasLine(ANDROID_LOG_WARN,
                    "computed deliveryMode is -1, some config not right, force set to TIME_BASED"),
            c.conflict);
    EXPECT_THAT(mService->startService(1, 0x1), IsOk());
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, c.streamFps, 0x1, c.requestedFps)));
}

INSTANTIATE_TEST_SUITE_P(Modes, DeliveryModeMergeTest,
                         ::testing::Values(DeliveryModeCase{"TimeBased", 1, 1, false, 15, 0},
                                           DeliveryModeCase{"TimeBasedYields", 1, 2, false, 2, 15},
                                           DeliveryModeCase{"Equal", 2, 2, false, 2, 15},
                                           DeliveryModeCase{"Conflict", 2, 3, true, 15, 0}),
                         ::testing::PrintToStringParamName());

struct RunningCase : Named {
    SensorConfigInfo running;
    SensorConfigInfo added;
    const char* refusal;  // empty: admitted
};

class RunningAdmissionTest : public ArbitrationTest,
                             public ::testing::WithParamInterface<RunningCase> {};

TEST_P(RunningAdmissionTest, RunningStreamAdmitsOnlyWhatItCovers) {
    const RunningCase& c = GetParam();
    ASSERT_THAT(mService->subscribeSensor(1, c.running), IsOk());
    ASSERT_THAT(mService->startService(1, c.running.serviceType), IsOk());
    mLog.clear();

    auto status = mPeer.Subscribe(2, c.added);
    if (*c.refusal == '\0') {
        EXPECT_THAT(status, IsOk());
        EXPECT_THAT(mLog.linesOf("AONService"),
                    ElementsAre(HalLine(ANDROID_LOG_INFO,
                                        "subscribe success-> c:2, id:0, t:1, w:320, h:240, f:15")));
        // Joining the running stream with a subset calls nothing on the stream.
        EXPECT_THAT(mPeer.Start(2, c.added.serviceType), IsOk());
    } else {
        EXPECT_THAT(status,
                    ServiceSpecificErrorIs(1, "can support this config when sensor running"));
        EXPECT_THAT(mLog.linesOf("AONService"),
                    ElementsAre(HalLine(ANDROID_LOG_ERROR, c.refusal),
                                HalLine(ANDROID_LOG_ERROR,
                                        "can not support this config when sensor running")));
        EXPECT_THAT(mPeer.Start(2, c.added.serviceType),
                    ServiceSpecificErrorIs(
                            2, "start service type is subset of subscribe service type"));
    }
    EXPECT_EQ(StreamCalls().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
        Checks, RunningAdmissionTest,
        ::testing::Values(
                RunningCase{"Fps", Config(0, 640, 480, 10, 0x3), Config(0, 640, 480, 15, 0x1),
                            "exist use fps:10, new config:15, not support"},
                RunningCase{"Width", Config(0, 320, 240, 15, 0x3), Config(0, 640, 480, 15, 0x1),
                            "exist use frameWidth:320, new config:640, not support"},
                RunningCase{"Height", Config(0, 320, 240, 15, 0x3), Config(0, 320, 480, 15, 0x1),
                            "exist use frameHeight:240, new config:480, not support"},
                RunningCase{"Types", Config(0, 640, 480, 30, 0x1), Config(0, 640, 480, 30, 0x3),
                            "exist use serviceType:1, new config:3, not support"},
                RunningCase{"DeliveryMode", Config(0, 640, 480, 30, 0x3, 2),
                            Config(0, 640, 480, 30, 0x1, 3),
                            "exist use deliveryMode:2, new config:3, not support"},
                RunningCase{"Covered", Config(0, 640, 480, 30, 0x3, 2),
                            Config(0, 320, 240, 15, 0x1, 1), ""}),
        ::testing::PrintToStringParamName());

TEST_F(ArbitrationTest, StopRestartsStreamWithTypesOthersStillUse) {
    ASSERT_THAT(mPeer.Subscribe(2, Config(0, 640, 480, 30, 0x1)), IsOk());
    Run(0x3);
    EXPECT_THAT(mPeer.Start(2, 0x1), IsOk());

    // The union stays 0x3, which runs: nothing to do.
    EXPECT_THAT(mPeer.Stop(2, 0x1), IsOk());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "stop service: same do nothing"));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3)));

    // Handle 2 holds 0x1 again; handle 1 drops 0x2: the stream restarts with 0x1.
    EXPECT_THAT(mPeer.Start(2, 0x1), IsOk());
    EXPECT_THAT(mService->stopService(1, 0x2), IsOk());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "finalStartServiceType:1 not 0 restart"));
    EXPECT_THAT(StreamCalls(),
                ElementsAre(Init(0, 640, 480, 30, 0x3), "uninit", Init(0, 640, 480, 30, 0x1)));
    ASSERT_TRUE(mClient.fake->waitForSensorEvents(3, kTimeout));
    EXPECT_EQ(mClient.fake->states(), (States{{0, 1}, {0, 0}, {0, 1}}));
}

// A start of types the stream does not run is refused; a stop of types not started leaves it be.
TEST_F(ArbitrationTest, RunningStreamIsJoinedOnlyWithTypesItRunsAndStoppedOnlyByThem) {
    Run(0x3);
    EXPECT_THAT(mService->startService(1, 0x4),
                ServiceSpecificErrorIs(
                        1, "sensor hub is running, please do start on other process stop"));
    EXPECT_THAT(mService->stopService(1, 0x4), IsOk());
    EXPECT_THAT(mService->stopService(1, 0), IsOk());
    // The number after "client:" in the second line is the started mask.
    EXPECT_THAT(
            mLog.linesOf("AONService"),
            ElementsAre(
                    HalLine(ANDROID_LOG_ERROR,
                            "sensor hub is running, please do start on other process stop"),
                    HalLine(ANDROID_LOG_WARN,
                            "stop service type:4 more than start service type for client:3"),
                    HalLine(ANDROID_LOG_INFO, "stop service actual type:0, left:3 for client:1"),
                    HalLine(ANDROID_LOG_INFO, "stop service: same do nothing"),
                    HalLine(ANDROID_LOG_WARN, "stop service type 0 for client:1")));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3)));
}

// A client that calls the service from inside a callback. The host binder, like a device's, runs
// such a call on the thread that is waiting for the client; when that thread holds the service's
// lock (the service calls clients from registerClient, startService, stopService,
// unsubscribeSensor and a replacement) the call is refused with a status and an ERROR line that
// name the cause, and the outer call ends as it would have. A call from a callback that the
// service is not making under its lock (the camera worker's states) is served, on the thread that
// waits for the client: on a device binder runs it on the very thread of the service that waits
// for the client's callback to return, as a nested transaction; the host binder does the same.

struct NestedCall : Named {
    int setUp;           // 0: the camera holds the sensor, 1: subscribed, 2: subscribed and started
    const char* outer;   // the call during which the client is called
    const char* nested;  // the client's answer to its states, refused
    States states;       // all the client received
};

class NestedCallTest : public ServiceTest, public ::testing::WithParamInterface<NestedCall> {};

TEST_P(NestedCallTest, CallFromInsideACallbackNeverStallsTheService) {
    const NestedCall& c = GetParam();
    RemoteCallback client = MakeRemoteCallback();
    ASSERT_EQ(Register(client), 1);
    if (c.setUp == 0) {
        host::SetSensorIdsOfDevice(5, {0});  // the camera takes sensor 0
        tarvo::aon::AONManager::GetSingleton()->NotifyOpen(5);
        ASSERT_TRUE(client.fake->waitForSensorEvents(1, kTimeout));
    }
    const char* const setUp[] = {"subscribeSensor", "startService"};
    for (int step = 0; step < c.setUp; ++step) ASSERT_THAT(Call(*mService, setUp[step]), IsOk());
    // Answers the first state after those received so far (a camera worker may still be on its
    // way out of the callback that delivered the last of them).
    const size_t received = client.fake->sensorEventCount();
    std::atomic<bool> armed{true};
    std::promise<Status> answered;
    client.fake->setSensorEventReaction([&](int64_t, const AONSensorStateInfo&) {
        if (client.fake->sensorEventCount() > received && armed.exchange(false)) {
            answered.set_value(Call(*mService, c.nested));
        }
    });
    mLog.clear();

    auto outer = std::async(std::launch::async, [&] {
        return Call(*mService, c.outer,
                    std::string(c.outer) == "registerClient" ? client.proxy : nullptr);
    });
    if (outer.wait_for(kTimeout) != std::future_status::ready) {
        ADD_FAILURE() << "the service is stuck in its own lock";
        std::fflush(stdout);
        std::_Exit(1);  // the outer call's thread cannot be joined
    }
    EXPECT_THAT(outer.get(), IsOk());
    auto nested = answered.get_future();
    if (nested.wait_for(kTimeout) != std::future_status::ready) {
        client.fake->setSensorEventReaction(nullptr);
        FAIL() << "the client was not called";
    }
    EXPECT_THAT(
            nested.get(),
            ServiceSpecificErrorIs(
                    1, "nested call refused: do not call IAONService from inside its callbacks"));
    EXPECT_TRUE(
            HasLine(ANDROID_LOG_ERROR, std::string("nested call ") + c.nested +
                                               " refused: a client called the service from "
                                               "inside a callback the service is making to it"));
    EXPECT_EQ(client.fake->states(), c.states);
    client.fake->setSensorEventReaction(nullptr);
}

INSTANTIATE_TEST_SUITE_P(
        Paths, NestedCallTest,
        ::testing::Values(
                NestedCall{{"Register"}, 0, "registerClient", "unregisterClient", {{0, 2}, {0, 2}}},
                NestedCall{{"Start"}, 1, "startService", "stopService", {{0, 1}}},
                NestedCall{{"Stop"}, 2, "stopService", "unsubscribeSensor", {{0, 1}, {0, 0}}},
                NestedCall{{"Unsubscribe"},
                           2,
                           "unsubscribeSensor",
                           "getAonSensorInfoList",
                           {{0, 1}, {0, 0}}},
                NestedCall{{"Replaced"}, 2, "replaceClient", "subscribeSensor", {{0, 1}, {0, 0}}}),
        ::testing::PrintToStringParamName());

using NestedCallThreadTest = ServiceTest;

TEST_F(NestedCallThreadTest, ClientAnsweringBusyWithACallRunsNestedOnTheOpenWorkersThread) {
    host::SetSensorIdsOfDevice(10, {0});
    auto service =
            ndk::SharedRefBase::make<::aidl::vendor::tarvo::hardware::camera::aon::BpAONService>(
                    mService->asBinder());
    RemoteCallback client = MakeRemoteCallback();
    // Answers "busy" by asking for the sensor list: the thread it ran on, the status, the count.
    std::promise<std::tuple<pid_t, bool, size_t>> answer;
    std::atomic<bool> answered{false};
    client.fake->setSensorEventReaction([&](int64_t, const AONSensorStateInfo& info) {
        if (info.state != 2 || answered.exchange(true)) return;
        std::vector<tarvo::aon::AONService::AONSensorInfo> sensors;
        const bool ok = service->getAonSensorInfoList(&sensors).isOk();
        answer.set_value({gettid(), ok, sensors.size()});
    });
    ASSERT_EQ(Register(client), 1);

    TransactionLog log;
    tarvo::aon::AONManager::GetSingleton()->NotifyOpen(10);
    auto future = answer.get_future();
    ASSERT_EQ(future.wait_for(kTimeout), std::future_status::ready);
    const auto [thread, ok, sensors] = future.get();
    EXPECT_TRUE(ok);
    EXPECT_EQ(sensors, 2u);
    EXPECT_NE(thread, gettid());  // the library's worker, not the camera stack's thread

    std::vector<std::string> requests;
    for (const host::TransactionRecord& record : log.Take()) {
        if (record.reply) continue;
        EXPECT_EQ(record.thread, thread) << record.method;
        requests.push_back(TransactionLog::RequestText(record));
    }
    EXPECT_THAT(requests, ElementsAre("onAONSensorEvent 0->4242 depth 1",
                                      "getAonSensorInfoList 4242->0 nested depth 2"));
    // The client goes, then the camera closes, which waits for the open worker: the last
    // references to the client, and through it to the service, are dropped here, not on the worker.
    EXPECT_THAT(mService->unregisterClient(1), IsOk());
    tarvo::aon::AONManager::GetSingleton()->NotifyClose(10);
    client.fake->setSensorEventReaction(nullptr);
}

}  // namespace
}  // namespace aon_test
