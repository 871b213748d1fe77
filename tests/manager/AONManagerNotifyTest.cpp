// Camera open and close: the stream yields, the vendor hears which sensors are taken, and the
// callback learns it from named workers, in call order, with no manager lock held.
#include "tests/manager/ManagerTest.h"

namespace aon_test {
namespace {

using host::AovCall;
using Calls = std::vector<std::string>;

constexpr int kFrontDevice = 5;  // sensor 0
constexpr int kRearDevice = 7;   // sensor 2

class AONManagerNotifyTest : public ManagerTest {
  protected:
    void SetUp() override {
        host::SetSensorIdsOfDevice(kFrontDevice, {0});
        host::SetSensorIdsOfDevice(kRearDevice, {2});
        Subscribe(0);
    }
    // Every call but the service starts (made by StartService) ran on a worker, lock free.
    void ExpectWorkerCalls() {
        for (const ManagerCall& call : mCallback->Calls()) {
            if (call.what.rfind("Start", 0) == 0) continue;
            EXPECT_EQ("AONManager", call.threadName) << call.what;
            EXPECT_TRUE(call.managerLockFree) << call.what;
        }
    }
};

TEST_F(AONManagerNotifyTest, OpenStopsStreamAndSendsServiceStopOnlyForAnotherSensor) {
    Register();
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kRearDevice);
    ASSERT_TRUE(mCallback->WaitForCalls(3));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "NotifyOpen:7"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap add instanceId=7 sensorIds:2,"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "stop by sensor suspend"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "AovStream paused, mOpenedSensorId=0"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO,
                        "Camera use other sensor, this sensor id:0 stop, not support more than "
                        "one sensor running"));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());
    EXPECT_FALSE(mStream.IsInitialized());

    // The camera on the stream's own sensor: Busy alone tells it (the Idle fences the worker).
    mManager->NotifyClose(kRearDevice);
    ASSERT_TRUE(mCallback->WaitForCalls(4));
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kFrontDevice);
    mManager->NotifyClose(kFrontDevice);
    ASSERT_TRUE(mCallback->WaitForCalls(7));
    EXPECT_EQ(
            (Calls{"Start(0)", "Busy(2)", "Stop(0)", "Idle(2)", "Start(0)", "Busy(0)", "Idle(0)"}),
            mCallback->StateCalls());
    EXPECT_FALSE(mStream.IsInitialized());
    ExpectWorkerCalls();
}

TEST_F(AONManagerNotifyTest, QuickSequencesReachCallbackInCallOrder) {
    Register();
    Gate firstBusy;
    mCallback->HoldNextCall(&firstBusy);
    mManager->NotifyOpen(kFrontDevice);
    ASSERT_TRUE(firstBusy.WaitEntered());

    // Issued while the first worker is still busy; each waits for the worker before it, and until
    // the close's own worker has run the sensor stays taken.
    auto camera = std::async(std::launch::async, [this] {
        mManager->NotifyClose(kFrontDevice);
        mManager->NotifyOpen(kRearDevice);
        mManager->NotifyClose(kRearDevice);
        mManager->NotifyOpen(kFrontDevice);
    });
    EXPECT_EQ(-19, mManager->StartService(1));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO,
                        "sensor 0 is in used, CameraDevice 5 with sensorIds:0, is opened."));
    EXPECT_EQ(0u, mStream.CountOf(AovCall::kInit));
    // A close that did not wait would have its worker's Idle(0) recorded before the held Busy(0).
    firstBusy.Open();
    camera.get();

    ASSERT_TRUE(mCallback->WaitForCalls(5));
    EXPECT_EQ((Calls{"Busy(0)", "Idle(0)", "Busy(2)", "Idle(2)", "Busy(0)"}),
              mCallback->StateCalls());
    ExpectWorkerCalls();
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap erase instanceId=5 sensorIds:0,"));
    // The vendor hears of an open at once on the caller's thread, of a close from its worker.
    std::vector<std::vector<int32_t>> told[2];  // closed, opened
    for (const auto& call : mStream.CallsOf(AovCall::kNotifySensorState)) {
        EXPECT_EQ(call.opened == 0, call.threadName == "AONManager");
        told[call.opened].push_back(call.sensorIds);
    }
    EXPECT_EQ((std::vector<std::vector<int32_t>>{{0}, {2}, {0}}), told[1]);
    EXPECT_EQ((std::vector<std::vector<int32_t>>{{0}, {2}}), told[0]);
    // Every worker returned 0: none is reported failed when the next notification takes it.
    EXPECT_TRUE(Warnings().empty()) << ::testing::PrintToString(Warnings());
}

