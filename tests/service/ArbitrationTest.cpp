// Subscription arbitration and service-type start/stop: which configurations are admitted while
// the stream idles or runs, how they merge, and when a stop leaves, stops or restarts the stream.
// Handle 1 is a registered client; handle 2 exists only in the service's tables (see
// AONServiceTestPeer).
#include <cstdint>
#include <mutex>

#include "service/AONService.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/Named.h"

namespace tarvo::aon {

// Test access to AONService's per-handle tables. The registry admits one client and issues handle
// 1 to it, so a second handle never reaches the binder methods; the peer gives that handle what
// registerClient would record for it and drives the operations that follow the registry check,
// under the service's lock, as the binder methods do.
class AONServiceTestPeer final {
  public:
    using SensorConfigInfo = AONService::SensorConfigInfo;

    explicit AONServiceTestPeer(AONService& service) : mService(service) {}

    void RegisterHandle(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        mService.mClientRegisterServiceType[handle] = serviceType;
    }
    ndk::ScopedAStatus Subscribe(int64_t handle, const SensorConfigInfo& config) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.SubscribeSensorLocked(handle, config);
    }
    ndk::ScopedAStatus Start(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.StartServiceLocked(handle, serviceType);
    }
    ndk::ScopedAStatus Stop(int64_t handle, int32_t serviceType) {
        std::lock_guard<std::mutex> lock(mService.mLock);
        return mService.StopServiceLocked(handle, serviceType);
    }

  private:
    AONService& mService;
};

}  // namespace tarvo::aon

namespace aon_test {
namespace {

class ArbitrationTest : public ServiceTest {
  protected:
    void SetUp() override {
        ASSERT_EQ(Register(mClient), 1);
        mPeer.RegisterHandle(2, kAllTypes);
    }
    // Handle 1 runs `types` of a subscription of all types at 640x480@30.
    void Run(int32_t types) {
        ASSERT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 30, kAllTypes)), IsOk());
        ASSERT_THAT(mService->startService(1, types), IsOk());
        mLog.clear();
    }

    RemoteCallback mClient = MakeRemoteCallback();
    tarvo::aon::AONServiceTestPeer mPeer{*mService};
};

TEST_F(ArbitrationTest, ResubscribingOnAnotherSensorIsRefusedByOwnEarlierEntry) {
    EXPECT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 10, 0x1)), IsOk());
    EXPECT_THAT(mService->subscribeSensor(1, Config(1, 320, 240, 15, 0x1)),
                ServiceSpecificErrorIs(1, "can support this config when other process use"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "exist use sensor id:0, new config:1, not support"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR, "can not support this config when other process use"));
}

struct DeliveryModeCase : Named {
    int32_t first, second;
    bool conflict;
    int32_t streamFps;     // 2 in motion-detection mode
    int32_t requestedFps;  // the asked rate when forced to 2
};

class DeliveryModeMergeTest : public ArbitrationTest,
                              public ::testing::WithParamInterface<DeliveryModeCase> {};

// Idle configurations merge to the largest size and rate, the union of types and one mode.
TEST_P(DeliveryModeMergeTest, IdleConfigurationsMergeAndConflictingModesAreSentAsTimeBased) {
    const DeliveryModeCase& c = GetParam();
    EXPECT_THAT(mService->subscribeSensor(1, Config(0, 640, 480, 10, 0x1, c.first)), IsOk());
    EXPECT_THAT(mPeer.Subscribe(2, Config(0, 320, 240, 15, 0x2, c.second)), IsOk());
    EXPECT_TRUE(
            HasLine(ANDROID_LOG_INFO, "subscribe success-> c:2, id:0, t:3, w:640, h:480, f:15"));
    EXPECT_EQ(HasLine(ANDROID_LOG_WARN,
                      "computed deliveryMode is -1, some config not right, force set to TIME_BASED"),
              c.conflict);
    EXPECT_THAT(mService->startService(1, 0x1), IsOk());
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, c.streamFps, 0x1, c.requestedFps)));
}

INSTANTIATE_TEST_SUITE_P(Modes, DeliveryModeMergeTest,
                         ::testing::Values(DeliveryModeCase{"TimeBased", 1, 1, false, 15, 0},
                                           DeliveryModeCase{"TimeBasedYields", 1, 2, false, 2, 15},
                                           DeliveryModeCase{"Equal", 2, 2, false, 2, 15},
                                           DeliveryModeCase{"Conflict", 2, 3, true, 15, 0}),
                         ::testing::PrintToStringParamName());

struct RunningCase : Named {
    SensorConfigInfo running;
    SensorConfigInfo added;
    const char* refusal;  // empty: admitted
};

class RunningAdmissionTest : public ArbitrationTest,
                             public ::testing::WithParamInterface<RunningCase> {};

