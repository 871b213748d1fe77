// The manager over the fake vendor stream, with a recording manager callback and captured logs;
// each test runs in a process of its own. Subscribe, start and stop: the user_param handed to the
// stream, replacing a running stream, and failures of the vendor. Sensor discovery: asked of the
// vendor until it answers, cached, every service type offered. Stream events on the vendor's
// thread: forwarded unchanged, never waiting for the manager's lock. Camera open and close: the
// stream yields, the vendor hears which sensors are taken, and the callback learns it from named
// workers, in call order, with no manager lock held.
//
// The binary is linked with -Wl,--wrap=prctl: the open/close workers pass gWorkerGate where they
// start (tests/support/WorkerGate.h), open unless a test closes it.
#include <cutils/properties.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/FakeAovStream.h"
#include "host/FakeModuleHelper.h"
#include "manager/AONManager.h"
#include "manager/IAONManagerCallback.h"
#include "tests/support/Gate.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Named.h"
#include "tests/support/WorkerGate.h"

namespace aon_test {
namespace {

using namespace std::chrono_literals;
using host::AovCall;
using host::MakeSensorInfo;
using tarvo::aon::AonSensorInfo;
using Calls = std::vector<std::string>;

constexpr std::chrono::milliseconds kWaitTimeout = std::chrono::seconds(5);

struct ManagerCall {
    std::string what;  // "Event", or the state call with its sensor: "Start(0)", "Stop(0)",
                       // "Idle(0)", "Busy(0)"
    aov_event* event;
    std::string threadName;
    bool managerLockFree;  // GetServiceTypeStarted() could finish from another thread meanwhile
};

// Records every call with the calling thread's name and, given the manager, whether the
// manager's lock was free during the call. A call can be held at a gate before it is recorded, so
// once a test has seen a call, nothing of the test runs in it.
class FakeManagerCallback final : public tarvo::aon::IAONManagerCallback {
  public:
    explicit FakeManagerCallback(tarvo::aon::AONManager* manager = nullptr) : mManager(manager) {}

    void onCallback(aov_event* event) override { Record("Event", event); }
    void OnServiceStart(int id) override { Record("Start(" + std::to_string(id) + ")"); }
    void OnServiceStop(int id) override { Record("Stop(" + std::to_string(id) + ")"); }
    void OnSensorIdle(int id) override { Record("Idle(" + std::to_string(id) + ")"); }
    void OnSensorBusy(int id) override { Record("Busy(" + std::to_string(id) + ")"); }

    void HoldNextCall(Gate* gate) { mHold = gate; }  // the next call passes `gate` first
    std::vector<ManagerCall> Calls() const {
        std::lock_guard<std::mutex> guard(mLock);
        return mCalls;
    }
    std::vector<std::string> StateCalls() const {  // every call but events
        std::vector<std::string> result;
        for (const ManagerCall& call : Calls()) {
            if (call.what != "Event") result.push_back(call.what);
        }
        return result;
    }
    [[nodiscard]] bool WaitForCalls(size_t count) {
        std::unique_lock<std::mutex> lock(mLock);
        return mCalled.wait_for(lock, kWaitTimeout, [&] { return mCalls.size() >= count; });
    }

  private:
    void Record(std::string what, aov_event* event = nullptr) {
        ManagerCall call{std::move(what), event, host::CurrentThreadName(), true};
        if (mManager != nullptr) {
            // A lock held by the calling thread keeps the probe waiting until this call returns.
            auto probe = std::async(std::launch::async,
                                    [this] { return mManager->GetServiceTypeStarted(); });
            call.managerLockFree =
                    probe.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
        }
        if (Gate* gate = mHold.exchange(nullptr)) gate->Pass();
        std::lock_guard<std::mutex> guard(mLock);
        mCalls.push_back(call);
        mCalled.notify_all();
    }

    tarvo::aon::AONManager* const mManager;
    std::atomic<Gate*> mHold{nullptr};
    mutable std::mutex mLock;
    std::condition_variable mCalled;
    std::vector<ManagerCall> mCalls;
};

class ManagerTest : public ::testing::Test {
  protected:
    void TearDown() override {
        // Releases the stream's reference to the manager, so that teardown joins the last worker.
        mManager->StopService();
        EXPECT_TRUE(mStream.ContractViolations().empty());
    }

    void Register() { ASSERT_EQ(0, mManager->RegisterClient(mCallback)); }
    void Subscribe(int32_t sensorId, int32_t mode = 1) {
        ASSERT_EQ(0, mManager->SubscribeSensor({sensorId, 640, 480, 30, 0x3F, mode}));
    }
    bool HasLine(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "AONManager", text);
    }
    // The WARN and ERROR lines logged so far.
    std::vector<LogLine> Warnings() const {
        std::vector<LogLine> warnings;
        for (const LogLine& line : mLog.lines()) {
            if (line.priority >= ANDROID_LOG_WARN) warnings.push_back(line);
        }
        return warnings;
    }

