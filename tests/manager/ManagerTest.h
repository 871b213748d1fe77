// The manager suites: a recording manager callback and the fixture around the singleton manager
// over the fake vendor stream, with captured logs. Each test runs in a process of its own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/FakeAovStream.h"
#include "host/FakeModuleHelper.h"
#include "manager/AONManager.h"
#include "manager/IAONManagerCallback.h"
#include "tests/support/Gate.h"
#include "tests/support/LogCapture.h"

namespace aon_test {

constexpr std::chrono::milliseconds kWaitTimeout = std::chrono::seconds(5);

struct ManagerCall {
    std::string what;  // "Event", or the state call with its sensor: "Start(0)", "Stop(0)",
                       // "Idle(0)", "Busy(0)"
    aov_event* event;
    std::string threadName;
    bool managerLockFree;  // GetServiceTypeStarted() could finish from another thread meanwhile
};

// Records every call with the calling thread's name and, given the manager, whether the
// manager's lock was free during the call. A call can be held at a gate before it is recorded, so
// once a test has seen a call, nothing of the test runs in it.
class FakeManagerCallback final : public tarvo::aon::IAONManagerCallback {
  public:
    explicit FakeManagerCallback(tarvo::aon::AONManager* manager = nullptr) : mManager(manager) {}

    void onCallback(aov_event* event) override { Record("Event", event); }
    void OnServiceStart(int id) override { Record("Start(" + std::to_string(id) + ")"); }
    void OnServiceStop(int id) override { Record("Stop(" + std::to_string(id) + ")"); }
    void OnSensorIdle(int id) override { Record("Idle(" + std::to_string(id) + ")"); }
    void OnSensorBusy(int id) override { Record("Busy(" + std::to_string(id) + ")"); }

    void HoldNextCall(Gate* gate) { mHold = gate; }  // the next call passes `gate` first
    std::vector<ManagerCall> Calls() const {
        std::lock_guard<std::mutex> guard(mLock);
        return mCalls;
    }
    std::vector<std::string> StateCalls() const {  // every call but events
        std::vector<std::string> result;
        for (const ManagerCall& call : Calls()) {
            if (call.what != "Event") result.push_back(call.what);
        }
        return result;
    }
    [[nodiscard]] bool WaitForCalls(size_t count) {
        std::unique_lock<std::mutex> lock(mLock);
        return mCalled.wait_for(lock, kWaitTimeout, [&] { return mCalls.size() >= count; });
    }

  private:
    void Record(std::string what, aov_event* event = nullptr) {
        ManagerCall call{std::move(what), event, host::CurrentThreadName(), true};
        if (mManager != nullptr) {
            // A lock held by the calling thread keeps the probe waiting until this call returns.
            auto probe = std::async(std::launch::async,
                                    [this] { return mManager->GetServiceTypeStarted(); });
            call.managerLockFree =
                    probe.wait_for(std::chrono::seconds(2)) == std::future_status::ready;
        }
        if (Gate* gate = mHold.exchange(nullptr)) gate->Pass();
        std::lock_guard<std::mutex> guard(mLock);
        mCalls.push_back(call);
        mCalled.notify_all();
    }

    tarvo::aon::AONManager* const mManager;
    std::atomic<Gate*> mHold{nullptr};
    mutable std::mutex mLock;
    std::condition_variable mCalled;
    std::vector<ManagerCall> mCalls;
};

class ManagerTest : public ::testing::Test {
  protected:
    void TearDown() override {
        // Releases the stream's reference to the manager, so that teardown joins the last worker.
        mManager->StopService();
        EXPECT_TRUE(mStream.ContractViolations().empty());
    }

    void Register() { ASSERT_EQ(0, mManager->RegisterClient(mCallback)); }
    void Subscribe(int32_t sensorId, int32_t mode = 1) {
        ASSERT_EQ(0, mManager->SubscribeSensor({sensorId, 640, 480, 30, 0x3F, mode}));
    }
    bool HasLine(int priority, const std::string& text) const {
        return mLog.hasLine(priority, "AONManager", text);
    }
    // The WARN and ERROR lines logged so far.
    std::vector<LogLine> Warnings() const {
        std::vector<LogLine> warnings = mLog.lines();
        warnings.erase(
                std::remove_if(warnings.begin(), warnings.end(),
                               [](const LogLine& l) { return l.priority < ANDROID_LOG_WARN; }),
                warnings.end());
        return warnings;
    }

    LogCapture mLog;
    host::FakeAovStream& mStream = host::FakeAovStream::Get();
    std::shared_ptr<tarvo::aon::AONManager> mManager = tarvo::aon::AONManager::GetSingleton();
    std::shared_ptr<FakeManagerCallback> mCallback =
            std::make_shared<FakeManagerCallback>(mManager.get());
};

// A little-endian 32-bit field of a recorded user_param.
inline uint32_t FieldAt(const std::array<uint8_t, sizeof(user_param)>& bytes, size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

}  // namespace aon_test
