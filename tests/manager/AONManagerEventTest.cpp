// Stream events on the vendor's thread: forwarded unchanged, never waiting for the manager's lock.
#include <thread>

#include "tests/manager/ManagerTest.h"

namespace aon_test {
namespace {

using host::AovCall;

class AONManagerEventTest : public ManagerTest {
  protected:
    void StartStream() {
        Subscribe(0);
        ASSERT_EQ(0, mManager->StartService(1));
    }
    aov_event* Event(int index) { return reinterpret_cast<aov_event*>(&mEventStorage[index]); }

    uint64_t mEventStorage[2] = {};
};

TEST_F(AONManagerEventTest, EventGoesUnchangedToTheLastRegisteredCallbackOnTheVendorThread) {
    Register();
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "register callback success"));
    EXPECT_EQ(-22, mManager->RegisterClient(nullptr));  // keeps the callback registered
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "register callback is null"));
    StartStream();
    std::thread vendor([this] {
        pthread_setname_np(pthread_self(), "aov_vendor");
        EXPECT_TRUE(mStream.DeliverEvent(Event(0)));
    });
    vendor.join();
    std::vector<ManagerCall> calls = mCallback->Calls();
    ASSERT_EQ(2u, calls.size());  // OnServiceStart, then the event
    EXPECT_EQ(Event(0), calls[1].event);
    EXPECT_EQ("aov_vendor", calls[1].threadName);
    EXPECT_TRUE(calls[1].managerLockFree);

    auto second = std::make_shared<FakeManagerCallback>();
    ASSERT_EQ(0, mManager->RegisterClient(second));
    ASSERT_TRUE(mStream.DeliverEvent(Event(1)));
    EXPECT_EQ(2u, mCallback->Calls().size());
    ASSERT_EQ(1u, second->Calls().size());
    EXPECT_EQ(Event(1), second->Calls()[0].event);

    // After an unregistration events are dropped silently.
    ASSERT_EQ(0, mManager->UnregisterClient());
    EXPECT_TRUE(HasLine(ANDROID_LOG_INFO, "unregister callback success"));
    mLog.clear();
    EXPECT_TRUE(mStream.DeliverEvent(Event(0)));
    EXPECT_TRUE(mLog.linesOf("AONManager").empty());
    EXPECT_EQ(1u, second->Calls().size());
}

TEST_F(AONManagerEventTest, EventMeetingHeldLockIsDroppedNotDelayed) {
    Register();
    StartStream();
    mStream.SetSensors({{0, {host::MakeSensorInfo(640, 480, 0, {30})}, 0, 0}});
    // A sensor query holds the manager's lock while the vendor answers.
    Gate gate;
    mStream.SetHook(AovCall::kGetSensorList, [&gate] { gate.Pass(); });
    auto query = std::async(std::launch::async, [this] {
        std::vector<tarvo::aon::AonSensorInfo> list;
        mManager->GetAonSensorInfoList(list);
        return list.size();
    });
    ASSERT_TRUE(gate.WaitEntered());

    auto delivery =
            std::async(std::launch::async, [this] { return mStream.DeliverEvent(Event(0)); });
    ASSERT_EQ(std::future_status::ready, delivery.wait_for(kWaitTimeout));
    EXPECT_TRUE(delivery.get());
    gate.Open();
    EXPECT_EQ(1u, query.get());
    ASSERT_TRUE(mStream.DeliverEvent(Event(1)));
    const std::vector<ManagerCall> calls = mCallback->Calls();
    ASSERT_EQ(2u, calls.size());  // OnServiceStart and the second event only
    EXPECT_EQ(Event(1), calls[1].event);
    EXPECT_EQ(1u, mLog.count("AONManager: onCallback can not get lock"));
    EXPECT_TRUE(HasLine(ANDROID_LOG_WARN, "onCallback can not get lock"));
}

}  // namespace
}  // namespace aon_test
