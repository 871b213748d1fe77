// The client registry: admission, handles, death links and death notification, and delivery of
// detector events and sensor states to the registered client. The process-wide registry is fresh
// in every test, since each test runs in its own process.
#include <aidl/vendor/tarvo/hardware/camera/aon/IAONServiceCallBack.h>
#include <android/log.h>
#include <gtest/gtest.h>
#include <host/binder_control.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "callback/IRemoteCallbackManagerListener.h"
#include "callback/RemoteCallbackManager.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/Gate.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Named.h"

namespace aon_test {
namespace {

using tarvo::aon::RemoteCallbackManager;

// A registry listener that records each death it is told about. From inside the notification it
// asks the registry whether the dead handle is still registered, on another thread and with a
// bound: if the registry still held its mutex while calling the listener, that question could not
// be answered until the listener returned, and the bound runs out instead of the test hanging.
class FakeListener final : public tarvo::aon::IRemoteCallbackManagerListener {
  public:
    struct Death {
        long handle;
        std::shared_ptr<IAONServiceCallBack> callback;
        bool registryAnswered;  // the registry answered from inside the notification
        bool stillRegistered;   // its answer
    };

    void OnRemoteCallbackDied(long clientHandle,
                              const std::shared_ptr<IAONServiceCallBack>& callback) override {
        auto registry = RemoteCallbackManager::GetSingleton();
        std::future<bool> probe = std::async(std::launch::async, [registry, clientHandle] {
            return registry->CheckClientHandleRegistered(clientHandle);
        });
        const bool answered = probe.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
        std::lock_guard<std::mutex> lock(mMutex);
        mDeaths.push_back({clientHandle, callback, answered, answered ? probe.get() : true});
        // An unanswered probe is joined later, once the registry has let go.
        if (!answered) mPendingProbes.push_back(std::move(probe));
    }
    std::vector<Death> deaths() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mDeaths;
    }

  private:
    std::mutex mMutex;
    std::vector<Death> mDeaths;
    std::vector<std::future<bool>> mPendingProbes;
};

// The sensor states `fake` received, each checked to carry `expectedHandle`.
inline States ReceivedStates(const FakeServiceCallback& fake, long expectedHandle) {
    for (const auto& event : fake.sensorEvents()) EXPECT_EQ(expectedHandle, event.clientHandle);
    return fake.states();
}

class RemoteCallbackManagerTest : public ::testing::Test {
  protected:
    void SetUp() override { mRegistry->SetListener(&mListener); }
    void TearDown() override { mRegistry->SetListener(nullptr); }

    bool logged(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "RemoteCallbackManager", text);
    }
    // Registers `callback`, expecting `result`; returns the handle written.
    long Register(const std::shared_ptr<IAONServiceCallBack>& callback, int result = 0) {
        long handle = 0;
        EXPECT_EQ(result, mRegistry->RegisterClient(callback, &handle));
        return handle;
    }
    void SendState(int sensorId, int state) {
        AONSensorStateInfo info{sensorId, state};
        mRegistry->OnAONSensorEvent(info);
    }

    LogCapture mLog;
    FakeListener mListener;
    std::shared_ptr<RemoteCallbackManager> mRegistry = RemoteCallbackManager::GetSingleton();
};

// A client callback that forwards everything to another one, except that asBinder() passes
// `gate` first (open at the start). The registry reads a client's binder only while it holds its
// mutex (to compare, link, unlink or find a dead client), so a test that closes the gate and
// starts one of those operations knows, once the gate reports a thread entered, that the
// registry's mutex is held by that operation.
class GatedCallback final : public IAONServiceCallBack {
  public:
    explicit GatedCallback(std::shared_ptr<IAONServiceCallBack> inner) : mInner(std::move(inner)) {}

    ndk::SpAIBinder asBinder() override {
        gate.Pass();
        return mInner->asBinder();
    }
    bool isRemote() override { return mInner->isRemote(); }
    ndk::ScopedAStatus onAONEvent(int64_t handle, const AONCallBackInfo& info) override {
        return mInner->onAONEvent(handle, info);
    }
    ndk::ScopedAStatus onAONSensorEvent(int64_t handle, const AONSensorStateInfo& info) override {
        return mInner->onAONSensorEvent(handle, info);
    }
    ndk::ScopedAStatus getInterfaceVersion(int32_t* version) override {
        return mInner->getInterfaceVersion(version);
    }
    ndk::ScopedAStatus getInterfaceHash(std::string* hash) override {
        return mInner->getInterfaceHash(hash);
    }

    Gate gate{/*open=*/true};

