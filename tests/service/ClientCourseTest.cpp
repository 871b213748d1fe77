// End to end: a client's whole session against the real registry, manager and event translation,
// with the camera stack opening and closing a device on the stream's sensor midway. Checks what
// each call returns, what the client receives and what the vendor stream is asked, in order.
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorInfo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/EventBuilder.h>
#include <host/FakeModuleHelper.h>

#include <array>
#include <vector>

#include "manager/AONManager.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/StatusMatchers.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kCameraDevice = 5;

AONSensorInfo Sensor(int32_t id, int32_t attribute, std::vector<FrameInfo> frames) {
    AONSensorInfo sensor;
    sensor.sensorId = id;
    sensor.sensorParam1 = 0;
    sensor.sensorParam2 = attribute;
    sensor.supportServiceType = 0x3F;
    sensor.frameInfos = std::move(frames);
    return sensor;
}

FrameInfo Frame(int32_t width, int32_t height, std::vector<int32_t> rates) {
    FrameInfo frame;
    frame.width = width;
    frame.height = height;
    frame.fpsList = std::move(rates);
    return frame;
}

using ClientCourseTest = ServiceTest;

TEST_F(ClientCourseTest, SensorListIsAppendedToWhatTheCallerHolds) {
    std::vector<AONSensorInfo> sensors{Sensor(9, 0, {})};
    EXPECT_THAT(mService->getAonSensorInfoList(&sensors), IsOk());
    EXPECT_THAT(sensors, ElementsAre(Sensor(9, 0, {}),
                                     Sensor(0, 7,
                                            {Frame(640, 480, {10, 15, 30}), Frame(320, 240, {15}),
                                             Frame(320, 480, {15})}),
                                     Sensor(1, 9, {Frame(320, 240, {15})})));
    EXPECT_TRUE(mLog.hasLine(ANDROID_LOG_INFO, "AONService", "get aon sensor list success-> size:3"));
}

TEST_F(ClientCourseTest, TypicalClientSession) {
    RemoteCallback client = MakeRemoteCallback();
    std::shared_ptr<tarvo::aon::AONManager> camera = tarvo::aon::AONManager::GetSingleton();
    host::SetSensorIdsOfDevice(kCameraDevice, {0});

    int64_t handle = 0;
    ASSERT_THAT(mService->registerClient(client.proxy, 0x5, &handle), IsOk());
    ASSERT_EQ(handle, 1);
    std::vector<AONSensorInfo> sensors;
    ASSERT_THAT(mService->getAonSensorInfoList(&sensors), IsOk());
    ASSERT_EQ(sensors.size(), 2u);

    // Subscribing only records the configuration; the stream starts with the types.
    ASSERT_THAT(mService->subscribeSensor(handle, Config(0, 640, 480, 30, 0x5)), IsOk());
    EXPECT_THAT(StreamCalls(), IsEmpty());
    ASSERT_THAT(mService->startService(handle, 0x5), IsOk());
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x5)));
    ASSERT_TRUE(client.fake->waitForSensorEvents(1, kTimeout));

    // One frame with fusion and gaze output and a small image.
    const std::array<float, tarvo::aon::kGazeResultFloats> gaze{1, 2, 3, 4, 5, 6};
    host::EventBuilder frame;
    frame.frame(7, 640, 480)
            .serviceType(0x5)
            .fullApuOutputSize()
            .fusion(1, 0.5f, {host::FusionItem{3, {}}})
            .gaze(gaze)
            .imagePattern(host::ImageBlock::kImage, 4, 2, 1);
    ASSERT_TRUE(mStream.DeliverEvent(frame.event()));
    ASSERT_TRUE(client.fake->waitForEvents(1, kTimeout));
    const auto event = client.fake->events().front();
    EXPECT_EQ(event.clientHandle, handle);
    EXPECT_EQ(event.info.serviceType, 0x5);
    std::vector<int32_t> keys;
    for (const auto& result : event.info.results) keys.push_back(result.key);
    EXPECT_THAT(keys, ElementsAre(100, 101, 102, 103, 300, 700, 701, 702, 703, 0, 1, 2));
    EXPECT_EQ(event.info.results[4].value.get<AONResultValue::Tag::floatArray>(),
              std::vector<float>(gaze.begin(), gaze.end()));
    EXPECT_EQ(event.info.results[9].value.get<AONResultValue::Tag::intValue>(), 7);

    // The camera takes the sensor: the stream stops, the client learns the sensor is busy; the
    // close frees it again without restarting anything.
    camera->NotifyOpen(kCameraDevice);
    ASSERT_TRUE(client.fake->waitForSensorEvents(2, kTimeout));
    camera->NotifyClose(kCameraDevice);
    ASSERT_TRUE(client.fake->waitForSensorEvents(3, kTimeout));
    EXPECT_EQ(camera->GetServiceTypeStarted(), 0);

    // The client starts again, then winds its session down.
    EXPECT_THAT(mService->startService(handle, 0x5), IsOk());
    EXPECT_THAT(mService->stopService(handle, 0x5), IsOk());
    EXPECT_THAT(mService->unsubscribeSensor(handle), IsOk());
    EXPECT_THAT(mService->unregisterClient(handle), IsOk());

    EXPECT_THAT(StreamCalls(),
                ElementsAre(Init(0, 640, 480, 30, 0x5), Notify({0}, 1), Uninit(), Notify({0}, 0),
                            Init(0, 640, 480, 30, 0x5), Uninit()));
    ASSERT_TRUE(client.fake->waitForSensorEvents(5, kTimeout));
    EXPECT_THAT(States(*client.fake),
                ElementsAre(std::pair(0, 1), std::pair(0, 2), std::pair(0, 0), std::pair(0, 1),
                            std::pair(0, 0)));
    EXPECT_EQ(client.fake->eventCount(), 1u);
    for (const auto& state : client.fake->sensorEvents()) EXPECT_EQ(state.clientHandle, handle);
}

}  // namespace
}  // namespace aon_test
