// The host binder's transactions as a device's binder makes them: every proxy call and its reply
// sized as their parcels, each process's buffer shared by the transactions in flight to it and
// refusing what does not fit, replies charged to the caller, calls into a process that waits on
// the thread's stack recognised as nested.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONService.h>

#include "host/binder_control.h"
#include "host/binder_parcel.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/Gate.h"
#include "tests/support/StatusMatchers.h"
#include "tests/support/TransactionLog.h"

namespace aon_test {
namespace {

using namespace ::aidl::vendor::tarvo::hardware::camera::aon;
using Tag = AONResultValue::Tag;
using ndk::ScopedAStatus;

constexpr int kServicePid = 77;

// A service in process kServicePid that records the methods it runs and answers every call with
// service-specific error `errorCode` ("aon manager is null"), or ok when it is 0.
class RecordingService final : public BnAONService {
  public:
    ScopedAStatus registerClient(const std::shared_ptr<IAONServiceCallBack>&, int32_t,
                                 int64_t* handle) override {
        *handle = 5;
        return Answer("registerClient");
    }
    ScopedAStatus getAonSensorInfoList(std::vector<AONSensorInfo>* sensors) override {
        sensors->push_back({3, 0, 0, 0, {{640, 480, {5, 10, 15}}}});
        return Answer("getAonSensorInfoList");
    }
    ScopedAStatus subscribeSensor(int64_t, const SensorConfigInfo&) override {
        return Answer("subscribeSensor");
    }
    ScopedAStatus startService(int64_t, int32_t) override { return Answer("startService"); }
    ScopedAStatus stopService(int64_t, int32_t) override { return Answer("stopService"); }
    ScopedAStatus unsubscribeSensor(int64_t) override { return Answer("unsubscribeSensor"); }
    ScopedAStatus unregisterClient(int64_t) override { return Answer("unregisterClient"); }

    std::shared_ptr<IAONService> RemoteProxy() {
        const ndk::SpAIBinder binder = asBinder();
        host::SetBinderProcess(binder.get(), kServicePid);
        return IAONService::fromBinder(binder);
    }
    std::vector<std::string> calls;
    int32_t errorCode = 0;

  private:
    ScopedAStatus Answer(const char* call) {
        calls.push_back(call);
        return errorCode == 0 ? ScopedAStatus::ok()
                              : ScopedAStatus::fromServiceSpecificErrorWithMessage(
                                        errorCode, "aon manager is null");
    }
};

template <Tag tag, typename T>
AONResult Result(int32_t key, T value) {
    return {key, AONResultValue::make<tag>(std::move(value))};
}
AONResult Int(int32_t key, int32_t value) {
    return Result<Tag::intValue>(key, value);
}
AONResult Bytes(int32_t key, size_t count) {
    return Result<Tag::byteArray>(key, std::vector<uint8_t>(count));
}
AONResult Floats(int32_t key, size_t count) {
    return Result<Tag::floatArray>(key, std::vector<float>(count));
}
AONCallBackInfo Event(std::vector<AONResult> results) {
    return {0xF, std::move(results)};
}
// An event of one image: its request is 172 bytes plus the image rounded up to 4.
AONCallBackInfo ImageEvent(size_t bytes) {
    return Event({Bytes(703, bytes)});
}

TEST(TransactionSizeTest, ProxiesChargeEachRequestAndReplyAsItsParcel) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    const std::shared_ptr<IAONService> proxy = service->RemoteProxy();
    const RemoteCallback client = MakeRemoteCallback();
    // Every key the library writes, small arrays (bytes padded to 4), and the union's other
    // members: a double, and 4 UTF-16 units in 9 UTF-8 bytes.
    const AONCallBackInfo everyKey =
            Event({Result<Tag::doubleValue>(5, 0.5),
                   Result<Tag::stringValue>(6, std::string("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80")),
                   Result<Tag::floatValue>(100, 1.5f), Int(101, 1), Int(102, 20), Floats(103, 20),
                   Floats(200, 14), Floats(300, 3), Bytes(400, 10), Int(700, 2), Int(701, 2),
                   Int(702, 2), Bytes(703, 6), Int(0, 1), Int(1, 2), Int(2, 2)});
    int64_t handle = 0;
    std::vector<AONSensorInfo> sensors;
    std::string hash;
    const struct {
        std::function<ScopedAStatus()> call;
        int targetPid;
        size_t data, charge, reply;
    } cases[] = {
            {[&] { return proxy->registerClient(client.proxy, 1, &handle); }, kServicePid, 140, 152,
             12},
            {[&] { return proxy->getAonSensorInfoList(&sensors); }, kServicePid, 108, 112, 68},
            {[&] { return proxy->getInterfaceHash(&hash); }, kServicePid, 108, 112, 92},
            {[&] {  // an exception: its message, an empty stack-trace header, the code
                 service->errorCode = 1;
                 return proxy->stopService(1, 4);
             },
             kServicePid, 120, 120, 56},
            {[&] { return client.proxy->onAONEvent(1, everyKey); }, kClientPid, 716, 720, 4},
    };
    TransactionLog observed;
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        (void)cases[i].call();
        const std::vector<host::TransactionRecord> records = observed.Take();
        ASSERT_EQ(records.size(), 2u);
        EXPECT_FALSE(records[0].reply);
        EXPECT_EQ(records[0].callerPid, 0);
        EXPECT_EQ(records[0].targetPid, cases[i].targetPid);
        EXPECT_EQ(records[0].dataBytes, cases[i].data);
        EXPECT_EQ(records[0].charge, cases[i].charge);
        EXPECT_EQ(records[0].status, STATUS_OK);
        EXPECT_TRUE(records[1].reply);
        EXPECT_EQ(records[1].dataBytes, cases[i].reply);
    }
}

