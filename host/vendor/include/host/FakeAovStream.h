// Host-only controls of the stand-in for the vendor's always-on vision stream (libmtkcam_aov.so).
// The product sees only IAOVStream and createInstance(); tests script the stream's answers here,
// read back every call it received, and deliver events on a thread of their choosing.
//
// createInstance() hands out whatever SetAovStreamInstance() installed, the scriptable fake by
// default; another face (a simulator delivering frames of its own) is installed the same way.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "manager/IAOVStream.h"

namespace host {

// What IAOVStream::createInstance() returns from now on (null plays a device without a stream).
void SetAovStreamInstance(IAOVStream* stream);

enum class AovCall {
    kGetSensorList,
    kGetSensorInfo,
    kGetSensorMode,
    kInit,
    kNotifySensorState,
    kUninit,
};

// A sensor as the fake stream reports it.
struct FakeSensor {
    int32_t id = 0;
    std::vector<sensor_info> infos;
    uint32_t mode = 0;        // what getSensorMode writes
    int32_t modeStatus = 0;   // what getSensorMode returns
};

// One call the stream received, with the arguments that call carries.
struct AovCallRecord {
    AovCall call = AovCall::kGetSensorList;
    std::string threadName;
    int32_t sensorId = 0;                                  // getSensorInfo, getSensorMode
    std::vector<int32_t> sensorIds;                        // notifySensorState
    int32_t opened = 0;                                    // notifySensorState
    std::array<uint8_t, sizeof(user_param)> paramBytes{};  // init: the record byte for byte
    // init: a copy without its callback, so that the record holds no reference to the caller;
    // the callback object passed is in `callback`.
    user_param param{};
    IAOVStreamCallback* callback = nullptr;
};

class FakeAovStream final : public IAOVStream {
  public:
    static FakeAovStream& Get();  // created on first use, never freed, like the vendor's

    // Scripting. Results of init, uninit and notifySensorState default to 1 (success).
    void SetSensors(std::vector<FakeSensor> sensors);
    void SetInitResult(int32_t result);
    void SetUninitResult(int32_t result);
    void SetNotifySensorStateResult(int32_t result);
    // Runs inside every later `call` after it is recorded and its effect applied, before it
    // returns, with no lock of the fake held: lets a test hold the caller inside the vendor.
    void SetHook(AovCall call, std::function<void()> hook);

    // Observation.
    std::vector<AovCallRecord> Calls() const;
    std::vector<AovCallRecord> CallsOf(AovCall call) const;
    size_t CountOf(AovCall call) const;
    // Waits until `call` was received at least `count` times.
    [[nodiscard]] bool WaitForCount(AovCall call, size_t count, std::chrono::milliseconds timeout);
    bool IsInitialized() const;
    // Calls made against the calling order the stream imposes (init twice, uninit while idle).
    std::vector<std::string> ContractViolations() const;
    // Forgets the calls received so far (not the scripting, the violations or the stream's
    // state), so that a long-running driver such as a fuzzer keeps constant memory.
    void ClearCalls();

    // Calls the callback of the running stream's user_param with `event` on the calling thread.
    // Returns false, delivering nothing, while the stream is not initialised.
    bool DeliverEvent(aov_event* event);

    // IAOVStream
    void vendorSlot0() override;
    std::vector<int32_t> getSensorList() override;
    std::vector<sensor_info> getSensorInfo(int32_t sensorId) override;
    int32_t getSensorMode(int32_t sensorId, uint32_t* mode) override;
    int32_t init(user_param* param) override;
    int32_t notifySensorState(const std::vector<int32_t>& sensorIds, int32_t opened) override;
    int32_t uninit() override;

  private:
    FakeAovStream() = default;
    ~FakeAovStream() = default;
    void Record(AovCallRecord record);
    void RunHook(AovCall call);
    const FakeSensor* FindSensor(int32_t sensorId) const;

    mutable std::mutex mLock;
    std::condition_variable mCalled;
    std::vector<FakeSensor> mSensors;
    int32_t mInitResult = 1;
    int32_t mUninitResult = 1;
    int32_t mNotifySensorStateResult = 1;
    std::map<AovCall, std::function<void()>> mHooks;
    std::vector<AovCallRecord> mCalls;
    std::vector<std::string> mViolations;
    bool mInitialized = false;
    std::shared_ptr<IAOVStreamCallback> mEventCallback;  // held while initialised
};

// A sensor_info entry for scripting.
sensor_info MakeSensorInfo(int32_t width, int32_t height, int32_t attribute,
                           std::vector<int32_t> rates);

// The name of the calling thread.
std::string CurrentThreadName();

}  // namespace host
