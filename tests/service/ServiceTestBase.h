// Shared set-up of the service suites: the real service, registry, manager and event translation
// over the host binder and the fake vendor stream, scripted with
//   sensor 0: 640x480 @ {10, 15, 30}, 320x240 @ {15}, 320x480 @ {15}
//   sensor 1: 320x240 @ {15}
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <host/FakeAovStream.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/AONService.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StatusMatchers.h"

namespace aon_test {

using ::aidl::vendor::tarvo::hardware::camera::aon::SensorConfigInfo;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::chrono::milliseconds kTimeout{2000};
constexpr int32_t kAllTypes = 0xF;

inline SensorConfigInfo Config(int32_t sensorId, int32_t width, int32_t height, int32_t fps,
                               int32_t serviceType, int32_t deliveryMode = 1) {
    return {sensorId, width, height, fps, 0, 0, serviceType, deliveryMode};
}

// A stream init as StreamCalls() writes it: sensor, size, rate, asked rate and types.
inline std::string Init(int32_t sensorId, int32_t width, int32_t height, int32_t fps,
                        int32_t serviceType, int32_t requestedFps = 0) {
    return "init " + std::to_string(sensorId) + " " + std::to_string(width) + "x" +
           std::to_string(height) + "@" + std::to_string(fps) + "/" +
           std::to_string(requestedFps) + " t" + std::to_string(serviceType);
}

// A binder method by name, for `handle`: "registerClient" registers `client`, "replaceClient" a
// new client.
inline ndk::ScopedAStatus Call(tarvo::aon::AONService& service, const std::string& method,
                               std::shared_ptr<IAONServiceCallBack> client = nullptr,
                               int64_t handle = 1) {
    std::vector<tarvo::aon::AONService::AONSensorInfo> sensors;
    if (method == "registerClient" || method == "replaceClient") {
        return service.registerClient(client ? client : MakeRemoteCallback(kClientPid + 1).proxy,
                                      kAllTypes, &handle);
    }
    if (method == "getAonSensorInfoList") return service.getAonSensorInfoList(&sensors);
    if (method == "subscribeSensor")
        return service.subscribeSensor(handle, Config(0, 640, 480, 30, 3));
    if (method == "startService") return service.startService(handle, 0x3);
    if (method == "stopService") return service.stopService(handle, 0x3);
    if (method == "unsubscribeSensor") return service.unsubscribeSensor(handle);
    return service.unregisterClient(handle);
}

class ServiceTest : public ::testing::Test {
  protected:
    // Registers a client in a simulated process of its own; returns its handle.
    int64_t Register(const RemoteCallback& client, int32_t serviceType = kAllTypes) {
        int64_t handle = 0;
        EXPECT_THAT(mService->registerClient(client.proxy, serviceType, &handle), IsOk());
        return handle;
    }
    // The init ("init ..." as Init() writes it), uninit ("uninit") and notifySensorState
    // ("notify <ids>, opened <0|1>") calls the stream received, in order.
    std::vector<std::string> StreamCalls() const {
        std::vector<std::string> calls;
        for (const host::AovCallRecord& record : mStream.Calls()) {
            const user_param& p = record.param;
            if (record.call == host::AovCall::kInit) {
                calls.push_back(Init(p.sensorId, p.width, p.height, p.fps, p.serviceType,
                                     p.requestedFps));
            } else if (record.call == host::AovCall::kUninit) {
                calls.push_back("uninit");
            } else if (record.call == host::AovCall::kNotifySensorState) {
                std::string ids;
                for (int32_t id : record.sensorIds) ids += std::to_string(id) + ",";
                calls.push_back("notify " + ids + " opened " + std::to_string(record.opened));
            }
        }
        return calls;
    }
    bool HasLine(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "AONService", text);
    }
    // The service's and the registry's WARN and ERROR lines: a course that goes well writes none.
    std::vector<LogLine> Complaints() const {
        std::vector<LogLine> lines;
        for (const char* className : {"AONService", "RemoteCallbackManager"}) {
            for (LogLine& line : mLog.linesOf(className)) {
                if (line.priority >= ANDROID_LOG_WARN) lines.push_back(std::move(line));
            }
        }
        return lines;
    }

    static host::FakeAovStream& ScriptedStream() {
        using host::MakeSensorInfo;
        host::FakeAovStream& stream = host::FakeAovStream::Get();
        stream.SetSensors({{0,
                            {MakeSensorInfo(640, 480, 5, {10, 15, 30}),
                             MakeSensorInfo(320, 240, 6, {15}), MakeSensorInfo(320, 480, 7, {15})},
                            0, 0},
                           {1, {MakeSensorInfo(320, 240, 9, {15})}, 0, 0}});
        return stream;
    }

    LogCapture mLog;  // first, so that it sees the service being built
    host::FakeAovStream& mStream = ScriptedStream();
    std::shared_ptr<tarvo::aon::AONService> mService =
            ndk::SharedRefBase::make<tarvo::aon::AONService>();
};

}  // namespace aon_test
