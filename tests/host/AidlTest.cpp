// The hand-written interface code behaves as the generated code does: version and hash, local
// objects and proxies from fromBinder, proxies that act as synchronous transactions, the union.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResultValue.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/BnAONService.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

#include "host/binder_control.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/StatusMatchers.h"

namespace {

using namespace ::aidl::vendor::tarvo::hardware::camera::aon;
using aon_test::ExceptionIs;
using aon_test::FakeServiceCallback;
using aon_test::IsOk;
using aon_test::MakeRemoteCallback;
using aon_test::ServiceSpecificErrorIs;
using ::testing::ElementsAre;

constexpr char kHash[] = "8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2";
constexpr int kServicePid = 77;

// A service that records each call it gets as text and answers with a preset status.
class RecordingService final : public BnAONService {
  public:
    ndk::ScopedAStatus registerClient(const std::shared_ptr<IAONServiceCallBack>& in_callback,
                                      int32_t in_serviceType, int64_t* _aidl_return) override {
        record("registerClient(" + std::to_string(in_callback != nullptr) + ", " +
               std::to_string(in_serviceType) + ")");
        mCallback = in_callback;
        *_aidl_return = 5;
        return answer();
    }
    ndk::ScopedAStatus getAonSensorInfoList(std::vector<AONSensorInfo>* _aidl_return) override {
        record("getAonSensorInfoList()");
        AONSensorInfo info;
        info.sensorId = 3;
        _aidl_return->push_back(info);
        return answer();
    }
    ndk::ScopedAStatus subscribeSensor(int64_t in_clientHandle,
                                       const SensorConfigInfo& in_config) override {
        record("subscribeSensor(" + std::to_string(in_clientHandle) + ", " +
               in_config.toString() + ")");
        return answer();
    }
    ndk::ScopedAStatus startService(int64_t in_clientHandle, int32_t in_serviceType) override {
        record("startService(" + std::to_string(in_clientHandle) + ", " +
               std::to_string(in_serviceType) + ")");
        return answer();
    }
    ndk::ScopedAStatus stopService(int64_t in_clientHandle, int32_t in_serviceType) override {
        record("stopService(" + std::to_string(in_clientHandle) + ", " +
               std::to_string(in_serviceType) + ")");
        return answer();
    }
    ndk::ScopedAStatus unsubscribeSensor(int64_t in_clientHandle) override {
        record("unsubscribeSensor(" + std::to_string(in_clientHandle) + ")");
        return answer();
    }
    ndk::ScopedAStatus unregisterClient(int64_t in_clientHandle) override {
        record("unregisterClient(" + std::to_string(in_clientHandle) + ")");
        return answer();
    }

    std::vector<std::string> calls() const { return mCalls; }
    std::shared_ptr<IAONServiceCallBack> callback() const { return mCallback; }
    void failWith(int32_t code, const char* message) {
        mErrorCode = code;
        mErrorMessage = message;
    }

  private:
    void record(std::string call) { mCalls.push_back(std::move(call)); }
    ndk::ScopedAStatus answer() const {
        if (mErrorCode == 0) return ndk::ScopedAStatus::ok();
        return ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(mErrorCode,
                                                                       mErrorMessage.c_str());
    }

    std::vector<std::string> mCalls;
    std::shared_ptr<IAONServiceCallBack> mCallback;
    int32_t mErrorCode = 0;
    std::string mErrorMessage;
};

// Remembers where the record it was called with lives.
class AddressRecordingCallback final : public BnAONServiceCallBack {
  public:
    ndk::ScopedAStatus onAONEvent(int64_t, const AONCallBackInfo& in_info) override {
        mSeen = &in_info;
        return ndk::ScopedAStatus::ok();
    }
    ndk::ScopedAStatus onAONSensorEvent(int64_t, const AONSensorStateInfo&) override {
        return ndk::ScopedAStatus::ok();
    }
    const void* mSeen = nullptr;
};

std::shared_ptr<IAONService> RemoteServiceProxy(const std::shared_ptr<RecordingService>& service) {
    ndk::SpAIBinder binder = service->asBinder();
    host::SetBinderProcess(binder.get(), kServicePid);
    return IAONService::fromBinder(binder);
}

TEST(AidlInterfaceTest, VersionAndHashAnsweredLocallyAndThroughProxy) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    auto remote = MakeRemoteCallback();
    const std::vector<std::shared_ptr<ndk::ICInterface>> objects = {
            service, RemoteServiceProxy(service), remote.fake, remote.proxy};
    for (size_t i = 0; i < objects.size(); ++i) {
        SCOPED_TRACE("object " + std::to_string(i));
        int32_t version = 0;
        std::string hash;
        if (auto s = std::dynamic_pointer_cast<IAONService>(objects[i])) {
            ASSERT_THAT(s->getInterfaceVersion(&version), IsOk());
            ASSERT_THAT(s->getInterfaceHash(&hash), IsOk());
        } else {
            auto c = std::dynamic_pointer_cast<IAONServiceCallBack>(objects[i]);
            ASSERT_NE(nullptr, c);
            ASSERT_THAT(c->getInterfaceVersion(&version), IsOk());
            ASSERT_THAT(c->getInterfaceHash(&hash), IsOk());
        }
        EXPECT_EQ(1, version);
        EXPECT_EQ(kHash, hash);
        EXPECT_EQ(i % 2 == 1, objects[i]->isRemote());
    }
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONService", IAONService::descriptor);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONServiceCallBack",
                 IAONServiceCallBack::descriptor);
    EXPECT_EQ(IAONService::hash, IAONServiceCallBack::hash);
}

