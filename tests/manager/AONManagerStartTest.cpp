// Subscribe, start and stop: the user_param handed to the stream, replacing a running stream,
// and failures of the vendor.
#include <cutils/properties.h>

#include <cstdio>

#include "tests/manager/ManagerTest.h"
#include "tests/support/Named.h"

namespace aon_test {
namespace {

using host::AovCall;
using Calls = std::vector<std::string>;

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

}  // namespace
}  // namespace aon_test
