// End to end: the library's entry, publishing the service with its two lines of tag
// "AonService" (its plain C symbol is checked with the library's other entry points); and a
// client's whole session against the real registry, manager and event translation, with the
// camera stack opening and closing a device on the stream's sensor midway. Checks what each call
// returns, what the client receives and what the vendor stream is asked, in order.
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>
#include <host/EventBuilder.h>
#include <host/FakeModuleHelper.h>
#include <host/binder_control.h>

#include "manager/AONManager.h"
#include "service/RegisterIAonService.h"
#include "tests/service/ServiceTestBase.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;

constexpr char kInstance[] = "vendor.tarvo.hardware.camera.aon.IAONService/default";

std::vector<LogLine> EntryLines(const LogCapture& log) {
    std::vector<LogLine> lines;
    for (const LogLine& line : log.lines()) {
        if (line.tag == "AonService") lines.push_back(line);
    }
    return lines;
}

// A refused publication is logged once; the next one publishes the service.
TEST(RegisterIAonServiceTest, PublishesServiceWiredToManager) {
    host::FakeAovStream::Get().SetSensors({{0, {host::MakeSensorInfo(640, 480, 0, {30})}, 0, 0}});
    LogCapture log;
    host::SetAddServiceResult(STATUS_PERMISSION_DENIED);
    RegisterIAonService();
    EXPECT_EQ(host::LookupService(kInstance).get(), nullptr);
    host::SetAddServiceResult(STATUS_OK);
    RegisterIAonService();
    EXPECT_THAT(EntryLines(log), ElementsAre(LogLine{ANDROID_LOG_ERROR, "AonService",
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

    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x5), "notify 0, opened 1",
                                           "uninit", "notify 0, opened 0",
                                           Init(0, 640, 480, 30, 0x5), "uninit"));
    ASSERT_TRUE(client.fake->waitForSensorEvents(5, kTimeout));
    EXPECT_EQ(client.fake->states(), (States{{0, 1}, {0, 2}, {0, 0}, {0, 1}, {0, 0}}));
    for (const auto& state : client.fake->sensorEvents()) EXPECT_EQ(state.clientHandle, 1);
    EXPECT_EQ(client.fake->events().front().clientHandle, 1);
    EXPECT_THAT(Complaints(), IsEmpty());
}

}  // namespace
}  // namespace aon_test