TEST(AidlInterfaceTest, FromBinderGivesTheLocalObjectOrAProxyOfTheSameBinder) {
    auto fake = ndk::SharedRefBase::make<FakeServiceCallback>();
    ndk::SpAIBinder binder = fake->asBinder();
    EXPECT_EQ(fake, IAONServiceCallBack::fromBinder(binder));
    EXPECT_EQ(nullptr, IAONService::fromBinder(binder));  // another interface
    EXPECT_EQ(nullptr, IAONServiceCallBack::fromBinder(ndk::SpAIBinder()));

    host::SetBinderProcess(binder.get(), aon_test::kClientPid);
    std::shared_ptr<IAONServiceCallBack> proxy = IAONServiceCallBack::fromBinder(binder);
    ASSERT_NE(nullptr, proxy);
    EXPECT_NE(std::static_pointer_cast<IAONServiceCallBack>(fake), proxy);
    EXPECT_EQ(binder.get(), proxy->asBinder().get());
    EXPECT_EQ(binder.get(), fake->asBinder().get());  // the object keeps one binder while held
}

TEST(AidlInterfaceTest, LocalObjectLivesAsLongAsItsBinder) {
    auto fake = ndk::SharedRefBase::make<FakeServiceCallback>();
    const std::weak_ptr<FakeServiceCallback> watch = fake;
    ndk::SpAIBinder binder = fake->asBinder();
    fake.reset();
    ASSERT_FALSE(watch.expired());
    EXPECT_EQ(watch.lock(), IAONServiceCallBack::fromBinder(binder));

    binder.set(nullptr);
    EXPECT_TRUE(watch.expired());
}

TEST(AidlInterfaceTest, ProxyCallsAfterKillReturnDeadObjectWithoutReachingTheObject) {
    auto remote = MakeRemoteCallback();
    AONCallBackInfo info;
    info.serviceType = 4;
    info.results.resize(1);
    info.results[0].key = 300;
    info.results[0].value.set<AONResultValue::Tag::floatArray>(std::vector<float>{0.5f});
    ASSERT_THAT(remote.proxy->onAONEvent(1, info), IsOk());
    ASSERT_THAT(remote.proxy->onAONSensorEvent(1, AONSensorStateInfo{}), IsOk());
    ASSERT_EQ(1u, remote.fake->events().size());
    EXPECT_EQ(info, remote.fake->events()[0].info);

    host::KillProcess(remote.pid);

    for (const ndk::ScopedAStatus& status :
         {remote.proxy->onAONEvent(1, info), remote.proxy->onAONSensorEvent(1, {})}) {
        EXPECT_THAT(status, ExceptionIs(EX_TRANSACTION_FAILED));
        EXPECT_EQ(STATUS_DEAD_OBJECT, status.getStatus());
    }
    int32_t version = 0;
    EXPECT_EQ(STATUS_DEAD_OBJECT, remote.proxy->getInterfaceVersion(&version).getStatus());
    EXPECT_EQ(0, version);
    EXPECT_EQ(1u, remote.fake->eventCount());
    EXPECT_EQ(1u, remote.fake->sensorEventCount());
}

TEST(AidlInterfaceTest, ProxyHandsTheCalleeItsOwnCopyAndRunsOnTheCallersThread) {
    auto callee = ndk::SharedRefBase::make<AddressRecordingCallback>();
    ndk::SpAIBinder binder = callee->asBinder();
    host::SetBinderProcess(binder.get(), aon_test::kClientPid);
    const AONCallBackInfo info;
    ASSERT_THAT(IAONServiceCallBack::fromBinder(binder)->onAONEvent(1, info), IsOk());
    EXPECT_NE(nullptr, callee->mSeen);
    EXPECT_NE(static_cast<const void*>(&info), callee->mSeen);

    auto remote = MakeRemoteCallback();
    ASSERT_THAT(remote.proxy->onAONSensorEvent(1, {}), IsOk());
    EXPECT_EQ(std::this_thread::get_id(), remote.fake->sensorEvents().at(0).thread);
}