    LogCapture mLog;
    host::FakeAovStream& mStream = host::FakeAovStream::Get();
    std::shared_ptr<tarvo::aon::AONManager> mManager = tarvo::aon::AONManager::GetSingleton();
    std::shared_ptr<FakeManagerCallback> mCallback =
            std::make_shared<FakeManagerCallback>(mManager.get());
};

// A little-endian 32-bit field of a recorded user_param.
inline uint32_t FieldAt(const std::array<uint8_t, sizeof(user_param)>& bytes, size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

struct UserParamCase : Named {
    int32_t mode;
    const char* mainDepth;  // property values; null leaves the property unset
    const char* subDepth;
    const char* debugMode;
    uint32_t fps, requestedFps, mainFormat, subFormat, debugFlag;
    const char* warning;  // expected WARN line, or null
};

class AONManagerUserParamTest : public ManagerTest,
                                public ::testing::WithParamInterface<UserParamCase> {};

TEST_P(AONManagerUserParamTest, InitReceivesConfigurationAtItsOffsets) {
    const UserParamCase& c = GetParam();
    if (c.mainDepth) property_set("vendor.debug.camera.utils.AovBitDepth.Main", c.mainDepth);
    if (c.subDepth) property_set("vendor.debug.camera.utils.AovBitDepth.Sub", c.subDepth);
    if (c.debugMode) property_set("vendor.debug.camera.utils.AovDebugMode", c.debugMode);
    ASSERT_EQ(0, mManager->SubscribeSensor({3, 640, 480, 30, 0x3F, c.mode}));
    ASSERT_EQ(0, mManager->StartService(0x5));

    const std::vector<host::AovCallRecord> inits = mStream.CallsOf(AovCall::kInit);
    ASSERT_EQ(1u, inits.size());
    const auto& bytes = inits[0].paramBytes;
    const std::pair<size_t, uint32_t> fields[] = {
            {4, 3},    {44, c.mainFormat}, {56, c.subFormat},     {60, c.fps},
            {64, 0x5}, {72, c.debugFlag},  {144, c.requestedFps}, {200, 640},
            {204, 480}};
    std::array<bool, sizeof(user_param)> written{};
    for (const auto& [offset, value] : fields) {
        EXPECT_EQ(value, FieldAt(bytes, offset)) << "offset " << offset;
        for (size_t i = 0; i < 4; ++i) written[offset + i] = true;
    }
    for (size_t i = 0; i < 208; ++i) {
        EXPECT_TRUE(written[i] || bytes[i] == 0) << "byte " << i << " must stay zero";
    }
    // The callback: the manager itself as IAOVStreamCallback, with its control block.
    void* self = static_cast<IAOVStreamCallback*>(mManager.get());
    void* words[2];
    std::memcpy(words, bytes.data() + 208, sizeof(words));
    EXPECT_EQ(self, words[0]);
    EXPECT_NE(nullptr, words[1]);

    char callbackLine[96];
    std::snprintf(callbackLine, sizeof(callbackLine), "debug_mode=%u, AovStreamCallback=%p",
                  c.debugFlag, self);
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, callbackLine));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO,
                        "start sensor->id:3, t:5, w:640, h:480, f:" + std::to_string(c.fps)));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "start sensor success:5"));
    EXPECT_EQ(c.mode != 1, HasLine(ANDROID_LOG_INFO, "open md mode, change 30 fps to 2 "));
    EXPECT_TRUE(!c.warning || HasLine(ANDROID_LOG_WARN, c.warning));
    EXPECT_EQ(0x5, mManager->GetServiceTypeStarted());

    // A good course logs no failure: the stop included.
    ASSERT_EQ(0, mManager->StopService());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "stop sensor success"));
    EXPECT_EQ(c.warning ? 2u : 0u, Warnings().size()) << ::testing::PrintToString(Warnings());
}

INSTANTIATE_TEST_SUITE_P(
        Configurations, AONManagerUserParamTest,
        ::testing::Values(UserParamCase{"Defaults", 1, nullptr, nullptr, nullptr, 30, 0, 0x1000,
                                        0x1000, 0, nullptr},
                          UserParamCase{"MotionDetectionForcesTwoFps", 0, nullptr, nullptr, "0", 2,
                                        30, 0x1000, 0x1000, 0, nullptr},
                          UserParamCase{"OtherModeIsMotionDetection", 2, nullptr, nullptr, "3", 2,
                                        30, 0x1000, 0x1000, 1, nullptr},
                          UserParamCase{"TenAndTwelveBitDepths", 1, "10", "12", "1", 30, 0, 0x2019,
                                        0x201E, 1, nullptr},
                          UserParamCase{"UnknownDepthsFallBack", 1, "9", "26", nullptr, 30, 0,
                                        0x1000, 0x1000, 0, "unknown depth=1a"}),
        ::testing::PrintToStringParamName());

