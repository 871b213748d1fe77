// Delivery of detector events and sensor states to the registered client.
#include <host/binder_control.h>

#include <thread>

#include "tests/callback/GatedCallback.h"
#include "tests/callback/RegistryFixture.h"

namespace aon_test {
namespace {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue;

// A face-angle event with its frame id.
AONCallBackInfo FaceEvent() {
    AONCallBackInfo info;
    info.serviceType = 2;
    info.results.resize(1);
    info.results[0].value = AONResultValue::make<AONResultValue::Tag::intValue>(77);
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
    EXPECT_EQ((SensorStates{{2, 1}}), ReceivedStates(*client.fake, 1));
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
    if (held) {
        AONCallBackInfo event = FaceEvent();
        mRegistry->OnAONEvent(event);
        sensorEvent = std::async(std::launch::async, [this] { SendState(2, 1); });
        EXPECT_EQ(std::future_status::timeout,
                  sensorEvent.wait_for(std::chrono::milliseconds(100)))
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