TEST(AidlInterfaceTest, ServiceProxyForwardsEachMethodToItsOwnCall) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    std::shared_ptr<IAONService> proxy = RemoteServiceProxy(service);
    auto remote = MakeRemoteCallback();
    SensorConfigInfo config;
    config.sensorId = 2;
    config.deliveryMode = 1;

    int64_t handle = 0;
    EXPECT_THAT(proxy->registerClient(remote.proxy, 15, &handle), IsOk());
    EXPECT_EQ(5, handle);
    std::vector<AONSensorInfo> infos;
    EXPECT_THAT(proxy->getAonSensorInfoList(&infos), IsOk());
    ASSERT_EQ(1u, infos.size());
    EXPECT_EQ(3, infos[0].sensorId);
    EXPECT_THAT(proxy->subscribeSensor(1, config), IsOk());
    EXPECT_THAT(proxy->startService(1, 4), IsOk());
    EXPECT_THAT(proxy->stopService(1, 8), IsOk());
    EXPECT_THAT(proxy->unsubscribeSensor(1), IsOk());
    EXPECT_THAT(proxy->unregisterClient(1), IsOk());

    EXPECT_THAT(service->calls(),
                ElementsAre("registerClient(1, 15)", "getAonSensorInfoList()",
                            "subscribeSensor(1, " + config.toString() + ")", "startService(1, 4)",
                            "stopService(1, 8)", "unsubscribeSensor(1)", "unregisterClient(1)"));
    // The callback arrives as its binder makes it: a proxy of the same remote object.
    ASSERT_NE(nullptr, service->callback());
    EXPECT_EQ(remote.binder.get(), service->callback()->asBinder().get());
    EXPECT_TRUE(service->callback()->isRemote());
}

TEST(AidlInterfaceTest, ServiceProxyCarriesErrorsAndKeepsResultsOnFailure) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    std::shared_ptr<IAONService> proxy = RemoteServiceProxy(service);
    service->failWith(1, "aon manager is null");

    int64_t handle = -7;
    EXPECT_THAT(proxy->registerClient(MakeRemoteCallback().proxy, 1, &handle),
                ServiceSpecificErrorIs(1, "aon manager is null"));
    EXPECT_EQ(-7, handle);
    std::vector<AONSensorInfo> infos;
    EXPECT_THAT(proxy->getAonSensorInfoList(&infos), ServiceSpecificErrorIs(1));
    EXPECT_TRUE(infos.empty());

    // A null callback cannot be written to the transaction: the service never sees it.
    const ndk::ScopedAStatus status = proxy->registerClient(nullptr, 1, &handle);
    EXPECT_EQ(STATUS_UNEXPECTED_NULL, status.getStatus());
    EXPECT_EQ(2u, service->calls().size());
}

TEST(AidlUnionTest, TagsFollowDeclarationOrderAndDefaultIsByteZero) {
    using Tag = AONResultValue::Tag;
    const std::vector<std::pair<AONResultValue, Tag>> values = {
            {AONResultValue::make<Tag::byteValue>(int8_t{1}), Tag::byteValue},
            {AONResultValue::make<Tag::byteArray>(std::vector<uint8_t>{1}), Tag::byteArray},
            {AONResultValue::make<Tag::intValue>(1), Tag::intValue},
            {AONResultValue::make<Tag::intArray>(std::vector<int32_t>{1}), Tag::intArray},
            {AONResultValue::make<Tag::stringValue>("1"), Tag::stringValue},
            {AONResultValue::make<Tag::floatValue>(1.0f), Tag::floatValue},
            {AONResultValue::make<Tag::floatArray>(std::vector<float>{1}), Tag::floatArray},
            {AONResultValue::make<Tag::doubleValue>(1.0), Tag::doubleValue},
            {AONResultValue::make<Tag::doubleArray>(std::vector<double>{1}), Tag::doubleArray},
            {AONResultValue::make<Tag::booleanValue>(true), Tag::booleanValue},
    };
    for (size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(static_cast<int32_t>(i), static_cast<int32_t>(values[i].second));
        EXPECT_EQ(values[i].second, values[i].first.getTag());
    }

    AONResultValue value;
    EXPECT_EQ(Tag::byteValue, value.getTag());
    EXPECT_EQ(0, value.get<Tag::byteValue>());
    value.set<Tag::intValue>(9);
    EXPECT_EQ(Tag::intValue, value.getTag());
    EXPECT_EQ(9, value.get<Tag::intValue>());
}

}  // namespace
