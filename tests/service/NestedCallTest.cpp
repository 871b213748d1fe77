// A client that calls the service from inside a callback. The host binder, like a device's, runs
// such a call on the thread that is waiting for the client; when that thread holds the service's
// lock (the service calls clients from registerClient, startService, stopService,
// unsubscribeSensor and a replacement) the call is refused with a status and an ERROR line that
// name the cause, and the outer call ends as it would have. A call from a callback that the
// service is not making under its lock (the camera worker's states) is served, on the thread that
// waits for the client: on a device binder runs it on the very thread of the service that waits
// for the client's callback to return, as a nested transaction; the host binder does the same.
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>
#include <host/FakeModuleHelper.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <string>
#include <tuple>

#include "manager/AONManager.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/Named.h"
#include "tests/support/TransactionLog.h"

namespace aon_test {
namespace {

using tarvo::aon::AONService;
using Status = ndk::ScopedAStatus;

struct NestedCall : Named {
    int setUp;           // 0: the camera holds the sensor, 1: subscribed, 2: subscribed and started
    const char* outer;   // the call during which the client is called
    const char* nested;  // the client's answer to its states, refused
    States states;  // all the client received
};

class NestedCallTest : public ServiceTest, public ::testing::WithParamInterface<NestedCall> {};

TEST_P(NestedCallTest, CallFromInsideACallbackNeverStallsTheService) {
    const NestedCall& c = GetParam();
    RemoteCallback client = MakeRemoteCallback();
    ASSERT_EQ(Register(client), 1);
    if (c.setUp == 0) {
        host::SetSensorIdsOfDevice(5, {0});  // the camera takes sensor 0
        tarvo::aon::AONManager::GetSingleton()->NotifyOpen(5);
        ASSERT_TRUE(client.fake->waitForSensorEvents(1, kTimeout));
    }
    const char* const setUp[] = {"subscribeSensor", "startService"};
    for (int step = 0; step < c.setUp; ++step) ASSERT_THAT(Call(*mService, setUp[step]), IsOk());
    // Answers the first state after those received so far (a camera worker may still be on its
    // way out of the callback that delivered the last of them).
    const size_t received = client.fake->sensorEventCount();
    std::atomic<bool> armed{true};
    std::promise<Status> answered;
    client.fake->setSensorEventReaction([&](int64_t, const AONSensorStateInfo&) {
        if (client.fake->sensorEventCount() > received && armed.exchange(false)) {
            answered.set_value(Call(*mService, c.nested));
        }
    });
    mLog.clear();

    auto outer = std::async(std::launch::async, [&] {
        return Call(*mService, c.outer,
                    std::string(c.outer) == "registerClient" ? client.proxy : nullptr);
    });
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
    EXPECT_THAT(
            nested.get(),
            ServiceSpecificErrorIs(
                    1, "nested call refused: do not call IAONService from inside its callbacks"));
    EXPECT_TRUE(
            HasLine(ANDROID_LOG_ERROR, std::string("nested call ") + c.nested +
                                               " refused: a client called the service from "
                                               "inside a callback the service is making to it"));
    EXPECT_EQ(client.fake->states(), c.states);
    client.fake->setSensorEventReaction(nullptr);
}

INSTANTIATE_TEST_SUITE_P(
        Paths, NestedCallTest,
        ::testing::Values(
                NestedCall{{"Register"}, 0, "registerClient", "unregisterClient", {{0, 2}, {0, 2}}},
                NestedCall{{"Start"}, 1, "startService", "stopService", {{0, 1}}},
                NestedCall{{"Stop"}, 2, "stopService", "unsubscribeSensor", {{0, 1}, {0, 0}}},
                NestedCall{{"Unsubscribe"},
                           2,
                           "unsubscribeSensor",
                           "getAonSensorInfoList",
                           {{0, 1}, {0, 0}}},
                NestedCall{{"Replaced"}, 2, "replaceClient", "subscribeSensor", {{0, 1}, {0, 0}}}),
        ::testing::PrintToStringParamName());

using NestedCallThreadTest = ServiceTest;

TEST_F(NestedCallThreadTest, ClientAnsweringBusyWithACallRunsNestedOnTheOpenWorkersThread) {
    host::SetSensorIdsOfDevice(10, {0});
    auto service =
            ndk::SharedRefBase::make<::aidl::vendor::tarvo::hardware::camera::aon::BpAONService>(
                    mService->asBinder());
    RemoteCallback client = MakeRemoteCallback();
    // Answers "busy" by asking for the sensor list: the thread it ran on, the status, the count.
    std::promise<std::tuple<pid_t, bool, size_t>> answer;
    std::atomic<bool> answered{false};
    client.fake->setSensorEventReaction([&](int64_t, const AONSensorStateInfo& info) {
        if (info.state != 2 || answered.exchange(true)) return;
        std::vector<tarvo::aon::AONService::AONSensorInfo> sensors;
        const bool ok = service->getAonSensorInfoList(&sensors).isOk();
        answer.set_value({gettid(), ok, sensors.size()});
    });
    ASSERT_EQ(Register(client), 1);

    TransactionLog log;
    tarvo::aon::AONManager::GetSingleton()->NotifyOpen(10);
    auto future = answer.get_future();
    ASSERT_EQ(future.wait_for(kTimeout), std::future_status::ready);
    const auto [thread, ok, sensors] = future.get();
    EXPECT_TRUE(ok);
    EXPECT_EQ(sensors, 2u);
    EXPECT_NE(thread, gettid());  // the library's worker, not the camera stack's thread

    std::vector<std::string> requests;
    for (const host::TransactionRecord& record : log.Take()) {
        if (record.reply) continue;
        EXPECT_EQ(record.thread, thread) << record.method;
        requests.push_back(TransactionLog::RequestText(record));
    }
    EXPECT_THAT(requests, ElementsAre("onAONSensorEvent 0->4242 depth 1",
                                      "getAonSensorInfoList 4242->0 nested depth 2"));
    // The client goes, then the camera closes, which waits for the open worker: the last
    // references to the client, and through it to the service, are dropped here, not on the worker.
    EXPECT_THAT(mService->unregisterClient(1), IsOk());
    tarvo::aon::AONManager::GetSingleton()->NotifyClose(10);
    client.fake->setSensorEventReaction(nullptr);
}

}  // namespace
}  // namespace aon_test