class AONManagerStartTest : public ManagerTest {
  protected:
    void SetUp() override {
        Register();
        Subscribe(0);
    }
};

TEST_F(AONManagerStartTest, SecondStartReplacesStreamSendingOnlyServiceStart) {
    ASSERT_EQ(0, mManager->StartService(1));
    ASSERT_EQ(0, mManager->StartService(3));

    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN,
                        "AovStream is running with sensorId 0, please stop() the previous stream "
                        "before start() a new one."));
    std::vector<AovCall> sequence;
    for (const auto& call : mStream.Calls()) sequence.push_back(call.call);
    EXPECT_EQ((std::vector<AovCall>{AovCall::kInit, AovCall::kUninit, AovCall::kInit}), sequence);
    EXPECT_EQ(3u, FieldAt(mStream.CallsOf(AovCall::kInit)[1].paramBytes, 64));
    EXPECT_EQ((Calls{"Start(0)", "Start(0)"}), mCallback->StateCalls());
    EXPECT_EQ(3, mManager->GetServiceTypeStarted());
    for (const ManagerCall& call : mCallback->Calls()) EXPECT_TRUE(call.managerLockFree);

    // Unsubscribing zeroes the configuration: sensor 0, width 0, mode 0 (motion detection: 2 fps),
    // requested rate 0.
    ASSERT_EQ(0, mManager->UnsubscribeSensor());
    ASSERT_EQ(0, mManager->StartService(1));
    const auto bytes = mStream.CallsOf(AovCall::kInit).at(2).paramBytes;
    EXPECT_EQ((std::vector<uint32_t>{0, 0, 2, 0}),
              (std::vector<uint32_t>{FieldAt(bytes, 4), FieldAt(bytes, 200), FieldAt(bytes, 60),
                                     FieldAt(bytes, 144)}));
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "subscribe sensor success"));
}

TEST_F(AONManagerStartTest, RefusedInitClearsStateAndARefusedUninitIsNotFatal) {
    mStream.SetInitResult(0);
    EXPECT_EQ(-22, mManager->StartService(1));
    EXPECT_EQ(2u, mLog.count("AONManager: Failed to initialize AovStream."));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());
    // Nothing runs: a stop is a no-op and the next start is not a replacement.
    EXPECT_EQ(0, mManager->StopService());
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "AovStream is not started."));
    mStream.SetInitResult(1);
    ASSERT_EQ(0, mManager->StartService(1));
    EXPECT_EQ(3u, Warnings().size());  // the two above and "AovStream is not started."

    mStream.SetUninitResult(0);
    EXPECT_EQ(0, mManager->StopService());
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "Failed to uninitialize AovStream."));
    EXPECT_EQ(0, mManager->GetServiceTypeStarted());
    // The stream still counts as initialised: the next start skips init.
    ASSERT_EQ(0, mManager->StartService(1));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "AovStream is initialized"));
    EXPECT_EQ(2u, mStream.CountOf(AovCall::kInit));
    EXPECT_EQ((Calls{"Start(0)", "Stop(0)", "Start(0)"}), mCallback->StateCalls());
    mStream.SetUninitResult(1);
}

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

class AONManagerEventTest : public ManagerTest {
  protected:
    void StartStream() {
        Subscribe(0);
        ASSERT_EQ(0, mManager->StartService(1));
    }
    aov_event* Event(int index) { return reinterpret_cast<aov_event*>(&mEventStorage[index]); }

    uint64_t mEventStorage[2] = {};
};

TEST_F(AONManagerEventTest, EventGoesUnchangedToTheLastRegisteredCallbackOnTheVendorThread) {
    Register();
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "register callback success"));
    EXPECT_EQ(-22, mManager->RegisterClient(nullptr));  // keeps the callback registered
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "register callback is null"));
    StartStream();
    std::thread vendor([this] {
        pthread_setname_np(pthread_self(), "aov_vendor");
        EXPECT_TRUE(mStream.DeliverEvent(Event(0)));
    });
    vendor.join();
    std::vector<ManagerCall> calls = mCallback->Calls();
    ASSERT_EQ(2u, calls.size());  // OnServiceStart, then the event
    EXPECT_EQ(Event(0), calls[1].event);
    EXPECT_EQ("aov_vendor", calls[1].threadName);
    EXPECT_TRUE(calls[1].managerLockFree);

    auto second = std::make_shared<FakeManagerCallback>();
    ASSERT_EQ(0, mManager->RegisterClient(second));
    ASSERT_TRUE(mStream.DeliverEvent(Event(1)));
    EXPECT_EQ(2u, mCallback->Calls().size());
    ASSERT_EQ(1u, second->Calls().size());
    EXPECT_EQ(Event(1), second->Calls()[0].event);

    // After an unregistration events are dropped silently.
    ASSERT_EQ(0, mManager->UnregisterClient());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "unregister callback success"));
    mLog.clear();
    EXPECT_TRUE(mStream.DeliverEvent(Event(0)));
    EXPECT_TRUE(mLog.linesOf("AONManager").empty());
    EXPECT_EQ(1u, second->Calls().size());
}

