// The host binder's transactions as a device's binder makes them: every proxy call and its reply
// sized as their parcels, each process's buffer shared by the transactions in flight to it and
// refusing what does not fit, replies charged to the caller, and calls into a process that waits
// on the thread's stack recognised as nested.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONServiceCallBack.h>

#include "host/binder_control.h"
#include "host/binder_parcel.h"
#include "tests/host/RecordingService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/Gate.h"
#include "tests/support/StatusMatchers.h"
#include "tests/support/TransactionLog.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;
using ::aidl::vendor::tarvo::hardware::camera::aon::BnAONServiceCallBack;
using ::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo;
using Tag = AONResultValue::Tag;
namespace wire = ::aidl::vendor::tarvo::hardware::camera::aon::internal;

constexpr auto kBound = std::chrono::seconds(5);

// A client whose callbacks run the test's hooks.
class ScriptedClient final : public BnAONServiceCallBack {
  public:
    ndk::ScopedAStatus onAONEvent(int64_t, const AONCallBackInfo&) override {
        ++events;
        onEvent();
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus onAONSensorEvent(int64_t, const AONSensorStateInfo&) override {
        onSensorEvent();
        return ndk::ScopedAStatus::ok();
    }
    // The proxy a process other than `pid` has for this client, placed in `pid`.
    std::shared_ptr<IAONServiceCallBack> Proxy(int pid) {
        ndk::SpAIBinder binder = asBinder();
        host::SetBinderProcess(binder.get(), pid);
        return IAONServiceCallBack::fromBinder(binder);
    }

    std::function<void()> onEvent = [] {};
    std::function<void()> onSensorEvent = [] {};
    std::atomic<int> events{0};
};

AONResult Int(int32_t key, int32_t value) {
    return {key, AONResultValue::make<Tag::intValue>(value)};
}
AONResult Bytes(int32_t key, size_t count) {
    return {key, AONResultValue::make<Tag::byteArray>(std::vector<uint8_t>(count))};
}
AONResult Floats(int32_t key, size_t count) {
    return {key, AONResultValue::make<Tag::floatArray>(std::vector<float>(count))};
}
AONCallBackInfo Event(std::vector<AONResult> results) {
    AONCallBackInfo info;
    info.serviceType = 0xF;
    info.results = std::move(results);
    return info;
}
// An event of one image: its request is 172 bytes plus the image rounded up to 4.
AONCallBackInfo ImageEvent(size_t bytes) {
    return Event({Bytes(703, bytes)});
}

TEST(TransactionSizeTest, RecordsAndUnionMembersTakeTheirParcelSize) {
    const FrameInfo frame{640, 480, {5, 10, 15}};
    const struct {
        const char* what;
        size_t bytes;
        size_t expected;
    } cases[] = {
            {"byteValue",
             wire::ParcelSize(AONResult{0, AONResultValue::make<Tag::byteValue>(int8_t{-1})}), 24},
            {"booleanValue",
             wire::ParcelSize(AONResult{0, AONResultValue::make<Tag::booleanValue>(true)}), 24},
            {"doubleValue",
             wire::ParcelSize(AONResult{0, AONResultValue::make<Tag::doubleValue>(0.5)}), 28},
            {"byteArray of 3, padded", wire::ParcelSize(Bytes(0, 3)), 28},
            {"intArray of 2",
             wire::ParcelSize(
                     AONResult{0, AONResultValue::make<Tag::intArray>(std::vector<int32_t>{1, 2})}),
             32},
            {"doubleArray of 2",
             wire::ParcelSize(AONResult{
                     0, AONResultValue::make<Tag::doubleArray>(std::vector<double>{1, 2})}),
             40},
            {"empty string",
             wire::ParcelSize(AONResult{0, AONResultValue::make<Tag::stringValue>("")}), 28},
            {"string of 4 UTF-16 units in 9 UTF-8 bytes",
             wire::ParcelSize(AONResult{0, AONResultValue::make<Tag::stringValue>(
                                                   "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80")}),
             36},
            {"FrameInfo with 3 rates", wire::ParcelSize(frame), 32},
            {"AONSensorInfo with that size", wire::ParcelSize(AONSensorInfo{0, 0, 0, 0, {frame}}),
             60},
    };
    for (const auto& c : cases) EXPECT_EQ(c.bytes, c.expected) << c.what;
}

TEST(TransactionSizeTest, ProxiesChargeEachRequestAndReplyAsItsParcel) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    const std::shared_ptr<IAONService> proxy = service->RemoteProxy();
    const RemoteCallback client = MakeRemoteCallback();
    const AONCallBackInfo threeInts = Event({Int(0, 1), Int(1, 640), Int(2, 480)});
    AONCallBackInfo withImage = threeInts;
    withImage.results.push_back(Bytes(703, 460800));
    // Every key the library writes, with small arrays.
    const AONCallBackInfo everyKey = Event({{100, AONResultValue::make<Tag::floatValue>(1.5f)},
                                            Int(101, 1),
                                            Int(102, 20),
                                            Floats(103, 20),
                                            Floats(200, 14),
                                            Floats(300, 3),
                                            Bytes(400, 10),
                                            Int(700, 2),
                                            Int(701, 2),
                                            Int(702, 2),
                                            Bytes(703, 6),
                                            Int(0, 1),
                                            Int(1, 2),
                                            Int(2, 2)});
    int64_t handle = 0;
    std::vector<AONSensorInfo> sensors;
    std::string hash;
    const struct {
        const char* call;
        std::function<ndk::ScopedAStatus()> make;
        int targetPid;
        size_t data, charge, reply;
    } cases[] = {
            {"registerClient", [&] { return proxy->registerClient(client.proxy, 1, &handle); },
             kServicePid, 140, 152, 12},
            {"getAonSensorInfoList", [&] { return proxy->getAonSensorInfoList(&sensors); },
             kServicePid, 108, 112, 68},
            {"subscribeSensor", [&] { return proxy->subscribeSensor(1, SensorConfigInfo{}); },
             kServicePid, 156, 160, 4},
            {"startService", [&] { return proxy->startService(1, 4); }, kServicePid, 120, 120, 4},
            {"unregisterClient", [&] { return proxy->unregisterClient(1); }, kServicePid, 116, 120,
             4},
            {"getInterfaceHash", [&] { return proxy->getInterfaceHash(&hash); }, kServicePid, 108,
             112, 92},
            {"stopService failing with \"aon manager is null\"",
             [&] {
                 service->errorCode = 1;
                 return proxy->stopService(1, 4);
             },
             kServicePid, 120, 120, 56},
            {"onAONEvent, three int results",
             [&] { return client.proxy->onAONEvent(1, threeInts); }, kClientPid, 220, 224, 4},
            {"onAONEvent, the same and a 460800-byte image",
             [&] { return client.proxy->onAONEvent(1, withImage); }, kClientPid, 461044, 461048, 4},
            {"onAONEvent, no results", [&] { return client.proxy->onAONEvent(1, Event({})); },
             kClientPid, 148, 152, 4},
            {"onAONEvent, every key", [&] { return client.proxy->onAONEvent(1, everyKey); },
             kClientPid, 652, 656, 4},
            {"onAONSensorEvent",
             [&] {
                 return client.proxy->onAONSensorEvent(1, {0, 2});
             },
             kClientPid, 148, 152, 4},
    };
    TransactionLog observed;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.call);
        (void)c.make();
        const std::vector<host::TransactionRecord> records = observed.Take();
        ASSERT_EQ(records.size(), 2u);
        const host::TransactionRecord& request = records[0];
        EXPECT_FALSE(request.reply);
        EXPECT_EQ(request.callerPid, 0);
        EXPECT_EQ(request.targetPid, c.targetPid);
        EXPECT_EQ(request.dataBytes, c.data);
        EXPECT_EQ(request.charge, c.charge);
        EXPECT_EQ(request.status, STATUS_OK);
        EXPECT_TRUE(records[1].reply);
        EXPECT_EQ(records[1].dataBytes, c.reply);
    }
}

