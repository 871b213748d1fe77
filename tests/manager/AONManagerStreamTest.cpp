// The manager and the vendor stream. Subscribe, start and stop: the user_param handed to the
// stream, replacing a running stream, and failures of the vendor. Sensor discovery: asked of the
// vendor until it answers, cached, every service type offered. Stream events on the vendor's
// thread: forwarded unchanged, never waiting for the manager's lock.
#include <cutils/properties.h>

#include <cstdio>
#include <sstream>
#include <thread>

#include "tests/manager/ManagerTest.h"
#include "tests/support/Named.h"

namespace aon_test {
namespace {

using host::AovCall;
using Calls = std::vector<std::string>;
using host::MakeSensorInfo;
using tarvo::aon::AonSensorInfo;

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

}  // namespace
}  // namespace aon_test
