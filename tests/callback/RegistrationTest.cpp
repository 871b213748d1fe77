// Admission, handles, death links and death notification of the client registry.
#include <host/binder_control.h>

#include <utility>

#include "tests/callback/RegistryFixture.h"
#include "tests/support/Named.h"

namespace aon_test {
namespace {

TEST_F(RemoteCallbackManagerTest, NullCallbackIsRefusedAndUnknownHandleOrDeathIgnored) {
    long handle = 42;
    EXPECT_EQ(-1, mRegistry->RegisterClient(nullptr, &handle));
    EXPECT_EQ(42, handle);
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "RegisterClient failed: callback is null"));

    RemoteCallback client = MakeRemoteCallback();
    EXPECT_EQ(1, Register(client.proxy));
    EXPECT_EQ(0, mRegistry->UnregisterClient(7));
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "clientHandle 7 not register"));
    EXPECT_FALSE(mRegistry->CheckClientHandleRegistered(7));

    // A death of a binder that is not the client's changes nothing and is not passed on.
    mRegistry->OnRemoteCallbackDied(MakeRemoteCallback(kClientPid + 1).binder.get());
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "can not find the died callback"));
    EXPECT_TRUE(mListener.deaths().empty());
    EXPECT_TRUE(mRegistry->CheckClientHandleRegistered(1));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(client.binder.get()));
}

// The one-client rule: whichever way the first client leaves, a second one that was refused with
// -2 (and *handle set to the count, 1) is then admitted with handle 1 again. Only a death is told
// to the listener: once, after the client is forgotten, with the registry's mutex released.
struct Departure : Named {
    int how;  // 0: Clear, 1: UnregisterClient, 2: the client's process dies
    int priority;
    const char* line;
    SensorStates statesForNextClient;  // Clear forgets the remembered states, the others keep them
    size_t deaths;
};

class ClientDepartureTest : public RemoteCallbackManagerTest,
                            public ::testing::WithParamInterface<Departure> {};

TEST_P(ClientDepartureTest, SecondClientIsRefusedUntilTheFirstLeaves) {
    RemoteCallback first = MakeRemoteCallback(kClientPid);
    RemoteCallback second = MakeRemoteCallback(kClientPid + 1);
    EXPECT_EQ(1, Register(first.proxy));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO,
                       "RegisterClient callback-> callbackInterfaceHash:"
                       "8d0c8f312ebf7c4e6a50ebba9432d2bde93c09c2, callbackVersionCode:1"));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "RegisterClient success -> client count:1"));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "RegisterClient success -> notify sensor state"));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(first.binder.get()));
    SendState(4, 2);

    EXPECT_EQ(1, Register(second.proxy, -2));
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "this only one client, already has other client:1"));
    EXPECT_EQ(0u, host::LinkedDeathRecipientCount(second.binder.get()));
    EXPECT_EQ(0u, second.fake->sensorEventCount());

    if (GetParam().how == 0) mRegistry->Clear();
    EXPECT_EQ(0, GetParam().how == 1 ? mRegistry->UnregisterClient(1) : 0);
    if (GetParam().how == 2) host::KillProcess(first.pid);  // returns once the death is handled
    EXPECT_TRUE(logged(GetParam().priority, GetParam().line));
    EXPECT_FALSE(mRegistry->CheckClientHandleRegistered(1));
    EXPECT_EQ(0u, host::LinkedDeathRecipientCount(first.binder.get()));
    const std::vector<FakeListener::Death> deaths = mListener.deaths();
    ASSERT_EQ(GetParam().deaths, deaths.size());
    for (const FakeListener::Death& death : deaths) {
        EXPECT_EQ(1, death.handle);
        EXPECT_TRUE(tarvo::aon::isCallbackEqual(first.proxy, death.callback));
        EXPECT_TRUE(death.registryAnswered) << "the listener was called with the mutex held";
        EXPECT_FALSE(death.stillRegistered);
    }

    EXPECT_EQ(1, Register(second.proxy));
    EXPECT_EQ(GetParam().statesForNextClient, ReceivedStates(*second.fake, 1));
}

