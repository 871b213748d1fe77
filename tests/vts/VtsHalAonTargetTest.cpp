// The always-on camera service as a client sees it through binder, on every instance the device
// declares: what a device maker's VTS run checks once the camera HAL process serves it. The same
// source runs on the host against the library registered in-process (ClientProcess.h).
//
// On a device, run it with the camera idle: the test registers a client (which replaces any client
// of the service) and runs the always-on stream.
#include <aidl/Gtest.h>
#include <aidl/Vintf.h>
#include <android/binder_process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/StatusMatchers.h"
#include "tests/vts/AonClient.h"
#include "tests/vts/ClientProcess.h"

namespace aon_vts {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using aon_test::IsOk;
using aon_test::ServiceSpecificErrorIs;
using std::chrono_literals::operator""s;

constexpr int32_t kDetectorTypes = 0xF;  // fusion, face angle, gaze, face feature
constexpr int32_t kStateIdle = 0;
constexpr int32_t kStateStarted = 1;
constexpr auto kTimeout = 5s;
// The largest frame whose event fits a client's binder buffer with room to spare.
constexpr int32_t kMaxFramePixels = 640 * 480;

// What is wrong with the order of an event's results, or "" when nothing is: the detector keys
// in ascending order, each only for a bit the event ran (fusion 100 to 103 bit 1, face angle 200
// bit 2, gaze 300 bit 4, face feature 400 bit 8), then the four image keys 700 to 703 or none,
// then the frame id, width and height (keys 0, 1, 2) as intValue.
std::string KeyOrderProblem(const AONCallBackInfo& info) {
    std::string keys;
    for (const AONResult& result : info.results) {
        const int32_t key = result.key;
        const int32_t bit = key < 3          ? 0
                            : key < 200      ? 1
                            : key / 100 == 2 ? 2
                            : key / 100 == 3 ? 4
                                             : 8;
        if (key < 3 && result.value.getTag() != AONResultValue::Tag::intValue)
            return "key " + std::to_string(key) + " not an intValue";
        if (key >= 100 && key < 700 && (info.serviceType & bit) == 0)
            return "key " + std::to_string(key) + " without its bit";
        keys += std::to_string(key) + " ";
    }
    const std::regex order(
            "(100 )?(101 )?(102 )?(103 )?(200 )?(300 )?(400 )?(700 701 702 703 )?0 1 2 ");
    return std::regex_match(keys, order) ? "" : "keys out of order: " + keys;
}

// The first listed frame that fits a binder buffer, at its highest rate up to 30 fps, with the
// detectors the sensor supports.
std::optional<SensorConfigInfo> SmallListedConfig(const std::vector<AONSensorInfo>& sensors) {
    for (const AONSensorInfo& sensor : sensors) {
        for (const FrameInfo& frame : sensor.frameInfos) {
            int32_t fps = 0;
            for (int32_t rate : frame.fpsList) fps = rate <= 30 ? std::max(fps, rate) : fps;
            const int32_t pixels = frame.width * frame.height;
            if (pixels <= 0 || pixels > kMaxFramePixels || fps == 0) continue;
            SensorConfigInfo config;
            std::tie(config.sensorId, config.frameWidth, config.frameHeight, config.fps) =
                    std::tie(sensor.sensorId, frame.width, frame.height, fps);
            const int32_t detectors = sensor.supportServiceType & kDetectorTypes;
            config.serviceType = detectors != 0 ? detectors : sensor.supportServiceType;
            config.deliveryMode = 1;
            return config;
        }
    }
    return std::nullopt;
}

class AonHalTest : public testing::TestWithParam<std::string> {
  protected:
    void SetUp() override {
        mService = GetService(GetParam());
        ASSERT_NE(nullptr, mService) << "no service " << GetParam();
        mCallback = ::ndk::SharedRefBase::make<RecordingCallback>();
        mCallbackBinder = mCallback->asBinder();
        PlaceInTestProcess(mCallbackBinder);
    }

    // Leaves the service as the test found it, also after a failure half-way.
    void TearDown() override {
        if (!mHandle) return;
        (void)mService->stopService(*mHandle, mConfig.serviceType);
        (void)mService->unsubscribeSensor(*mHandle);
        (void)mService->unregisterClient(*mHandle);
    }

    void PickConfig() {
        std::vector<AONSensorInfo> sensors;
        ASSERT_THAT(mService->getAonSensorInfoList(&sensors), IsOk());
        std::optional<SensorConfigInfo> config = SmallListedConfig(sensors);
        ASSERT_TRUE(config) << "no listed frame of at most 640x480 with a rate up to 30 fps";
        mConfig = *config;
    }

    // The client registers, subscribes mConfig and starts its types; the stream, stopped until
    // then, reports state 1 for the sensor. Returns the index of that report in *started.
    void RegisterSubscribeStartClient(size_t* started) {
        int64_t handle = 0;
        ASSERT_THAT(mService->registerClient(mCallback, mConfig.serviceType, &handle), IsOk());
        mHandle = handle;
        // A registration hands over the remembered state of every sensor that is not idle.
        const size_t atRegistration = mCallback->sensorEvents().size();
        ASSERT_FALSE(mCallback->waitForSensorState(mConfig.sensorId, kStateStarted, 0, 0s))
                << "a stream was already running on sensor " << mConfig.sensorId;
        ASSERT_THAT(mService->subscribeSensor(handle, mConfig), IsOk());
        ASSERT_THAT(mService->startService(handle, mConfig.serviceType), IsOk());
        const std::optional<size_t> state = mCallback->waitForSensorState(
                mConfig.sensorId, kStateStarted, atRegistration, kTimeout);
        ASSERT_TRUE(state) << "no state 1 for sensor " << mConfig.sensorId << " after the start";
        *started = *state;
    }

