// A client that calls the service back from a callback the library makes without holding its own
// lock: the sensor state the camera open worker sends. On a device binder runs that call on the
// very thread of the service that waits for the client's callback to return, as a nested
// transaction; the host binder does the same.
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>
#include <host/FakeModuleHelper.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <tuple>

#include "manager/AONManager.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/TransactionLog.h"

namespace aon_test {
namespace {

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
