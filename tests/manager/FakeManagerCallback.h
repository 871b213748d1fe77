// A recording IAONManagerCallback: keeps every call with its argument, the calling thread's name
// and whether the manager's lock was free during the call. Waits are bounded.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "manager/AONManager.h"
#include "manager/IAONManagerCallback.h"

namespace aon_test {

enum class ManagerCallKind { kEvent, kServiceStart, kServiceStop, kSensorIdle, kSensorBusy };

struct ManagerCall {
    ManagerCallKind kind;
    int sensorId = 0;             // state calls
    aov_event* event = nullptr;   // kEvent
    std::string threadName;
    bool managerLockFree = true;  // GetServiceTypeStarted() finished from another thread
};

// What a test compares: the kind and the sensor id (or the event).
struct Notified {
    ManagerCallKind kind;
    int sensorId;
    bool operator==(const Notified& other) const {
        return kind == other.kind && sensorId == other.sensorId;
    }
};
std::ostream& operator<<(std::ostream& out, const Notified& notified);

constexpr std::chrono::milliseconds kWaitTimeout = std::chrono::seconds(5);
// How long a call that must not happen is given to show up.
constexpr std::chrono::milliseconds kNotCalledTimeout = std::chrono::milliseconds(200);

class FakeManagerCallback final : public tarvo::aon::IAONManagerCallback {
  public:
    // With a manager, every call probes that the manager's lock is not held meanwhile.
    explicit FakeManagerCallback(tarvo::aon::AONManager* manager = nullptr) : mManager(manager) {}

    void onCallback(aov_event* event) override;
    void OnServiceStart(int sensorId) override;
    void OnServiceStop(int sensorId) override;
    void OnSensorIdle(int sensorId) override;
    void OnSensorBusy(int sensorId) override;

    // Runs inside every later call, before it is recorded.
    void SetHook(std::function<void(const ManagerCall&)> hook);

    std::vector<ManagerCall> Calls() const;
    std::vector<Notified> StateCalls() const;  // every call but events
    [[nodiscard]] bool WaitForCalls(size_t count, std::chrono::milliseconds timeout = kWaitTimeout);

  private:
    void Record(ManagerCallKind kind, int sensorId, aov_event* event);
    bool ManagerLockIsFree() const;

    tarvo::aon::AONManager* const mManager;
    mutable std::mutex mLock;
    std::condition_variable mCalled;
    std::vector<ManagerCall> mCalls;
    std::function<void(const ManagerCall&)> mHook;
};

}  // namespace aon_test