INSTANTIATE_TEST_SUITE_P(
        Departures, ClientDepartureTest,
        ::testing::Values(
                Departure{"Clear", 0, ANDROID_LOG_INFO, "RemoteCallbackManager clear", {}, 0},
                Departure{"Unregister", 1, ANDROID_LOG_INFO, "unregister client:1", {{4, 2}}, 0},
                Departure{"Death",
                          2,
                          ANDROID_LOG_WARN,
                          "unregister client for remote callback died:1",
                          {{4, 2}},
                          1}),
        ::testing::PrintToStringParamName());

TEST_F(RemoteCallbackManagerTest, SameRemoteObjectTwiceKeepsOneEntryAndRenewsItsDeathLink) {
    RemoteCallback client = MakeRemoteCallback();
    const std::shared_ptr<IAONServiceCallBack> secondProxy =
            IAONServiceCallBack::fromBinder(client.binder);
    ASSERT_NE(secondProxy, client.proxy);
    ASSERT_TRUE(tarvo::aon::isCallbackEqual(secondProxy, client.proxy));

    Register(client.proxy);
    EXPECT_EQ(1, Register(secondProxy));
    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "callback has already register, client:1"));
    EXPECT_FALSE(logged(ANDROID_LOG_WARN, "fail to unlink IAONServiceCallBack to death"));
    EXPECT_EQ(1u, host::LinkedDeathRecipientCount(client.binder.get()));
    // The count stayed 1: another client is refused with it.
    EXPECT_EQ(1, Register(MakeRemoteCallback(kClientPid + 1).proxy, -2));
}

// The registry may hold a client's last reference: it is dropped after the mutex is released (the
// callback's destructor may reach the registry), asked here from the destructor with a bound.
TEST_F(RemoteCallbackManagerTest, LocalCallbackIsRegisteredAlthoughItCannotBeLinkedToDeath) {
    auto local = ndk::SharedRefBase::make<FakeServiceCallback>();
    std::future<bool> probe;
    bool answered = false;
    local->onDestroyed = [&] {
        probe = std::async(std::launch::async,
                           [this] { return mRegistry->CheckClientHandleRegistered(1); });
        answered = probe.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
    };
    EXPECT_EQ(1, Register(local));
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "Fail to link IAONServiceCallBack to death"));
    EXPECT_TRUE(mRegistry->CheckClientHandleRegistered(1));

    local.reset();
    EXPECT_EQ(0, mRegistry->UnregisterClient(1));
    EXPECT_TRUE(logged(ANDROID_LOG_ERROR, "Failed to unlink IAONServiceCallBack to death, code:" +
                                                  std::to_string(STATUS_NAME_NOT_FOUND) + ","));
    EXPECT_TRUE(answered) << "the client's last reference was dropped with the mutex held";
    EXPECT_FALSE(probe.get());
}

TEST_F(RemoteCallbackManagerTest, RememberedSensorStatesReachANewClientBeforeRegisterReturns) {
    for (const auto& [sensorId, state] : SensorStates{{5, 2}, {1, 1}, {3, 2}, {3, 0}, {9, 0}}) {
        SendState(sensorId, state);
    }
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "OnAONSensorEvent:sensorId:3, state:0"));

    RemoteCallback client = MakeRemoteCallback();
    // No ping precedes these calls: a client that fails pings receives them all the same.
    host::SetPingStatus(client.binder.get(), STATUS_FAILED_TRANSACTION);
    Register(client.proxy);
    // Read at once, without waiting: the calls were made before RegisterClient returned.
    EXPECT_EQ((SensorStates{{1, 1}, {5, 2}}), ReceivedStates(*client.fake, 1));
}

// The listener is replaced, without the registry's mutex, while a death is being told: the death
// reaches one of the two listeners, once. Under ThreadSanitizer this is the race on the pointer.
TEST_F(RemoteCallbackManagerTest, ListenerReplacedDuringADeathIsToldOnce) {
    FakeListener next;
    RemoteCallback client = MakeRemoteCallback();
    EXPECT_EQ(1, Register(client.proxy));
    auto replace = std::async(std::launch::async, [&] { mRegistry->SetListener(&next); });
    host::KillProcess(client.pid);
    replace.get();
    EXPECT_EQ(1u, mListener.deaths().size() + next.deaths().size());
    mRegistry->SetListener(nullptr);
}

}  // namespace
}  // namespace aon_test
