// Client admission: refusals, replacement of the registered client by a new one, the order that
// unregisterClient enforces, and what a dead client leaves behind. End to end: the library's entry,
// publishing the service with its two lines of tag "AonService" (its plain C symbol is checked
// with the library's other entry points); and a client's whole session against the real
// registry, manager and event translation, with the camera stack opening and closing a device on
// the stream's sensor midway.
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <host/EventBuilder.h>
#include <host/FakeModuleHelper.h>
#include <host/binder_control.h>

#include <algorithm>
#include <future>
#include <iterator>

#include "manager/AONManager.h"
#include "service/RegisterIAonService.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/Gate.h"

namespace aon_test {
namespace {

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
    EXPECT_THAT(mLog.linesOf("AONService"),
                ElementsAre(HalLine(ANDROID_LOG_WARN, "service has other callback"),
                            HalLine(ANDROID_LOG_WARN, "so do stop service and remove old callback"),
                            HalLine(ANDROID_LOG_INFO, "stop service actual type:3, left:0 for client:1"),
                            HalLine(ANDROID_LOG_ERROR, "UnsubscribeSensor failed:0"),
                            HalLine(ANDROID_LOG_INFO, "register callback success-> client:1, type:1")));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3), "uninit"));
    EXPECT_EQ(first.fake->states(), (States{{0, 1}, {0, 0}}));
    EXPECT_THAT(second.fake->states(), IsEmpty());
    EXPECT_EQ(host::LinkedDeathRecipientCount(first.binder.get()), 0u);
    // Nothing of the old client's subscription is left to start on.
    EXPECT_THAT(mService->startService(1, 0x1),
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
    // Subscribing only records the configuration; the stream starts with the types.
    ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, 0x5)), IsOk());
    EXPECT_THAT(StreamCalls(), IsEmpty());
    ASSERT_THAT(mService->startService(1, 0x5), IsOk());
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x5)));
    ASSERT_TRUE(client.fake->waitForSensorEvents(1, kTimeout));

    // One frame reaches the client with its handle (its contents: aon-client's and aon-sim's
    // tests).
    ASSERT_TRUE(mStream.DeliverEvent(host::EventBuilder().serviceType(0x5).event()));
    ASSERT_TRUE(client.fake->waitForEvents(1, kTimeout));
    EXPECT_EQ(client.fake->events().front().info.serviceType, 0x5);

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
    for (const auto& state : client.fake->sensorEvents()) EXPECT_EQ(state.clientHandle, 1);
    EXPECT_EQ(client.fake->events().front().clientHandle, 1);
    EXPECT_THAT(Complaints(), IsEmpty());
}

}  // namespace
}  // namespace aon_test