TEST(BinderBufferTest, AnEventFillingTheBufferExactlyFitsAndOneByteMoreIsRefused) {
    const RemoteCallback client = MakeRemoteCallback();
    TransactionLog observed;
    size_t received = 0;
    for (const auto& [imageBytes, fits] :
         {std::pair{1040209, true}, std::pair{1040212, true}, std::pair{1040213, false}}) {
        SCOPED_TRACE(imageBytes);
        const ScopedAStatus status = client.proxy->onAONEvent(1, ImageEvent(imageBytes));
        const host::TransactionRecord request = observed.Take().at(0);
        EXPECT_EQ(request.free, host::kBinderBufferBytes);
        EXPECT_EQ(request.charge, host::kBinderBufferBytes + (fits ? 0 : 8));
        EXPECT_EQ(status.getStatus(), fits ? STATUS_OK : STATUS_FAILED_TRANSACTION);
        EXPECT_EQ(request.status, status.getStatus());
        received += fits ? 1 : 0;
        EXPECT_EQ(client.fake->eventCount(), received);  // a refused event never arrives
        EXPECT_EQ(host::BinderBufferInUse(kClientPid), 0u);
    }
    EXPECT_EQ(host::FailedTransactionCount(), 1u);
}

TEST(BinderBufferTest, TransactionsInFlightShareTheBufferAndRepliesGoToTheCallers) {
    const RemoteCallback client = MakeRemoteCallback();
    const std::shared_ptr<IAONServiceCallBack>& proxy = client.proxy;
    auto service = ndk::SharedRefBase::make<RecordingService>();
    const std::shared_ptr<IAONService> serviceProxy = service->RemoteProxy();
    Gate gate;
    client.fake->setEventReaction([&] { gate.Pass(); });
    const AONCallBackInfo large = ImageEvent(600000);
    auto first = std::async(std::launch::async, [&] { return proxy->onAONEvent(1, large); });
    ASSERT_TRUE(gate.WaitEntered());
    EXPECT_EQ(host::BinderBufferInUse(kClientPid), 600176u);
    EXPECT_EQ(proxy->onAONEvent(1, large).getStatus(), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(client.fake->eventCount(), 1u);
    EXPECT_THAT(proxy->onAONSensorEvent(1, {0, 2}), IsOk());  // the rest is free for others
    gate.Open();
    ASSERT_EQ(first.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_THAT(first.get(), IsOk());
    EXPECT_EQ(host::BinderBufferInUse(kClientPid), 0u);

    // An event that takes the client's whole buffer stays in flight: a reply to the client then
    // fails although the service ran.
    Gate full;
    client.fake->setEventReaction([&] { full.Pass(); });
    auto filling = std::async(std::launch::async,
                              [&] { return proxy->onAONEvent(1, ImageEvent(1040212)); });
    ASSERT_TRUE(full.WaitEntered());
    TransactionLog observed;
    {
        const host::ScopedCallingProcess asClient(kClientPid);
        EXPECT_EQ(serviceProxy->startService(1, 4).getStatus(), STATUS_FAILED_TRANSACTION);
    }
    EXPECT_THAT(service->calls, ::testing::ElementsAre("startService"));
    const std::vector<host::TransactionRecord> records = observed.Take();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].status, STATUS_OK);
    EXPECT_TRUE(records[1].reply);
    EXPECT_EQ(records[1].free, 0u);
    EXPECT_EQ(records[1].status, STATUS_FAILED_TRANSACTION);
    full.Open();
    ASSERT_EQ(filling.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_THAT(filling.get(), IsOk());
}

TEST(NestedTransactionTest, OnlyACallIntoAProcessWaitingOnTheStackIsNested) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    const std::shared_ptr<IAONService> serviceProxy = service->RemoteProxy();
    const RemoteCallback client = MakeRemoteCallback();
    const RemoteCallback other = MakeRemoteCallback(kClientPid + 1);
    std::vector<host::TransactionRecord> inside;
    std::vector<host::ThreadTransactions> inFlight;
    client.fake->setSensorEventReaction([&](int64_t, const AONSensorStateInfo&) {
        inside = host::CurrentTransactions();
        inFlight = host::TransactionsInFlight();
        (void)serviceProxy->startService(1, 4);          // back into the service: nested
        (void)other.proxy->onAONSensorEvent(1, {0, 2});  // to a third process: not nested
    });
    TransactionLog observed;
    {
        const host::ScopedCallingProcess asService(kServicePid);
        ASSERT_THAT(client.proxy->onAONSensorEvent(1, {0, 2}), IsOk());
    }
    std::vector<std::string> requests;
    for (const host::TransactionRecord& record : observed.Take()) {
        EXPECT_EQ(record.thread, gettid());  // all on the calling thread
        if (!record.reply) requests.push_back(TransactionLog::RequestText(record));
    }
    EXPECT_THAT(requests, ::testing::ElementsAre("onAONSensorEvent 77->4242 depth 1",
                                                 "startService 4242->77 nested depth 2",
                                                 "onAONSensorEvent 4242->4243 depth 2"));
    ASSERT_EQ(inside.size(), 1u);
    ASSERT_EQ(inFlight.size(), 1u);
    EXPECT_EQ(inFlight[0].thread, gettid());
    EXPECT_TRUE(host::CurrentTransactions().empty());
    EXPECT_TRUE(host::TransactionsInFlight().empty());
    EXPECT_EQ(other.fake->sensorEventCount(), 1u);
}

}  // namespace
}  // namespace aon_test
