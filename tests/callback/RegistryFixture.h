// Fixture shared by the registry suites: the process-wide registry (fresh in every test, since each
// test runs in its own process), a recording listener, and log capture.
#pragma once

#include <android/log.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "callback/RemoteCallbackManager.h"
#include "tests/callback/FakeListener.h"
#include "tests/support/FakeServiceCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {

class RemoteCallbackManagerTest : public ::testing::Test {
  protected:
    void SetUp() override { mRegistry->SetListener(&mListener); }
    void TearDown() override { mRegistry->SetListener(nullptr); }

    bool logged(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "RemoteCallbackManager", text);
    }

    LogCapture mLog;
    FakeListener mListener;
    std::shared_ptr<tarvo::aon::RemoteCallbackManager> mRegistry =
            tarvo::aon::RemoteCallbackManager::GetSingleton();
};

inline AONSensorStateInfo SensorState(int sensorId, int state) {
    AONSensorStateInfo info;
    info.sensorId = sensorId;
    info.state = state;
    return info;
}

}  // namespace aon_test
