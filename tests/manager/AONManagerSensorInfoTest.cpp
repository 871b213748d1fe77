// Sensor discovery: asked of the vendor once, cached, every service type offered.
#include "tests/manager/ManagerTest.h"

namespace aon_test {
namespace {

using host::AovCall;
using host::MakeSensorInfo;
using tarvo::aon::AonSensorInfo;

class AONManagerSensorInfoTest : public ManagerTest {};

TEST_F(AONManagerSensorInfoTest, VendorIsAskedOnceAndAnswerCached) {
    mStream.SetSensors({
            {0,
             {MakeSensorInfo(640, 480, 7, {30, 15, 30}), MakeSensorInfo(320, 240, 9, {10})},
             0x5, 0},
            {2, {MakeSensorInfo(1280, 720, 4, {5})}, 0x3, -1},
    });

    std::vector<AonSensorInfo> first;
    std::vector<AonSensorInfo> second;
    mManager->GetAonSensorInfoList(first);
    mManager->GetAonSensorInfoList(second);

    EXPECT_EQ(1u, mStream.CountOf(AovCall::kGetSensorList));
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kGetSensorInfo));
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kGetSensorMode));
    EXPECT_EQ(1u, mLog.count("AONManager: Init Aon Sensor Info"));

    ASSERT_EQ(2u, first.size());
    const AonSensorInfo& sensor0 = first[0];
    EXPECT_EQ(0, sensor0.sensorId);
    EXPECT_EQ(0, sensor0.reserved);
    EXPECT_EQ(9, sensor0.sensorAttribute);  // the last entry's attribute
    EXPECT_EQ(0x3F, sensor0.supportServiceTypes);
    ASSERT_EQ(2u, sensor0.sizes.size());
    EXPECT_EQ(640, sensor0.sizes[0].width);
    EXPECT_EQ(480, sensor0.sizes[0].height);
    EXPECT_EQ((std::vector<int32_t>{30, 15, 30}), sensor0.sizes[0].rates);
    EXPECT_EQ(320, sensor0.sizes[1].width);
    EXPECT_EQ((std::vector<int32_t>{10}), sensor0.sizes[1].rates);
    EXPECT_EQ(2, first[1].sensorId);
    EXPECT_EQ(0x3F, first[1].supportServiceTypes);  // listed despite the failed mode query

    ASSERT_EQ(first.size(), second.size());
    for (size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(first[i].sensorId, second[i].sensorId);
        EXPECT_EQ(first[i].sizes.size(), second[i].sizes.size());
    }

    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId:0, sensor info size:2"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId=0, support mode=0x5"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR,
                        "fail to getSensorMode, status=-1, sensorId=2, mode=0x3"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId=2, support mode=0x3"));
}

TEST_F(AONManagerSensorInfoTest, EmptyVendorAnswerIsNotCached) {
    std::vector<AonSensorInfo> list;
    mManager->GetAonSensorInfoList(list);
    EXPECT_TRUE(list.empty());

    mStream.SetSensors({{4, {MakeSensorInfo(640, 480, 1, {30})}, 0x1, 0}});
    mManager->GetAonSensorInfoList(list);
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kGetSensorList));
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(4, list[0].sensorId);
}

// A device without the stream: every operation reports it and none touches it.
TEST(AONManagerNullStreamTest, EveryOperationReportsMissingStream) {
    host::SetAovStreamInstance(nullptr);
    LogCapture log;
    auto manager = tarvo::aon::AONManager::GetSingleton();
    auto callback = std::make_shared<FakeManagerCallback>();
    ASSERT_EQ(0, manager->RegisterClient(callback));

    std::vector<AonSensorInfo> list(1);
    list[0].sensorId = 42;
    manager->GetAonSensorInfoList(list);
    ASSERT_EQ(1u, list.size());
    EXPECT_EQ(42, list[0].sensorId);
    EXPECT_TRUE(log.hasLine(ANDROID_LOG_ERROR, "AONManager", "aov stream is null"));

    EXPECT_EQ(-22, manager->StartService(1));
    EXPECT_TRUE(log.hasLine(ANDROID_LOG_ERROR, "AONManager", "Cannot get AovStream"));
    EXPECT_TRUE(log.hasLine(ANDROID_LOG_ERROR, "AONManager", "Failed to initialize AovStream."));
    EXPECT_EQ(0, manager->GetServiceTypeStarted());

    manager->NotifyOpen(5);
    manager->NotifyClose(5);
    EXPECT_EQ(2u, log.count("AONManager: mAovStream is null, return"));
    EXPECT_TRUE(host::SensorIdRequests().empty());
    EXPECT_TRUE(callback->Calls().empty());
    EXPECT_TRUE(host::FakeAovStream::Get().Calls().empty());
}

}  // namespace
}  // namespace aon_test
