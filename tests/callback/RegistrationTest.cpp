// Admission, handles, death links and death notification of the client registry.
#include <android/binder_interface_utils.h>
#include <android/binder_status.h>
#include <host/binder_control.h>

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/callback/RegistryFixture.h"

namespace aon_test {
namespace {

using tarvo::aon::RemoteCallbackManager;
using SensorStates = std::vector<std::pair<int, int>>;

constexpr char kHelloLine[] =
        "RegisterClient callback-> callbackInterfaceHash:8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2, "
        "callbackVersionCode:1";

SensorStates ReceivedStates(const FakeServiceCallback& fake, long expectedHandle) {
    SensorStates states;
    for (const auto& event : fake.sensorEvents()) {
        EXPECT_EQ(expectedHandle, event.clientHandle);
        states.emplace_back(event.info.sensorId, event.info.state);
    }
    return states;
}

TEST_F(RemoteCallbackManagerTest, NullCallbackIsRefusedAndUnknownHandleIgnored) {
    long handle = 42;
    EXPECT_EQ(-1, mRegistry->RegisterClient(nullptr, &handle));
    EXPECT_EQ(42, handle);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "RegisterClient failed: callback is null"));

    EXPECT_EQ(0, mRegistry->UnregisterClient(7));
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "clientHandle 7 not register"));
    EXPECT_FALSE(mRegistry->CheckClientHandleRegistered(7));
}

// The one-client rule: whichever way the first client leaves, a second one that was refused with
// -2 (and *handle set to the count, 1) is then admitted with handle 1 again.
struct Departure {
    const char* name;
    std::function<void(RemoteCallbackManager&, const RemoteCallback&)> leave;
    int priority;
    const char* line;
    SensorStates statesForNextClient;  // Clear forgets the remembered states, the others keep them
};

void PrintTo(const Departure& departure, std::ostream* out) {
    *out << departure.name;
}

class ClientDepartureTest : public RemoteCallbackManagerTest,
                            public ::testing::WithParamInterface<Departure> {};

TEST_P(ClientDepartureTest, SecondClientIsRefusedUntilTheFirstLeaves) {
    RemoteCallback first = MakeRemoteCallback(kClientPid);
    RemoteCallback second = MakeRemoteCallback(kClientPid + 1);
    long handle = 0;
    ASSERT_EQ(0, mRegistry->RegisterClient(first.proxy, &handle));
    EXPECT_EQ(1, handle);
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, kHelloLine));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "RegisterClient success -> client count:1"));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "RegisterClient success -> notify sensor state"));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(first.binder.get()));
    AONSensorStateInfo busy = SensorState(4, 2);
    mRegistry->OnAONSensorEvent(busy);

    handle = 0;
    EXPECT_EQ(-2, mRegistry->RegisterClient(second.proxy, &handle));
    EXPECT_EQ(1, handle);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "this only one client, already has other client:1"));
    EXPECT_EQ(0u, host::LinkedDeathRecipientCount(second.binder.get()));
    EXPECT_EQ(0u, second.fake->sensorEventCount());

    GetParam().leave(*mRegistry, first);
    EXPECT_TRUE(logged(GetParam().priority, GetParam().line));
    EXPECT_FALSE(mRegistry->CheckClientHandleRegistered(1));
    EXPECT_EQ(0u, host::LinkedDeathRecipientCount(first.binder.get()));

    handle = 0;
    EXPECT_EQ(0, mRegistry->RegisterClient(second.proxy, &handle));
    EXPECT_EQ(1, handle);
    EXPECT_EQ(GetParam().statesForNextClient, ReceivedStates(*second.fake, 1));
}

INSTANTIATE_TEST_SUITE_P(
        Departures, ClientDepartureTest,
        ::testing::Values(
                Departure{"Clear",
                          [](RemoteCallbackManager& registry, const RemoteCallback&) {
                              registry.Clear();
                          },
                          ANDROID_LOG_INFO, "RemoteCallbackManager clear", {}},
                Departure{"Unregister",
                          [](RemoteCallbackManager& registry, const RemoteCallback&) {
                              EXPECT_EQ(0, registry.UnregisterClient(1));
                          },
                          ANDROID_LOG_INFO, "unregister client:1", {{4, 2}}},
                Departure{"Death",
                          [](RemoteCallbackManager&, const RemoteCallback& client) {
                              host::KillProcess(client.pid);
                          },
                          ANDROID_LOG_WARN, "unregister client for remote callback died:1",
                          {{4, 2}}}),
        [](const auto& info) { return std::string(info.param.name); });