    std::shared_ptr<IAONService> mService;
    std::shared_ptr<RecordingCallback> mCallback;
    ::ndk::SpAIBinder mCallbackBinder;  // the object keeps its binder only while someone does
    SensorConfigInfo mConfig;
    std::optional<int64_t> mHandle;  // while the test's client is registered
};

TEST_P(AonHalTest, AnswersItsVersionHashAndAConsistentSensorList) {
    int32_t version = 0;
    ASSERT_THAT(mService->getInterfaceVersion(&version), IsOk());
    EXPECT_EQ(IAONService::version, version);
    std::string hash;
    ASSERT_THAT(mService->getInterfaceHash(&hash), IsOk());
    EXPECT_EQ(IAONService::hash, hash);

    std::vector<AONSensorInfo> sensors;
    ASSERT_THAT(mService->getAonSensorInfoList(&sensors), IsOk());
    ASSERT_FALSE(sensors.empty());
    std::set<int32_t> ids;
    for (const AONSensorInfo& sensor : sensors) {
        SCOPED_TRACE(sensor.toString());
        EXPECT_TRUE(ids.insert(sensor.sensorId).second) << "sensor listed twice";
        EXPECT_NE(0, sensor.supportServiceType & kDetectorTypes) << "supports no detector";
        for (const FrameInfo& frame : sensor.frameInfos) {
            EXPECT_GT(std::min(frame.width, frame.height), 0);
            for (int32_t fps : frame.fpsList) EXPECT_GT(fps, 0);
        }
    }
}

// The callback is not @nullable: the client's proxy cannot write a null interface and answers
// STATUS_UNEXPECTED_NULL without a transaction, so through binder no client ever sees the
// service's own answer to a null callback (EX_ILLEGAL_ARGUMENT, which the in-process service
// suites check). A handle never issued is refused with error 1 by every call that takes one.
TEST_P(AonHalTest, NullCallbackAndUnknownHandleAreRefused) {
    int64_t handle = -7;
    ndk::ScopedAStatus status = mService->registerClient(nullptr, 1, &handle);
    EXPECT_EQ(EX_TRANSACTION_FAILED, status.getExceptionCode()) << status.getDescription();
    EXPECT_EQ(STATUS_UNEXPECTED_NULL, status.getStatus()) << status.getDescription();
    EXPECT_EQ(-7, handle);

    constexpr int64_t kUnknown = int64_t{1} << 40;  // never issued: handles count clients
    const SensorConfigInfo config;
    const struct {
        const char* call;
        std::function<ndk::ScopedAStatus()> run;
        const char* message;
    } cases[] = {
            {"subscribeSensor", [&] { return mService->subscribeSensor(kUnknown, config); },
             "clientHandle not register"},
            {"startService", [&] { return mService->startService(kUnknown, 1); },
             "in_clientHandle not register"},
            {"unregisterClient", [&] { return mService->unregisterClient(kUnknown); },
             "in_clientHandle not register"},
    };
    for (const auto& c : cases) {
        EXPECT_THAT(c.run(), ServiceSpecificErrorIs(1, c.message)) << c.call;
    }
}

TEST_P(AonHalTest, ListedConfigurationRunsDeliversFramesAndStops) {
    ASSERT_NO_FATAL_FAILURE(PickConfig());
    size_t started = 0;
    ASSERT_NO_FATAL_FAILURE(RegisterSubscribeStartClient(&started));

    ASSERT_TRUE(mCallback->waitForEvents(3, kTimeout)) << "fewer than 3 frames in 5 s";
    for (const RecordingCallback::Event& event : mCallback->events()) {
        EXPECT_EQ(*mHandle, event.clientHandle);
        EXPECT_EQ("", KeyOrderProblem(event.info)) << event.info.toString();
    }

    ASSERT_THAT(mService->stopService(*mHandle, mConfig.serviceType), IsOk());
    EXPECT_TRUE(mCallback->waitForSensorState(mConfig.sensorId, kStateIdle, started + 1, kTimeout))
            << "no state 0 for sensor " << mConfig.sensorId << " after the stop";
    EXPECT_THAT(mService->unsubscribeSensor(*mHandle), IsOk());
    EXPECT_THAT(mService->unregisterClient(*mHandle), IsOk());
    mHandle.reset();
}

TEST_P(AonHalTest, ClientThatDiesIsWithdrawn) {
    ASSERT_NO_FATAL_FAILURE(PickConfig());
    const DeadClient dead = RunClientThatDies(GetParam(), mConfig);
    ASSERT_EQ("", dead.error);

    // Withdrawn: its handle is unknown again. (A stop of no type changes nothing for a client that
    // is still registered.)
    const bool withdrawn = WaitForDeathHandled(
            [&] {
                return testing::Matches(ServiceSpecificErrorIs(1, "in_clientHandle not register"))(
                        mService->stopService(dead.handle, 0));
            },
            kTimeout);
    ASSERT_TRUE(withdrawn) << "the service still knows client " << dead.handle;

    // Its stream was stopped with it: the next client finds the sensor idle, subscribes the same
    // configuration and starts a stream of its own.
    size_t started = 0;
    ASSERT_NO_FATAL_FAILURE(RegisterSubscribeStartClient(&started));
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(AonHalTest);
INSTANTIATE_TEST_SUITE_P(
        PerInstance, AonHalTest,
        testing::ValuesIn(android::getAidlHalInstanceNames(IAONService::descriptor)),
        android::PrintInstanceNameToString);

}  // namespace
}  // namespace aon_vts

int main(int argc, char** argv) {
    const int played = aon_vts::PrepareProcess(argc, argv);
    if (played >= 0) return played;
    testing::InitGoogleTest(&argc, argv);
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    return RUN_ALL_TESTS();
}
