#include "tests/service/ServiceTestBase.h"

#include <android/binder_interface_utils.h>

#include <ostream>
#include <tuple>
#include <utility>

#include "tests/support/StatusMatchers.h"

namespace aon_test {

SensorConfigInfo Config(int32_t sensorId, int32_t width, int32_t height, int32_t fps,
                        int32_t serviceType, int32_t deliveryMode) {
    SensorConfigInfo config;
    config.sensorId = sensorId;
    config.frameWidth = width;
    config.frameHeight = height;
    config.fps = fps;
    config.serviceType = serviceType;
    config.deliveryMode = deliveryMode;
    return config;
}

bool StreamCall::operator==(const StreamCall& other) const {
    return std::tie(call, sensorId, width, height, fps, requestedFps, serviceType, sensorIds,
                    opened) == std::tie(other.call, other.sensorId, other.width, other.height,
                                        other.fps, other.requestedFps, other.serviceType,
                                        other.sensorIds, other.opened);
}

std::ostream& operator<<(std::ostream& out, const StreamCall& call) {
    switch (call.call) {
        case host::AovCall::kInit:
            return out << "init{sensor " << call.sensorId << ", " << call.width << "x"
                       << call.height << " @" << call.fps << " (asked " << call.requestedFps
                       << "), types " << call.serviceType << "}";
        case host::AovCall::kUninit:
            return out << "uninit";
        case host::AovCall::kNotifySensorState: {
            out << "notifySensorState{";
            for (int32_t id : call.sensorIds) out << id << ",";
            return out << " opened " << call.opened << "}";
        }
        default:
            return out << "call " << static_cast<int>(call.call);
    }
}

StreamCall Init(int32_t sensorId, int32_t width, int32_t height, int32_t fps, int32_t serviceType,
                int32_t requestedFps) {
    StreamCall call;
    call.call = host::AovCall::kInit;
    call.sensorId = sensorId;
    call.width = width;
    call.height = height;
    call.fps = fps;
    call.requestedFps = requestedFps;
    call.serviceType = serviceType;
    return call;
}

StreamCall Uninit() {
    StreamCall call;
    call.call = host::AovCall::kUninit;
    return call;
}

StreamCall Notify(std::vector<int32_t> sensorIds, int32_t opened) {
    StreamCall call;
    call.call = host::AovCall::kNotifySensorState;
    call.sensorIds = std::move(sensorIds);
    call.opened = opened;
    return call;
}

void ServiceTest::SetUp() {
    host::FakeSensor sensor0;
    sensor0.id = 0;
    sensor0.infos = {host::MakeSensorInfo(640, 480, 5, {10, 15, 30}),
                     host::MakeSensorInfo(320, 240, 6, {15}),
                     host::MakeSensorInfo(320, 480, 7, {15})};
    host::FakeSensor sensor1;
    sensor1.id = 1;
    sensor1.infos = {host::MakeSensorInfo(320, 240, 9, {15})};
    mStream.SetSensors({sensor0, sensor1});
    mService = ndk::SharedRefBase::make<AONService>();
}

int64_t ServiceTest::Register(const RemoteCallback& client, int32_t serviceType) {
    int64_t handle = 0;
    EXPECT_THAT(mService->registerClient(client.proxy, serviceType, &handle), IsOk());
    return handle;
}

std::vector<StreamCall> ServiceTest::StreamCalls() const {
    std::vector<StreamCall> calls;
    for (const host::AovCallRecord& record : mStream.Calls()) {
        switch (record.call) {
            case host::AovCall::kInit:
                calls.push_back(Init(record.param.sensorId, record.param.width,
                                     record.param.height, record.param.fps,
                                     record.param.serviceType, record.param.requestedFps));
                break;
            case host::AovCall::kUninit:
                calls.push_back(Uninit());
                break;
            case host::AovCall::kNotifySensorState:
                calls.push_back(Notify(record.sensorIds, record.opened));
                break;
            default:
                break;
        }
    }
    return calls;
}

std::vector<std::pair<int32_t, int32_t>> ServiceTest::States(const FakeServiceCallback& client) {
    std::vector<std::pair<int32_t, int32_t>> states;
    for (const auto& event : client.sensorEvents()) {
        states.emplace_back(event.info.sensorId, event.info.state);
    }
    return states;
}

}  // namespace aon_test