TEST_F(AONManagerNotifyTest, OpenWithoutCallbackStopsStreamAndStartsNoWorker) {
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kFrontDevice);
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "mCallback is null"));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());
    EXPECT_EQ(1u, mStream.CountOf(AovCall::kUninit));
    EXPECT_EQ(-19, mManager->StartService(1));  // the device is recorded
    mManager->NotifyClose(kRearDevice);  // never opened, and nobody to tell
    mManager->NotifyOpen(kRearDevice);   // takes that worker's result

    Register();
    mManager->NotifyClose(kFrontDevice);
    ASSERT_TRUE(mCallback->WaitForCalls(1));
    EXPECT_EQ((Calls{"Idle(0)"}), mCallback->StateCalls());
    // The WARN lines are the opens' alone ("stop by sensor suspend", "mCallback is null" twice):
    // the close worker that found no callback did not fail.
    EXPECT_EQ(3u, Warnings().size()) << ::testing::PrintToString(Warnings());
}

TEST_F(AONManagerNotifyTest, MissingDeviceListRecordsDeviceWithoutSensors) {
    Register();
    host::SetModuleFactoryAvailable(false);
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kFrontDevice);
    host::SetModuleFactoryAvailable(true);
    host::SetLogicalDeviceListAvailable(false);
    mManager->NotifyOpen(kRearDevice);

    EXPECT_EQ(2u, mLog.count("AONManager: Cannot get HalLogicalDeviceList"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap add instanceId=5 sensorIds:"));
    const auto told = mStream.CallsOf(AovCall::kNotifySensorState);
    ASSERT_EQ(2u, told.size());
    EXPECT_TRUE(told[0].sensorIds.empty());
    EXPECT_TRUE(host::SensorIdRequests().empty());

    // The first open stopped the stream: a stop for it, and no sensor reported busy.
    ASSERT_TRUE(mCallback->WaitForCalls(2));
    EXPECT_EQ(0, mManager->StartService(1));  // no device holds sensor 0
    EXPECT_EQ((Calls{"Start(0)", "Stop(0)", "Start(0)"}), mCallback->StateCalls());
}

TEST_F(AONManagerNotifyTest, VendorRefusalsAreOnlyLoggedAndReopenKeepsFirstSensors) {
    Register();
    mStream.SetNotifySensorStateResult(0);
    mManager->NotifyOpen(kRearDevice);
    mManager->NotifyClose(kRearDevice);
    mManager->NotifyClose(9);  // never opened
    mManager->NotifyOpen(kFrontDevice);

    ASSERT_TRUE(mCallback->WaitForCalls(3));
    EXPECT_EQ((Calls{"Busy(2)", "Idle(2)", "Busy(0)"}), mCallback->StateCalls());
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "Fail to notify AovStream, success=0, sensorIds:2,"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "Fail to notify AovStream, success=0, sensorIds:2,"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "AONManager::NotifyClose:9"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap erase instanceId=9 sensorIds:"));
    const auto told = mStream.CallsOf(AovCall::kNotifySensorState);
    EXPECT_EQ(1, std::count_if(told.begin(), told.end(),
                               [](const auto& t) { return t.opened == 0 && t.sensorIds.empty(); }));

    // A device opened again keeps the sensors of its first open; the vendor hears the new ones.
    host::SetSensorIdsOfDevice(kFrontDevice, {2});
    mManager->NotifyOpen(kFrontDevice);
    ASSERT_TRUE(mCallback->WaitForCalls(4));
    EXPECT_EQ("Busy(0)", mCallback->StateCalls().back());
    EXPECT_EQ(2u, mLog.count("AONManager: mOpenDeviceMap add instanceId=5 sensorIds:0,"));
    EXPECT_EQ(std::vector<int32_t>{2},
              mStream.CallsOf(AovCall::kNotifySensorState).back().sensorIds);
}

}  // namespace
}  // namespace aon_test