TEST(BinderBufferTest, AnEventFillingTheBufferExactlyFitsAndOneByteMoreIsRefused) {
    const RemoteCallback client = MakeRemoteCallback();
    const struct {
        size_t imageBytes;
        bool fits;
    } cases[] = {{1040209, true}, {1040212, true}, {1040213, false}};
    TransactionLog observed;
    size_t received = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.imageBytes);
        const ndk::ScopedAStatus status = client.proxy->onAONEvent(1, ImageEvent(c.imageBytes));
        const host::TransactionRecord request = observed.Take().at(0);
        EXPECT_EQ(request.free, host::kBinderBufferBytes);
        if (c.fits) {
            EXPECT_THAT(status, IsOk());
            EXPECT_EQ(request.charge, host::kBinderBufferBytes);
            ++received;
        } else {
            EXPECT_EQ(status.getStatus(), STATUS_FAILED_TRANSACTION) << status.getDescription();
            EXPECT_EQ(request.status, STATUS_FAILED_TRANSACTION);
            EXPECT_EQ(request.charge, host::kBinderBufferBytes + 8);
        }
        EXPECT_EQ(client.fake->eventCount(), received);  // a refused event never arrives
        EXPECT_EQ(host::BinderBufferInUse(kClientPid), 0u);
    }
    EXPECT_EQ(host::FailedTransactionCount(), 1u);
}

