// The fixture of the manager suites: the singleton manager over the fake vendor stream, a
// recording callback, captured logs. Each test runs in a process of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "host/FakeAovStream.h"
#include "host/FakeModuleHelper.h"
#include "manager/AONManager.h"
#include "tests/manager/FakeManagerCallback.h"
#include "tests/support/LogCapture.h"

namespace aon_test {

class ManagerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mManager = tarvo::aon::AONManager::GetSingleton();
        mCallback = std::make_shared<FakeManagerCallback>(mManager.get());
    }
    void TearDown() override {
        // Releases the stream's reference to the manager, so that teardown joins the last worker.
        mManager->StopService();
        EXPECT_TRUE(mStream.ContractViolations().empty());
    }

    void Subscribe(int32_t sensorId, int32_t mode = 1) {
        ASSERT_EQ(0, mManager->SubscribeSensor({sensorId, 640, 480, 30, 0x3F, mode}));
    }
    bool HasLine(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "AONManager", text);
    }

    LogCapture mLog;
    host::FakeAovStream& mStream = host::FakeAovStream::Get();
    std::shared_ptr<tarvo::aon::AONManager> mManager;
    std::shared_ptr<FakeManagerCallback> mCallback;
};

// Reads a little-endian 32-bit field of a recorded user_param.
inline uint32_t FieldAt(const std::array<uint8_t, sizeof(user_param)>& bytes, size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

}  // namespace aon_test