TEST_F(RemoteCallbackManagerTest, SameRemoteObjectTwiceKeepsOneEntryAndRenewsItsDeathLink) {
    RemoteCallback client = MakeRemoteCallback();
    const std::shared_ptr<IAONServiceCallBack> secondProxy =
            IAONServiceCallBack::fromBinder(client.binder);
    ASSERT_NE(secondProxy, client.proxy);
    ASSERT_TRUE(tarvo::aon::isCallbackEqual(secondProxy, client.proxy));

    long handle = 0;
    ASSERT_EQ(0, mRegistry->RegisterClient(client.proxy, &handle));
    handle = 0;
    EXPECT_EQ(0, mRegistry->RegisterClient(secondProxy, &handle));
    EXPECT_EQ(1, handle);
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "callback has already register, client:1"));
    EXPECT_FALSE(logged(ANDROID_LOG_WARN, "fail to unlink IAONServiceCallBack to death"));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(client.binder.get()));

    // The count stayed 1: another client is refused with it.
    RemoteCallback other = MakeRemoteCallback(kClientPid + 1);
    EXPECT_EQ(-2, mRegistry->RegisterClient(other.proxy, &handle));
    EXPECT_EQ(1, handle);
}

TEST_F(RemoteCallbackManagerTest, LocalCallbackIsRegisteredAlthoughItCannotBeLinkedToDeath) {
    auto local = ndk::SharedRefBase::make<FakeServiceCallback>();
    long handle = 0;
    EXPECT_EQ(0, mRegistry->RegisterClient(local, &handle));
    EXPECT_EQ(1, handle);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "Fail to link IAONServiceCallBack to death"));
    EXPECT_TRUE(mRegistry->CheckClientHandleRegistered(1));

    EXPECT_EQ(0, mRegistry->UnregisterClient(1));
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "Failed to unlink IAONServiceCallBack to death, code:" +
                                                  std::to_string(STATUS_NAME_NOT_FOUND) + ","));
    EXPECT_FALSE(mRegistry->CheckClientHandleRegistered(1));
}

TEST_F(RemoteCallbackManagerTest, RememberedSensorStatesReachANewClientBeforeRegisterReturns) {
    for (const auto& [sensorId, state] : SensorStates{{5, 2}, {1, 1}, {3, 2}, {3, 0}, {9, 0}}) {
        AONSensorStateInfo info = SensorState(sensorId, state);
        mRegistry->OnAONSensorEvent(info);
    }
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "OnAONSensorEvent:sensorId:3, state:0"));

    RemoteCallback client = MakeRemoteCallback();
    // No ping precedes these calls: a client that fails pings receives them all the same.
    host::SetPingStatus(client.binder.get(), STATUS_FAILED_TRANSACTION);
    long handle = 0;
    ASSERT_EQ(0, mRegistry->RegisterClient(client.proxy, &handle));
    // Read at once, without waiting: the calls were made before RegisterClient returned.
    EXPECT_EQ((SensorStates{{1, 1}, {5, 2}}), ReceivedStates(*client.fake, 1));
}

TEST_F(RemoteCallbackManagerTest, KilledClientIsForgottenBeforeTheListenerIsToldOnce) {
    RemoteCallback client = MakeRemoteCallback();
    long handle = 0;
    ASSERT_EQ(0, mRegistry->RegisterClient(client.proxy, &handle));

    host::KillProcess(client.pid);
    ASSERT_TRUE(mListener.waitForDeaths(1));
    const std::vector<FakeListener::Death> deaths = mListener.deaths();
    ASSERT_EQ(1u, deaths.size());
    EXPECT_EQ(1, deaths[0].handle);
    EXPECT_TRUE(tarvo::aon::isCallbackEqual(client.proxy, deaths[0].callback));
    EXPECT_TRUE(deaths[0].registryAnswered) << "the listener was called with mMutex held";
    EXPECT_FALSE(deaths[0].stillRegistered);
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "unregister client for remote callback died:1"));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "unregister client:1"));

    // A death nobody is registered for changes nothing and is not passed on.
    mRegistry->OnRemoteCallbackDied(client.binder.get());
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "can not find the died callback"));
    EXPECT_EQ(1u, mListener.deaths().size());
}

}  // namespace
}  // namespace aon_test
