// A client that calls the service back from a callback the library makes without holding its own
// lock: the sensor state the camera open worker sends. On a device binder runs that call on the
// very thread of the service that waits for the client's callback to return, as a nested
// transaction; the host binder does the same.
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BpAONService.h>
#include <host/FakeModuleHelper.h>
#include <host/binder_control.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <optional>

#include "manager/AONManager.h"
#include "tests/service/ServiceTestBase.h"
#include "tests/support/TransactionLog.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::BpAONService;
using ::aidl::vendor::tarvo::hardware::camera::aon::IAONService;

// Answers "busy" by asking the service for its sensor list, and keeps what that call returned
// and on which thread it ran.
class ListingClient final : public BnAONServiceCallBack {
  public:
    struct Answer {
        pid_t thread;
        bool ok;
        size_t sensors;
    };

    explicit ListingClient(std::shared_ptr<IAONService> service) : mService(std::move(service)) {}

    ndk::ScopedAStatus onAONEvent(int64_t, const AONCallBackInfo&) override {
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus onAONSensorEvent(int64_t, const AONSensorStateInfo& info) override {
        if (info.state != 2) return ndk::ScopedAStatus::ok();
        std::vector<AONSensorInfo> sensors;
        const bool ok = mService->getAonSensorInfoList(&sensors).isOk();
        std::lock_guard<std::mutex> guard(mLock);
        mAnswer = Answer{gettid(), ok, sensors.size()};
        mAnswered.notify_all();
        return ndk::ScopedAStatus::ok();
    }
    std::optional<Answer> WaitForAnswer(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mLock);
        mAnswered.wait_for(lock, timeout, [this] { return mAnswer.has_value(); });
        return mAnswer;
    }

  private:
    const std::shared_ptr<IAONService> mService;  // the client's proxy of the service
    std::mutex mLock;
    std::condition_variable mAnswered;
    std::optional<Answer> mAnswer;
};

using NestedCallThreadTest = ServiceTest;

TEST_F(NestedCallThreadTest, ClientAnsweringBusyWithACallRunsNestedOnTheOpenWorkersThread) {
    host::SetSensorIdsOfDevice(10, {0});
    auto client = ndk::SharedRefBase::make<ListingClient>(
            ndk::SharedRefBase::make<BpAONService>(mService->asBinder()));
    ndk::SpAIBinder binder = client->asBinder();
    host::SetBinderProcess(binder.get(), kClientPid);
    int64_t handle = 0;
    ASSERT_THAT(mService->registerClient(IAONServiceCallBack::fromBinder(binder), 0xF, &handle),
                IsOk());

    TransactionLog log;
    tarvo::aon::AONManager::GetSingleton()->NotifyOpen(10);
    const std::optional<ListingClient::Answer> answer = client->WaitForAnswer(kTimeout);
    ASSERT_TRUE(answer.has_value());
    EXPECT_TRUE(answer->ok);
    EXPECT_EQ(answer->sensors, 2u);
    EXPECT_NE(answer->thread, gettid());  // the library's worker, not the camera stack's thread

    std::vector<std::string> requests;
    for (const host::TransactionRecord& record : log.Take()) {
        if (record.reply) continue;
        EXPECT_EQ(record.thread, answer->thread) << record.method;
        requests.push_back(TransactionLog::RequestText(record));
    }
    EXPECT_THAT(requests, ElementsAre("onAONSensorEvent 0->4242 depth 1",
                                      "getAonSensorInfoList 4242->0 nested depth 2"));
    // The client goes, then the camera closes, which waits for the open worker: the last
    // references to the client, and through its proxy to the service, are dropped here rather
    // than on the worker.
    EXPECT_THAT(mService->unregisterClient(handle), IsOk());
    tarvo::aon::AONManager::GetSingleton()->NotifyClose(10);
}

}  // namespace
}  // namespace aon_test
