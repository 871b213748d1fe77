// Camera open and close: the stream yields, the vendor hears which sensors are taken, and the
// callback learns it from named workers, in call order, with no manager lock held.
#include <atomic>
#include <future>

#include "tests/manager/Gate.h"
#include "tests/manager/ManagerTest.h"

namespace aon_test {
namespace {

using host::AovCall;

Notified Start(int sensorId) { return {ManagerCallKind::kServiceStart, sensorId}; }
Notified Stop(int sensorId) { return {ManagerCallKind::kServiceStop, sensorId}; }
Notified Busy(int sensorId) { return {ManagerCallKind::kSensorBusy, sensorId}; }
Notified Idle(int sensorId) { return {ManagerCallKind::kSensorIdle, sensorId}; }

constexpr int kFrontDevice = 5;  // sensor 0
constexpr int kRearDevice = 7;   // sensor 2

class AONManagerNotifyTest : public ManagerTest {
  protected:
    void SetUp() override {
        ManagerTest::SetUp();
        host::SetSensorIdsOfDevice(kFrontDevice, {0});
        host::SetSensorIdsOfDevice(kRearDevice, {2});
        Subscribe(0);
    }
    void Register() { ASSERT_EQ(0, mManager->RegisterClient(mCallback)); }
    // Every call after the first `from` ran on a worker, with the manager's lock free.
    void ExpectWorkerCalls(size_t from) {
        const std::vector<ManagerCall> calls = mCallback->Calls();
        for (size_t i = from; i < calls.size(); ++i) {
            EXPECT_EQ("AONManager", calls[i].threadName) << "call " << i;
            EXPECT_TRUE(calls[i].managerLockFree) << "call " << i;
        }
    }
};

TEST_F(AONManagerNotifyTest, OpenOnOtherSensorSendsBusyThenServiceStop) {
    Register();
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kRearDevice);

    ASSERT_TRUE(mCallback->WaitForCalls(3));
    EXPECT_EQ((std::vector<Notified>{Start(0), Busy(2), Stop(0)}), mCallback->StateCalls());
    ExpectWorkerCalls(1);
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "NotifyOpen:7"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap add instanceId=7 sensorIds:2,"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "stop by sensor suspend"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "AovStream paused, mOpenedSensorId=0"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO,
                        "Camera use other sensor, this sensor id:0 stop, not support more than "
                        "one sensor running"));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());
    EXPECT_FALSE(mStream.IsInitialized());

    // The vendor heard of the open on the camera stack's own thread.
    const auto notified = mStream.CallsOf(AovCall::kNotifySensorState);
    ASSERT_EQ(1u, notified.size());
    EXPECT_EQ(std::vector<int32_t>{2}, notified[0].sensorIds);
    EXPECT_EQ(1, notified[0].opened);
    EXPECT_EQ(host::CurrentThreadName(), notified[0].threadName);
}

TEST_F(AONManagerNotifyTest, OpenOnSameSensorSendsOnlyBusy) {
    Register();
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kFrontDevice);
    mManager->NotifyClose(kFrontDevice);  // its Idle fences any late call of the open worker

    ASSERT_TRUE(mCallback->WaitForCalls(3));
    EXPECT_EQ((std::vector<Notified>{Start(0), Busy(0), Idle(0)}), mCallback->StateCalls());
    ExpectWorkerCalls(1);
    EXPECT_FALSE(mStream.IsInitialized());
}

TEST_F(AONManagerNotifyTest, StartIsRefusedUntilCloseWorkerHasRun) {
    Register();
    Gate busy;
    mCallback->SetHook([&busy](const ManagerCall& call) {
        if (call.kind == ManagerCallKind::kSensorBusy) busy.Pass();
    });
    mManager->NotifyOpen(kFrontDevice);
    ASSERT_TRUE(busy.WaitEntered());

    // The close waits behind the open worker; until its own worker ran the sensor stays taken.
    auto close = std::async(std::launch::async, [this] { mManager->NotifyClose(kFrontDevice); });
    EXPECT_EQ(-19, mManager->StartService(1));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO,
                        "sensor 0 is in used, CameraDevice 5 with sensorIds:0, is opened."));
    EXPECT_EQ(0u, mStream.CountOf(AovCall::kInit));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());

    busy.Open();
    close.get();
    ASSERT_TRUE(mCallback->WaitForCalls(2));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap erase instanceId=5 sensorIds:0,"));
    EXPECT_EQ(0, mManager->StartService(1));
    EXPECT_EQ((std::vector<Notified>{Busy(0), Idle(0), Start(0)}), mCallback->StateCalls());
}