  private:
    const std::shared_ptr<IAONServiceCallBack> mInner;
};

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
    States statesForNextClient;  // Clear forgets the remembered states, the others keep them
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
    for (const auto& [sensorId, state] : States{{5, 2}, {1, 1}, {3, 2}, {3, 0}, {9, 0}}) {
        SendState(sensorId, state);
    }
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "OnAONSensorEvent:sensorId:3, state:0"));

    RemoteCallback client = MakeRemoteCallback();
    // No ping precedes these calls: a client that fails pings receives them all the same.
    host::SetPingStatus(client.binder.get(), STATUS_FAILED_TRANSACTION);
    Register(client.proxy);
    // Read at once, without waiting: the calls were made before RegisterClient returned.
    EXPECT_EQ((States{{1, 1}, {5, 2}}), ReceivedStates(*client.fake, 1));
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

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;

// A face-angle event with its frame id.
AONCallBackInfo FaceEvent() {
    AONCallBackInfo info;
    info.serviceType = 2;
    info.results = {{0, AONResultValue::make<AONResultValue::Tag::intValue>(77)}};
    return info;
}

TEST_F(RemoteCallbackManagerTest, RecordsReachTheClientOnlyWhileItAnswersPings) {
    RemoteCallback client = MakeRemoteCallback();
    Register(client.proxy);
    AONCallBackInfo event = FaceEvent();

    // Delivered synchronously on the caller's thread, each with the client's own handle.
    mRegistry->OnAONEvent(event);
    SendState(2, 1);
    ASSERT_EQ(1u, client.fake->eventCount());
    EXPECT_EQ(1, client.fake->events()[0].clientHandle);
    EXPECT_EQ(event, client.fake->events()[0].info);
    EXPECT_EQ((States{{2, 1}}), ReceivedStates(*client.fake, 1));
    EXPECT_TRUE(logged(ANDROID_LOG_INFO, "OnAONSensorEvent:sensorId:2, state:1"));

    host::SetPingStatus(client.binder.get(), STATUS_FAILED_TRANSACTION);
    mRegistry->OnAONEvent(event);
    SendState(2, 1);
    EXPECT_EQ(1u, client.fake->eventCount());
    EXPECT_EQ(1u, client.fake->sensorEventCount());
    EXPECT_TRUE(mRegistry->CheckClientHandleRegistered(1));
}

// OnAONEvent only tries the registry's mutex and loses the event when it is busy; OnAONSensorEvent
// waits for it. A refused registration and a death both hold the mutex while reading a binder. The
// registered client is wrapped in a GatedCallback: each operation below reads the client's binder
// with the mutex held, so while the gate holds that read, the mutex is held by the operation on the
// holder thread.
class BusyRegistryTest : public RemoteCallbackManagerTest,
                         public ::testing::WithParamInterface<bool> {};

TEST_P(BusyRegistryTest, EventIsDroppedWhileSensorStateWaits) {
    RemoteCallback client = MakeRemoteCallback();
    auto gated = ndk::SharedRefBase::make<GatedCallback>(client.proxy);
    Register(gated);

    gated->gate.Close();
    const bool death = GetParam();  // or a refused registration
    std::thread holder([&] {
        if (death) return host::KillProcess(client.pid);
        long handle = 0;
        EXPECT_EQ(-2, mRegistry->RegisterClient(MakeRemoteCallback(kClientPid + 1).proxy, &handle));
    });
    const bool held = gated->gate.WaitEntered();
    std::future<void> sensorEvent;
    std::atomic<pid_t> sender{0};
    if (held) {
        AONCallBackInfo event = FaceEvent();
        mRegistry->OnAONEvent(event);
        sensorEvent = std::async(std::launch::async, [&] {
            sender = gettid();
            SendState(2, 1);
        });
        // The state is logged before the registry's mutex is taken: then the sender must sleep.
        EXPECT_TRUE(WaitUntilAsleep(sender, [&] {
            return logged(ANDROID_LOG_INFO, "OnAONSensorEvent:sensorId:2, state:1");
        }));
        EXPECT_EQ(0u, client.fake->sensorEventCount())
                << "OnAONSensorEvent did not wait for the busy registry";
    }
    gated->gate.Open();
    holder.join();
    ASSERT_TRUE(held) << "the holder never read the client's binder";
    ASSERT_EQ(std::future_status::ready, sensorEvent.wait_for(std::chrono::seconds(5)));

    EXPECT_TRUE(logged(ANDROID_LOG_WARN, "OnAONEvent try_lock failed"));
    EXPECT_EQ(0u, client.fake->eventCount());
    if (!death) {
        EXPECT_EQ(1u, client.fake->sensorEventCount());
        AONCallBackInfo event = FaceEvent();
        mRegistry->OnAONEvent(event);
        EXPECT_EQ(1u, client.fake->eventCount());
    }
}

INSTANTIATE_TEST_SUITE_P(DeathOrRegistration, BusyRegistryTest, ::testing::Bool());

}  // namespace
}  // namespace aon_test
