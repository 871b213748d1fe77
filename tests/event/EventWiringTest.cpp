// End to end on the frame path: a stream event handed to the manager reaches the registered
// client as one record, and state changes reach it as sensor states.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "callback/RemoteCallbackManager.h"
#include "event/AONManagerCallback.h"
#include "host/EventBuilder.h"
#include "manager/AONManager.h"
#include "tests/event/FakeOutEventCallback.h"
#include "tests/support/FakeServiceCallback.h"

namespace {

using namespace tarvo::aon;
using aon_test::KeysOf;
using host::EventBuilder;
using host::ImageBlock;
using Tag = ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;

constexpr std::chrono::seconds kTimeout{5};

TEST(EventWiringTest, ManagerEventReachesTheClientAsOneRecord) {
    auto registry = RemoteCallbackManager::GetSingleton();
    auto callback = AONManagerCallback::create(registry);
    ASSERT_EQ(AONManager::GetSingleton()->RegisterClient(callback), 0);
    aon_test::RemoteCallback client = aon_test::MakeRemoteCallback();
    long handle = 0;
    ASSERT_EQ(registry->RegisterClient(client.proxy, &handle), 0);

    EventBuilder builder;
    builder.frame(42, 640, 480).serviceType(0xF).fullApuOutputSize();
    builder.imagePattern(ImageBlock::kImage, 640, 480, 42);
    AONManager::GetSingleton()->onCallback(builder.event());
    callback->OnSensorBusy(3);

    ASSERT_TRUE(client.fake->waitForEvents(1, kTimeout));
    ASSERT_TRUE(client.fake->waitForSensorEvents(1, kTimeout));
    const auto events = client.fake->events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].clientHandle, handle);
    EXPECT_EQ(events[0].info.serviceType, 0xF);
    EXPECT_EQ(
            KeysOf(events[0].info.results),
            (std::vector<int32_t>{100, 101, 102, 103, 200, 300, 400, 700, 701, 702, 703, 0, 1, 2}));
    const std::vector<uint8_t>& image = events[0].info.results[10].value.get<Tag::byteArray>();
    ASSERT_EQ(image.size(), 460800u);
    EXPECT_EQ(memcmp(image.data(), builder.imageData(ImageBlock::kImage), image.size()), 0);
    EXPECT_EQ(events[0].info.results[11].value.get<Tag::intValue>(), 42);

    const auto states = client.fake->sensorEvents();
    ASSERT_EQ(states.size(), 1u);
    EXPECT_EQ(states[0].info.sensorId, 3);
    EXPECT_EQ(states[0].info.state, 2);
}

}  // namespace