TEST_F(AONManagerNotifyTest, QuickSequencesReachCallbackInCallOrder) {
    Register();
    Gate firstBusy;
    std::atomic<bool> held{false};
    mCallback->SetHook([&firstBusy, &held](const ManagerCall&) {
        if (!held.exchange(true)) firstBusy.Pass();
    });
    mManager->NotifyOpen(kFrontDevice);
    ASSERT_TRUE(firstBusy.WaitEntered());

    // Issued while the first worker is still busy; each waits for the worker before it.
    auto camera = std::async(std::launch::async, [this] {
        mManager->NotifyClose(kFrontDevice);
        mManager->NotifyOpen(kRearDevice);
        mManager->NotifyClose(kRearDevice);
        mManager->NotifyOpen(kFrontDevice);
    });
    // Held back behind the first worker: the vendor has not yet heard of the close.
    EXPECT_FALSE(mStream.WaitForCount(AovCall::kNotifySensorState, 2, kNotCalledTimeout));
    firstBusy.Open();
    camera.get();

    ASSERT_TRUE(mCallback->WaitForCalls(5));
    EXPECT_EQ((std::vector<Notified>{Busy(0), Idle(0), Busy(2), Idle(2), Busy(0)}),
              mCallback->StateCalls());
    ExpectWorkerCalls(0);

    // The vendor hears of an open at once on the caller's thread, of a close from its worker.
    std::vector<std::vector<int32_t>> opened;
    std::vector<std::vector<int32_t>> closed;
    for (const auto& told : mStream.CallsOf(AovCall::kNotifySensorState)) {
        EXPECT_EQ(told.opened == 0, told.threadName == "AONManager");
        (told.opened == 1 ? opened : closed).push_back(told.sensorIds);
    }
    EXPECT_EQ((std::vector<std::vector<int32_t>>{{0}, {2}, {0}}), opened);
    EXPECT_EQ((std::vector<std::vector<int32_t>>{{0}, {2}}), closed);
}

TEST_F(AONManagerNotifyTest, OpenWithoutCallbackStopsStreamAndStartsNoWorker) {
    ASSERT_EQ(0, mManager->StartService(1));
    mManager->NotifyOpen(kFrontDevice);
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "mCallback is null"));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());
    EXPECT_EQ(1u, mStream.CountOf(AovCall::kUninit));
    EXPECT_EQ(-19, mManager->StartService(1));  // the device is recorded

    Register();
    mManager->NotifyClose(kFrontDevice);
    ASSERT_TRUE(mCallback->WaitForCalls(1));
    EXPECT_EQ((std::vector<Notified>{Idle(0)}), mCallback->StateCalls());
    EXPECT_FALSE(HasLine(ANDROID_LOG_WARN, "Cannot get Callback"));
}

TEST_F(AONManagerNotifyTest, SecondOpenOfSameDeviceKeepsFirstSensors) {
    Register();
    mManager->NotifyOpen(kFrontDevice);
    host::SetSensorIdsOfDevice(kFrontDevice, {2});
    mManager->NotifyOpen(kFrontDevice);

    ASSERT_TRUE(mCallback->WaitForCalls(2));
    EXPECT_EQ((std::vector<Notified>{Busy(0), Busy(0)}), mCallback->StateCalls());
    EXPECT_EQ(2u, mLog.count("AONManager: mOpenDeviceMap add instanceId=5 sensorIds:0,"));
    EXPECT_EQ(std::vector<int32_t>{2}, mStream.CallsOf(AovCall::kNotifySensorState)[1].sensorIds);
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
    EXPECT_EQ((std::vector<Notified>{Start(0), Stop(0), Start(0)}), mCallback->StateCalls());
}

TEST_F(AONManagerNotifyTest, VendorRefusalsAreOnlyLogged) {
    Register();
    mStream.SetNotifySensorStateResult(0);
    mManager->NotifyOpen(kRearDevice);
    mManager->NotifyClose(kRearDevice);
    mManager->NotifyClose(9);  // never opened
    mManager->NotifyOpen(kFrontDevice);

    ASSERT_TRUE(mCallback->WaitForCalls(3));
    EXPECT_EQ((std::vector<Notified>{Busy(2), Idle(2), Busy(0)}), mCallback->StateCalls());
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "Fail to notify AovStream, success=0, sensorIds:2,"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "Fail to notify AovStream, success=0, sensorIds:2,"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "AONManager::NotifyClose:9"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "mOpenDeviceMap erase instanceId=9 sensorIds:"));
    size_t emptyCloses = 0;
    for (const auto& told : mStream.CallsOf(AovCall::kNotifySensorState)) {
        emptyCloses += told.opened == 0 && told.sensorIds.empty() ? 1 : 0;
    }
    EXPECT_EQ(1u, emptyCloses);
}

}  // namespace
}  // namespace aon_test
