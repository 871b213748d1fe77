// Sensor discovery: asked of the vendor once, cached, every service type offered.
#include <sstream>

#include "tests/manager/ManagerTest.h"

namespace aon_test {
namespace {

using host::AovCall;
using host::MakeSensorInfo;
using tarvo::aon::AonSensorInfo;

// "<id>/<reserved> attr<attribute> types<mask, hex> <w>x<h>@<rates>,...; " for each sensor.
std::string Describe(const std::vector<AonSensorInfo>& list) {
    std::ostringstream out;
    for (const AonSensorInfo& sensor : list) {
        out << sensor.sensorId << "/" << sensor.reserved << " attr" << sensor.sensorAttribute
            << " types" << std::hex << sensor.supportServiceTypes << std::dec;
        for (const auto& size : sensor.sizes) {
            out << " " << size.width << "x" << size.height << "@";
            for (int32_t rate : size.rates) out << rate << ",";
        }
        out << "; ";
    }
    return out.str();
}

using AONManagerSensorInfoTest = ManagerTest;

TEST_F(AONManagerSensorInfoTest, VendorIsAskedUntilItAnswersThenTheAnswerIsCached) {
    std::vector<AonSensorInfo> first;
    mManager->GetAonSensorInfoList(first);
    EXPECT_TRUE(first.empty());

    mStream.SetSensors(
            {{0,
              {MakeSensorInfo(640, 480, 7, {30, 15, 30}), MakeSensorInfo(320, 240, 9, {10})},
              0x5,
              0},
             {2, {MakeSensorInfo(1280, 720, 4, {5})}, 0x3, 0}});
    // Sensor 2 is gone once it is listed: no sizes, no attribute, and the vendor writes no mode.
    mStream.SetHook(AovCall::kGetSensorInfo, [&] {
        mStream.SetSensors({{0, {MakeSensorInfo(640, 480, 7, {30})}, 0x5, 0}});
    });
    std::vector<AonSensorInfo> second;
    mManager->GetAonSensorInfoList(first);
    mManager->GetAonSensorInfoList(second);
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kGetSensorList));
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kGetSensorInfo));
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kGetSensorMode));
    EXPECT_EQ(2u, mLog.count("AONManager: Init Aon Sensor Info"));
    // The last entry's attribute; every type offered, also after a failed mode query.
    EXPECT_EQ("0/0 attr9 types3f 640x480@30,15,30, 320x240@10,; 2/0 attr0 types3f; ",
              Describe(first));
    EXPECT_EQ(Describe(first), Describe(second));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId:0, sensor info size:2"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId:2, sensor info size:0"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId=0, support mode=0x5"));
    EXPECT_TRUE(
            HasLine(ANDROID_LOG_ERROR, "fail to getSensorMode, status=-1, sensorId=2, mode=0x0"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "sensorId=2, support mode=0x0"));
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
    EXPECT_EQ("42/0 attr0 types0; ", Describe(list));
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
