// The hand-written interface code behaves as the generated code does: version and hash, local
// objects and proxies from fromBinder, proxies that act as synchronous transactions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/IAONService.h>

#include "host/binder_control.h"
#include "tests/host/RecordingService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/StatusMatchers.h"

namespace aon_test {
namespace {

using namespace ::aidl::vendor::tarvo::hardware::camera::aon;
using ::testing::ElementsAre;

TEST(AidlInterfaceTest, VersionAndHashAnsweredLocallyAndThroughProxy) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    auto remote = MakeRemoteCallback();
    auto check = [](const auto& object, bool remote) {
        int32_t version = 0;
        std::string hash;
        ASSERT_THAT(object->getInterfaceVersion(&version), IsOk());
        ASSERT_THAT(object->getInterfaceHash(&hash), IsOk());
        EXPECT_EQ(1, version);
        EXPECT_EQ("8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2", hash);
        EXPECT_EQ(remote, object->isRemote());
    };
    check(service, false);
    check(service->RemoteProxy(), true);
    check(remote.fake, false);
    check(remote.proxy, true);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONService", IAONService::descriptor);
    EXPECT_STREQ("vendor.tarvo.hardware.camera.aon.IAONServiceCallBack",
                 IAONServiceCallBack::descriptor);
    EXPECT_EQ(IAONService::hash, IAONServiceCallBack::hash);
}

TEST(AidlInterfaceTest, FromBinderGivesTheLocalObjectWhileItsBinderLivesOrAProxy) {
    auto fake = ndk::SharedRefBase::make<FakeServiceCallback>();
    const std::weak_ptr<FakeServiceCallback> watch = fake;
    ndk::SpAIBinder binder = fake->asBinder();
    EXPECT_EQ(binder.get(), fake->asBinder().get());  // the object keeps one binder while held
    fake.reset();
    ASSERT_FALSE(watch.expired());
    EXPECT_EQ(watch.lock(), IAONServiceCallBack::fromBinder(binder));
    EXPECT_EQ(nullptr, IAONService::fromBinder(binder));  // another interface
    EXPECT_EQ(nullptr, IAONServiceCallBack::fromBinder(ndk::SpAIBinder()));

    host::SetBinderProcess(binder.get(), kClientPid);
    std::shared_ptr<IAONServiceCallBack> proxy = IAONServiceCallBack::fromBinder(binder);
    ASSERT_NE(nullptr, proxy);
    EXPECT_NE(std::static_pointer_cast<IAONServiceCallBack>(watch.lock()), proxy);
    EXPECT_EQ(binder.get(), proxy->asBinder().get());

    proxy.reset();
    binder.set(nullptr);
    EXPECT_TRUE(watch.expired());
}

TEST(AidlInterfaceTest, ProxyCallsRunOnTheCallersThreadUntilTheProcessIsKilled) {
    auto remote = MakeRemoteCallback();
    AONCallBackInfo info;
    info.serviceType = 4;
    info.results.resize(1);
    info.results[0].key = 300;
    info.results[0].value.set<AONResultValue::Tag::floatArray>(std::vector<float>{0.5f});
    ASSERT_THAT(remote.proxy->onAONEvent(1, info), IsOk());
    ASSERT_THAT(remote.proxy->onAONSensorEvent(1, AONSensorStateInfo{}), IsOk());
    ASSERT_EQ(1u, remote.fake->eventCount());
    EXPECT_EQ(info, remote.fake->events()[0].info);
    EXPECT_EQ(std::this_thread::get_id(), remote.fake->sensorEvents().at(0).thread);

    // After the kill: dead-object failures, and the object is not reached.
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

TEST(AidlInterfaceTest, ServiceProxyForwardsEachMethodToItsOwnCallAndCarriesErrors) {
    auto service = ndk::SharedRefBase::make<RecordingService>();
    std::shared_ptr<IAONService> proxy = service->RemoteProxy();
    auto remote = MakeRemoteCallback();
    const SensorConfigInfo config{2, 0, 0, 0, 0, 0, 0, 1};

    int64_t handle = 0;
    EXPECT_THAT(proxy->registerClient(remote.proxy, 15, &handle), IsOk());
    EXPECT_EQ(5, handle);
    std::vector<AONSensorInfo> infos;
    EXPECT_THAT(proxy->getAonSensorInfoList(&infos), IsOk());
    EXPECT_THAT(infos, ElementsAre(AONSensorInfo{3, 0, 0, 0, {{640, 480, {5, 10, 15}}}}));
    EXPECT_THAT(proxy->subscribeSensor(1, config), IsOk());
    EXPECT_THAT(proxy->startService(1, 4), IsOk());
    EXPECT_THAT(proxy->stopService(1, 8), IsOk());
    EXPECT_THAT(proxy->unsubscribeSensor(1), IsOk());
    EXPECT_THAT(proxy->unregisterClient(1), IsOk());

    EXPECT_THAT(service->calls,
                ElementsAre("registerClient(1, 15)", "getAonSensorInfoList()",
                            "subscribeSensor(1, " + config.toString() + ")", "startService(1, 4)",
                            "stopService(1, 8)", "unsubscribeSensor(1)", "unregisterClient(1)"));
    // The callback arrives as its binder makes it: a proxy of the same remote object.
    ASSERT_NE(nullptr, service->callback);
    EXPECT_EQ(remote.binder.get(), service->callback->asBinder().get());
    EXPECT_TRUE(service->callback->isRemote());

    // Errors come back with code and message; results stay as they were.
    service->errorCode = 1;
    handle = -7;
    EXPECT_THAT(proxy->registerClient(MakeRemoteCallback().proxy, 1, &handle),
                ServiceSpecificErrorIs(1, "aon manager is null"));
    EXPECT_EQ(-7, handle);
    infos.clear();
    EXPECT_THAT(proxy->getAonSensorInfoList(&infos),
                ServiceSpecificErrorIs(1, "aon manager is null"));
    EXPECT_TRUE(infos.empty());
    // A null callback cannot be written to the transaction: the service never sees it.
    EXPECT_EQ(STATUS_UNEXPECTED_NULL, proxy->registerClient(nullptr, 1, &handle).getStatus());
    EXPECT_EQ(9u, service->calls.size());
}

}  // namespace
}  // namespace aon_test
