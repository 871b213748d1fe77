// A client that calls the service from inside a callback. The host binder, like a device's, runs
// such a call on the thread that is waiting for the client; when that thread holds the service's
// lock (the service calls clients from registerClient, startService, stopService,
// unsubscribeSensor and a replacement) the call is refused with a status and an ERROR line that
// name the cause, and the outer call ends as it would have. A call from a callback that the
// service is not making under its lock (the camera worker's states) is served.
#include <host/FakeModuleHelper.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>

#include "manager/AONManager.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/Named.h"

namespace aon_test {
namespace {

using tarvo::aon::AONService;
using Status = ndk::ScopedAStatus;

constexpr int kCameraDevice = 5;  // sensor 0

void SubscribeAndStart(AONService& service, const RemoteCallback&) {
    ASSERT_THAT(service.subscribeSensor(1, Config(0, 640, 480, 30, 0x3)), IsOk());
    ASSERT_THAT(service.startService(1, 0x3), IsOk());
}

void OpenCamera() {
    host::SetSensorIdsOfDevice(kCameraDevice, {0});
    tarvo::aon::AONManager::GetSingleton()->NotifyOpen(kCameraDevice);
}

struct NestedCall : Named {
    std::function<void(AONService&, const RemoteCallback&)> before;
    // The call during which the client is called; its states answer with `nested`.
    std::function<Status(AONService&, const RemoteCallback&)> outer;
    std::function<Status(AONService&)> nested;
    const char* refusedMethod;  // null: the nested call is served
    States states;              // all the client received
};

class NestedCallTest : public ServiceTest, public ::testing::WithParamInterface<NestedCall> {};

TEST_P(NestedCallTest, CallFromInsideACallbackNeverStallsTheService) {
    const NestedCall& c = GetParam();
    RemoteCallback client = MakeRemoteCallback();
    ASSERT_EQ(Register(client), 1);
    c.before(*mService, client);
    // Answers the first state after those received so far (a camera worker may still be on its
    // way out of the callback that delivered the last of them).
    const size_t received = client.fake->sensorEventCount();
    std::atomic<bool> armed{true};
    std::promise<Status> answered;
    client.fake->setSensorEventReaction([&](int64_t, const AONSensorStateInfo&) {
        if (client.fake->sensorEventCount() > received && armed.exchange(false)) {
            answered.set_value(c.nested(*mService));
        }
    });
    mLog.clear();

    auto outer = std::async(std::launch::async, [&] { return c.outer(*mService, client); });
    if (outer.wait_for(kTimeout) != std::future_status::ready) {
        ADD_FAILURE() << "the service is stuck in its own lock";
        std::fflush(stdout);
        std::_Exit(1);  // the outer call's thread cannot be joined
    }
    EXPECT_THAT(outer.get(), IsOk());
    auto nested = answered.get_future();
    if (nested.wait_for(kTimeout) != std::future_status::ready) {
        client.fake->setSensorEventReaction(nullptr);
        FAIL() << "the client was not called";
    }
    if (c.refusedMethod != nullptr) {
        EXPECT_THAT(nested.get(),
                    ServiceSpecificErrorIs(
                            1,
                            "nested call refused: do not call IAONService from inside its "
                            "callbacks"));
        EXPECT_TRUE(HasLine(ANDROID_LOG_ERROR,
                            std::string("nested call ") + c.refusedMethod +
                                    " refused: a client called the service from inside a "
                                    "callback the service is making to it"));
    } else {
        EXPECT_THAT(nested.get(), IsOk());
    }
    EXPECT_EQ(StatesOf(*client.fake), c.states);
    client.fake->setSensorEventReaction(nullptr);
}

INSTANTIATE_TEST_SUITE_P(
        Paths, NestedCallTest,
        ::testing::Values(
                NestedCall{{"RegisterAgainWithARememberedState"},
                           [](AONService&, const RemoteCallback& client) {
                               OpenCamera();
                               ASSERT_TRUE(client.fake->waitForSensorEvents(1, kTimeout));
                           },
                           [](AONService& service, const RemoteCallback& client) {
                               int64_t handle = 0;
                               return service.registerClient(client.proxy, kAllTypes, &handle);
                           },
                           [](AONService& service) { return service.unregisterClient(1); },
                           "unregisterClient",
                           {{0, 2}, {0, 2}}},
                NestedCall{{"Start"},
                           [](AONService& service, const RemoteCallback&) {
                               ASSERT_THAT(service.subscribeSensor(1, Config(0, 640, 480, 30, 0x3)),
                                           IsOk());
                           },
                           [](AONService& service, const RemoteCallback&) {
                               return service.startService(1, 0x3);
                           },
                           [](AONService& service) { return service.stopService(1, 0x3); },
                           "stopService",
                           {{0, 1}}},
                NestedCall{{"Stop"},
                           SubscribeAndStart,
                           [](AONService& service, const RemoteCallback&) {
                               return service.stopService(1, 0x3);
                           },
                           [](AONService& service) { return service.unsubscribeSensor(1); },
                           "unsubscribeSensor",
                           {{0, 1}, {0, 0}}},
                NestedCall{{"UnsubscribeWhileStarted"},
                           SubscribeAndStart,
                           [](AONService& service, const RemoteCallback&) {
                               return service.unsubscribeSensor(1);
                           },
                           [](AONService& service) {
                               std::vector<AONService::AONSensorInfo> sensors;
                               return service.getAonSensorInfoList(&sensors);
                           },
                           "getAonSensorInfoList",
                           {{0, 1}, {0, 0}}},
                NestedCall{{"ReplacedByANewClient"},
                           SubscribeAndStart,
                           [](AONService& service, const RemoteCallback&) {
                               int64_t handle = 0;
                               return service.registerClient(
                                       MakeRemoteCallback(kClientPid + 1).proxy, 1, &handle);
                           },
                           [](AONService& service) {
                               return service.subscribeSensor(1, Config(0, 640, 480, 30, 0x1));
                           },
                           "subscribeSensor",
                           {{0, 1}, {0, 0}}},
                NestedCall{{"CameraWorkerIsServed"},
                           SubscribeAndStart,
                           [](AONService&, const RemoteCallback&) {
                               OpenCamera();
                               return Status::ok();
                           },
                           [](AONService& service) { return service.stopService(1, 0x3); },
                           nullptr,
                           {{0, 1}, {0, 2}}}),
        CaseName());

}  // namespace
}  // namespace aon_test