TEST(BinderBufferTest, TransactionsInFlightToAProcessShareItsBuffer) {
    auto client = ndk::SharedRefBase::make<ScriptedClient>();
    const std::shared_ptr<IAONServiceCallBack> proxy = client->Proxy(kClientPid);
    Gate gate;
    client->onEvent = [&] { gate.Pass(); };
    const AONCallBackInfo large = ImageEvent(600000);
    auto first = std::async(std::launch::async, [&] { return proxy->onAONEvent(1, large); });
    ASSERT_TRUE(gate.WaitEntered());
    EXPECT_EQ(host::BinderBufferInUse(kClientPid), 600176u);

    EXPECT_EQ(proxy->onAONEvent(1, large).getStatus(), STATUS_FAILED_TRANSACTION);
    EXPECT_EQ(client->events, 1);
    EXPECT_THAT(proxy->onAONSensorEvent(1, {0, 2}), IsOk());  // the rest is free for others

    gate.Open();
    ASSERT_EQ(first.wait_for(kBound), std::future_status::ready);
    EXPECT_THAT(first.get(), IsOk());
    EXPECT_EQ(host::BinderBufferInUse(kClientPid), 0u);
    EXPECT_THAT(proxy->onAONEvent(1, large), IsOk());
    EXPECT_EQ(client->events, 2);
}

TEST(BinderBufferTest, AReplyGoesToTheCallersBufferAfterTheCalleeRan) {
    auto client = ndk::SharedRefBase::make<ScriptedClient>();
    const std::shared_ptr<IAONServiceCallBack> clientProxy = client->Proxy(kClientPid);
    auto service = ndk::SharedRefBase::make<RecordingService>();
    const std::shared_ptr<IAONService> serviceProxy = service->RemoteProxy();
    Gate gate;
    client->onEvent = [&] { gate.Pass(); };
    // An event that takes the client's whole buffer stays in flight.
    auto filling = std::async(std::launch::async,
                              [&] { return clientProxy->onAONEvent(1, ImageEvent(1040212)); });
    ASSERT_TRUE(gate.WaitEntered());

    TransactionLog observed;
    {
        const host::ScopedCallingProcess asClient(kClientPid);
        EXPECT_EQ(serviceProxy->startService(1, 4).getStatus(), STATUS_FAILED_TRANSACTION);
    }
    EXPECT_THAT(service->calls, ::testing::ElementsAre("startService(1, 4)"));
    const std::vector<host::TransactionRecord> records = observed.Take();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[0].status, STATUS_OK);
    EXPECT_TRUE(records[1].reply);
    EXPECT_EQ(records[1].free, 0u);
    EXPECT_EQ(records[1].status, STATUS_FAILED_TRANSACTION);

    gate.Open();
    ASSERT_EQ(filling.wait_for(kBound), std::future_status::ready);
    EXPECT_THAT(filling.get(), IsOk());
}

TEST(NestedTransactionTest, OnlyACallIntoAProcessWaitingOnTheStackIsNested) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    const std::shared_ptr<IAONService> serviceProxy = service->RemoteProxy();
    auto client = ndk::SharedRefBase::make<ScriptedClient>();
    const std::shared_ptr<IAONServiceCallBack> clientProxy = client->Proxy(kClientPid);
    const RemoteCallback other = MakeRemoteCallback(kClientPid + 1);
    std::vector<host::TransactionRecord> inside;
    std::vector<host::ThreadTransactions> inFlight;
    client->onSensorEvent = [&] {
        inside = host::CurrentTransactions();
        inFlight = host::TransactionsInFlight();
        (void)serviceProxy->startService(1, 4);          // back into the service: nested
        (void)other.proxy->onAONSensorEvent(1, {0, 2});  // to a third process: not nested
    };

    TransactionLog observed;
    {
        const host::ScopedCallingProcess asService(kServicePid);
        ASSERT_THAT(clientProxy->onAONSensorEvent(1, {0, 2}), IsOk());
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
    EXPECT_EQ(inside[0].targetPid, kClientPid);
    ASSERT_EQ(inFlight.size(), 1u);
    EXPECT_EQ(inFlight[0].thread, gettid());
    EXPECT_TRUE(host::CurrentTransactions().empty());
    EXPECT_TRUE(host::TransactionsInFlight().empty());
    EXPECT_EQ(other.fake->sensorEventCount(), 1u);
}

}  // namespace
}  // namespace aon_test