TEST_P(RunningAdmissionTest, RunningStreamAdmitsOnlyWhatItCovers) {
    const RunningCase& c = GetParam();
    ASSERT_THAT(mService->subscribeSensor(1, c.running), IsOk());
    ASSERT_THAT(mService->startService(1, c.running.serviceType), IsOk());
    mLog.clear();

    auto status = mPeer.Subscribe(2, c.added);
    if (*c.refusal == '\0') {
        EXPECT_THAT(status, IsOk());
        EXPECT_THAT(mLog.linesOf("AONService"),
                    ElementsAre(HalLine(ANDROID_LOG_INFO,
                                        "subscribe success-> c:2, id:0, t:1, w:320, h:240, f:15")));
        // Joining the running stream with a subset calls nothing on the stream.
        EXPECT_THAT(mPeer.Start(2, c.added.serviceType), IsOk());
    } else {
        EXPECT_THAT(status,
                    ServiceSpecificErrorIs(1, "can support this config when sensor running"));
        EXPECT_THAT(mLog.linesOf("AONService"),
                    ElementsAre(HalLine(ANDROID_LOG_ERROR, c.refusal),
                                HalLine(ANDROID_LOG_ERROR,
                                        "can not support this config when sensor running")));
        EXPECT_THAT(mPeer.Start(2, c.added.serviceType),
                    ServiceSpecificErrorIs(2, "start service type is subset of subscribe service type"));
    }
    EXPECT_EQ(StreamCalls().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(
        Checks, RunningAdmissionTest,
        ::testing::Values(
                RunningCase{"Fps", Config(0, 640, 480, 10, 0x3), Config(0, 640, 480, 15, 0x1),
                            "exist use fps:10, new config:15, not support"},
                RunningCase{"Width", Config(0, 320, 240, 15, 0x3), Config(0, 640, 480, 15, 0x1),
                            "exist use frameWidth:320, new config:640, not support"},
                RunningCase{"Height", Config(0, 320, 240, 15, 0x3), Config(0, 320, 480, 15, 0x1),
                            "exist use frameHeight:240, new config:480, not support"},
                RunningCase{"Types", Config(0, 640, 480, 30, 0x1), Config(0, 640, 480, 30, 0x3),
                            "exist use serviceType:1, new config:3, not support"},
                RunningCase{"DeliveryMode", Config(0, 640, 480, 30, 0x3, 2),
                            Config(0, 640, 480, 30, 0x1, 3),
                            "exist use deliveryMode:2, new config:3, not support"},
                RunningCase{"Covered", Config(0, 640, 480, 30, 0x3, 2),
                            Config(0, 320, 240, 15, 0x1, 1), ""}),
        ::testing::PrintToStringParamName());

TEST_F(ArbitrationTest, StopRestartsStreamWithTypesOthersStillUse) {
    ASSERT_THAT(mPeer.Subscribe(2, Config(0, 640, 480, 30, 0x1)), IsOk());
    Run(0x3);
    EXPECT_THAT(mPeer.Start(2, 0x1), IsOk());

    // The union stays 0x3, which runs: nothing to do.
    EXPECT_THAT(mPeer.Stop(2, 0x1), IsOk());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "stop service: same do nothing"));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3)));

    // Handle 2 holds 0x1 again; handle 1 drops 0x2: the stream restarts with 0x1.
    EXPECT_THAT(mPeer.Start(2, 0x1), IsOk());
    EXPECT_THAT(mService->stopService(1, 0x2), IsOk());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "finalStartServiceType:1 not 0 restart"));
    EXPECT_THAT(StreamCalls(),
                ElementsAre(Init(0, 640, 480, 30, 0x3), "uninit", Init(0, 640, 480, 30, 0x1)));
    ASSERT_TRUE(mClient.fake->waitForSensorEvents(3, kTimeout));
    EXPECT_EQ(mClient.fake->states(), (States{{0, 1}, {0, 0}, {0, 1}}));
}

// A start of types the stream does not run is refused; a stop of types not started leaves it be.
TEST_F(ArbitrationTest, RunningStreamIsJoinedOnlyWithTypesItRunsAndStoppedOnlyByThem) {
    Run(0x3);
    EXPECT_THAT(mService->startService(1, 0x4),
                ServiceSpecificErrorIs(
                        1, "sensor hub is running, please do start on other process stop"));
    EXPECT_THAT(mService->stopService(1, 0x4), IsOk());
    EXPECT_THAT(mService->stopService(1, 0), IsOk());
    // The number after "client:" in the second line is the started mask.
    EXPECT_THAT(
            mLog.linesOf("AONService"),
            ElementsAre(
                    HalLine(ANDROID_LOG_ERROR,
                            "sensor hub is running, please do start on other process stop"),
                    HalLine(ANDROID_LOG_WARN,
                            "stop service type:4 more than start service type for client:3"),
                    HalLine(ANDROID_LOG_INFO, "stop service actual type:0, left:3 for client:1"),
                    HalLine(ANDROID_LOG_INFO, "stop service: same do nothing"),
                    HalLine(ANDROID_LOG_WARN, "stop service type 0 for client:1")));
    EXPECT_THAT(StreamCalls(), ElementsAre(Init(0, 640, 480, 30, 0x3)));
}

}  // namespace
}  // namespace aon_test
