// Shared set-up of the service suites: the real service, registry, manager and event translation
// over the host binder and the fake vendor stream, scripted with
//   sensor 0: 640x480 @ {10, 15, 30}, 320x240 @ {15}, 320x480 @ {15}
//   sensor 1: 320x240 @ {15}
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/FakeAovStream.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "service/AONService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {

using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using tarvo::aon::AONService;

constexpr std::chrono::milliseconds kTimeout{2000};
constexpr int32_t kAllTypes = 0xF;

SensorConfigInfo Config(int32_t sensorId, int32_t width, int32_t height, int32_t fps,
                        int32_t serviceType, int32_t deliveryMode = 1);

// A stream call reduced to what the service front decides: init with its parameters, uninit,
// notifySensorState with its sensors.
struct StreamCall {
    host::AovCall call = host::AovCall::kInit;
    int32_t sensorId = 0;
    int32_t width = 0;
    int32_t height = 0;
    int32_t fps = 0;
    int32_t requestedFps = 0;
    int32_t serviceType = 0;
    std::vector<int32_t> sensorIds;
    int32_t opened = 0;
    bool operator==(const StreamCall& other) const;
};
std::ostream& operator<<(std::ostream& out, const StreamCall& call);
StreamCall Init(int32_t sensorId, int32_t width, int32_t height, int32_t fps, int32_t serviceType,
                int32_t requestedFps = 0);
StreamCall Uninit();
StreamCall Notify(std::vector<int32_t> sensorIds, int32_t opened);

class ServiceTest : public ::testing::Test {
  protected:
    void SetUp() override;

    // Registers a client in a simulated process of its own; returns its handle.
    int64_t Register(const RemoteCallback& client, int32_t serviceType = kAllTypes);
    // The init, uninit and notifySensorState calls the stream received, in order.
    std::vector<StreamCall> StreamCalls() const;
    // The sensor states a client received, as {sensorId, state}.
    static std::vector<std::pair<int32_t, int32_t>> States(const FakeServiceCallback& client);

    LogCapture mLog;  // first, so that it sees the service being built
    host::FakeAovStream& mStream = host::FakeAovStream::Get();
    std::shared_ptr<AONService> mService;
};

}  // namespace aon_test
