// Fixture shared by the registry suites: the process-wide registry (fresh in every test, since each
// test runs in its own process), a recording listener, and log capture.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "callback/IRemoteCallbackManagerListener.h"
#include "callback/RemoteCallbackManager.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {

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

using SensorStates = std::vector<std::pair<int, int>>;

// The sensor states `fake` received, as {sensorId, state}, each checked to carry `expectedHandle`.
inline SensorStates ReceivedStates(const FakeServiceCallback& fake, long expectedHandle) {
    SensorStates states;
    for (const auto& event : fake.sensorEvents()) {
        EXPECT_EQ(expectedHandle, event.clientHandle);
        states.emplace_back(event.info.sensorId, event.info.state);
    }
    return states;
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
        AONSensorStateInfo info;
        info.sensorId = sensorId;
        info.state = state;
        mRegistry->OnAONSensorEvent(info);
    }

    LogCapture mLog;
    FakeListener mListener;
    std::shared_ptr<RemoteCallbackManager> mRegistry = RemoteCallbackManager::GetSingleton();
};

}  // namespace aon_test