TEST_F(AONManagerEventTest, EventMeetingHeldLockIsDroppedNotDelayed) {
    Register();
    StartStream();
    mStream.SetSensors({{0, {host::MakeSensorInfo(640, 480, 0, {30})}, 0, 0}});
    // A sensor query holds the manager's lock while the vendor answers.
    Gate gate;
    mStream.SetHook(AovCall::kGetSensorList, [&gate] { gate.Pass(); });
    auto query = std::async(std::launch::async, [this] {
        std::vector<tarvo::aon::AonSensorInfo> list;
        mManager->GetAonSensorInfoList(list);
        return list.size();
    });
    ASSERT_TRUE(gate.WaitEntered());

    auto delivery =
            std::async(std::launch::async, [this] { return mStream.DeliverEvent(Event(0)); });
    ASSERT_EQ(std::future_status::ready, delivery.wait_for(kWaitTimeout));
    EXPECT_TRUE(delivery.get());
    gate.Open();
    EXPECT_EQ(1u, query.get());
    ASSERT_TRUE(mStream.DeliverEvent(Event(1)));
    const std::vector<ManagerCall> calls = mCallback->Calls();
    ASSERT_EQ(2u, calls.size());  // OnServiceStart and the second event only
    EXPECT_EQ(Event(1), calls[1].event);
    EXPECT_EQ(1u, mLog.count("AONManager: onCallback can not get lock"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "onCallback can not get lock"));
}

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
    mManager->NotifyClose(kRearDevice);         // never opened, and nobody to tell
    mManager->NotifyOpen(kRearDevice);          // takes that worker's result

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

// A camera device that closes and opens again at once, as camera apps do on every mode switch. The
// close leaves the map and the vendor to its worker; the open must not run ahead of that worker,
// or the worker erases the entry the open kept and tells the vendor "closed" last. The close
// worker is held where it starts, before it takes mLock (tests/support/WorkerGate.h).
using CameraReopenTest = ManagerTest;

TEST_F(CameraReopenTest, CloseThenOpenAtOnceEndsWithTheDeviceRecordedAndBusy) {
    host::SetSensorIdsOfDevice(5, {0});
    Subscribe(0);
    Register();
    mManager->NotifyOpen(5);
    ASSERT_TRUE(mCallback->WaitForCalls(1));

    gWorkerGate.Close();
    std::atomic<pid_t> cameraTid{0};
    auto camera = std::async(std::launch::async, [&] {
        cameraTid = static_cast<pid_t>(syscall(SYS_gettid));
        mManager->NotifyClose(5);
        mManager->NotifyOpen(5);
    });
    ASSERT_TRUE(gWorkerGate.WaitEntered()) << "the close worker did not start";
    // The camera's thread has entered the open and waits (for the worker, before the map; an open
    // that ran ahead would wait only after it).
    EXPECT_TRUE(WaitUntilAsleep(cameraTid, [&] {
        return mLog.count("AONManager: NotifyOpen:5") == 2;
    })) << "the reopen did not start waiting";
    gWorkerGate.Open();
    if (camera.wait_for(5s) != std::future_status::ready) {
        ADD_FAILURE() << "the reopen and the close worker wait for each other";
        std::fflush(stdout);
        std::_Exit(1);  // the camera's thread is stuck: the process cannot end normally
    }

    EXPECT_TRUE(mCallback->WaitForCalls(3)) << "no OnSensorBusy after the reopen";
    EXPECT_EQ((std::vector<std::string>{"Busy(0)", "Idle(0)", "Busy(0)"}), mCallback->StateCalls());
    std::vector<int32_t> told;
    for (const auto& call : mStream.CallsOf(host::AovCall::kNotifySensorState)) {
        told.push_back(call.opened);
    }
    EXPECT_EQ((std::vector<int32_t>{1, 0, 1}), told) << "the vendor must hear \"opened\" last";
    EXPECT_EQ(-19, mManager->StartService(1)) << "the reopened device no longer holds sensor 0";
}

}  // namespace
}  // namespace aon_test
