#include "host/FakeAovStream.h"

#include <sys/prctl.h>

#include <cstring>
#include <utility>

namespace host {
namespace {

std::mutex gInstanceLock;
bool gInstanceInstalled = false;
IAOVStream* gInstance = nullptr;

}  // namespace

void SetAovStreamInstance(IAOVStream* stream) {
    std::lock_guard<std::mutex> guard(gInstanceLock);
    gInstanceInstalled = true;
    gInstance = stream;
}

std::string CurrentThreadName() {
    char name[17] = {};
    prctl(PR_GET_NAME, name, 0, 0, 0);
    return name;
}

namespace {

AovCallRecord NewRecord(AovCall call) {
    AovCallRecord record;
    record.call = call;
    record.threadName = CurrentThreadName();
    return record;
}

}  // namespace

sensor_info MakeSensorInfo(int32_t width, int32_t height, int32_t attribute,
                           std::vector<int32_t> rates) {
    sensor_info info{};
    info.width = width;
    info.height = height;
    info.attribute = attribute;
    info.rates = std::move(rates);
    return info;
}

FakeAovStream& FakeAovStream::Get() {
    static FakeAovStream* const sStream = new FakeAovStream();
    return *sStream;
}

void FakeAovStream::SetSensors(std::vector<FakeSensor> sensors) {
    std::lock_guard<std::mutex> guard(mLock);
    mSensors = std::move(sensors);
}

void FakeAovStream::SetInitResult(int32_t result) {
    std::lock_guard<std::mutex> guard(mLock);
    mInitResult = result;
}

void FakeAovStream::SetUninitResult(int32_t result) {
    std::lock_guard<std::mutex> guard(mLock);
    mUninitResult = result;
}

void FakeAovStream::SetNotifySensorStateResult(int32_t result) {
    std::lock_guard<std::mutex> guard(mLock);
    mNotifySensorStateResult = result;
}

void FakeAovStream::SetHook(AovCall call, std::function<void()> hook) {
    std::lock_guard<std::mutex> guard(mLock);
    mHooks[call] = std::move(hook);
}

std::vector<AovCallRecord> FakeAovStream::Calls() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mCalls;
}

std::vector<AovCallRecord> FakeAovStream::CallsOf(AovCall call) const {
    std::vector<AovCallRecord> result;
    for (AovCallRecord& record : Calls()) {
        if (record.call == call) result.push_back(std::move(record));
    }
    return result;
}

size_t FakeAovStream::CountOf(AovCall call) const {
    return CallsOf(call).size();
}

bool FakeAovStream::WaitForCount(AovCall call, size_t count, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mLock);
    return mCalled.wait_for(lock, timeout, [&] {
        size_t seen = 0;
        for (const AovCallRecord& record : mCalls) seen += record.call == call ? 1 : 0;
        return seen >= count;
    });
}

bool FakeAovStream::IsInitialized() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mInitialized;
}

std::vector<std::string> FakeAovStream::ContractViolations() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mViolations;
}

void FakeAovStream::ClearCalls() {
    std::lock_guard<std::mutex> guard(mLock);
    mCalls.clear();
}

bool FakeAovStream::DeliverEvent(aov_event* event) {
    std::shared_ptr<IAOVStreamCallback> callback;
    {
        std::lock_guard<std::mutex> guard(mLock);
        callback = mEventCallback;
    }
    if (callback == nullptr) return false;
    callback->onCallback(event);
    return true;
}

void FakeAovStream::vendorSlot0() {
    std::lock_guard<std::mutex> guard(mLock);
    mViolations.push_back("slot 0 called");
}

std::vector<int32_t> FakeAovStream::getSensorList() {
    Record(NewRecord(AovCall::kGetSensorList));
    std::vector<int32_t> ids;
    {
        std::lock_guard<std::mutex> guard(mLock);
        for (const FakeSensor& sensor : mSensors) ids.push_back(sensor.id);
    }
    RunHook(AovCall::kGetSensorList);
    return ids;
}

std::vector<sensor_info> FakeAovStream::getSensorInfo(int32_t sensorId) {
    AovCallRecord record = NewRecord(AovCall::kGetSensorInfo);
    record.sensorId = sensorId;
    Record(std::move(record));
    std::vector<sensor_info> infos;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (const FakeSensor* sensor = FindSensor(sensorId)) infos = sensor->infos;
    }
    RunHook(AovCall::kGetSensorInfo);
    return infos;
}

int32_t FakeAovStream::getSensorMode(int32_t sensorId, uint32_t* mode) {
    AovCallRecord record = NewRecord(AovCall::kGetSensorMode);
    record.sensorId = sensorId;
    Record(std::move(record));
    int32_t status = -1;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (const FakeSensor* sensor = FindSensor(sensorId)) {
            *mode = sensor->mode;
            status = sensor->modeStatus;
        }
    }
    RunHook(AovCall::kGetSensorMode);
    return status;
}

int32_t FakeAovStream::init(user_param* param) {
    AovCallRecord record = NewRecord(AovCall::kInit);
    std::memcpy(record.paramBytes.data(), param, sizeof(user_param));
    record.param = *param;
    record.param.callback.reset();
    record.callback = param->callback.get();
    Record(std::move(record));
    int32_t result = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (mInitialized) mViolations.push_back("init while initialised");
        result = mInitResult;
        if (result != 0) {
            mInitialized = true;
            mEventCallback = param->callback;
        }
    }
    RunHook(AovCall::kInit);
    return result;
}

int32_t FakeAovStream::notifySensorState(const std::vector<int32_t>& sensorIds, int32_t opened) {
    AovCallRecord record = NewRecord(AovCall::kNotifySensorState);
    record.sensorIds = sensorIds;
    record.opened = opened;
    Record(std::move(record));
    int32_t result = 0;
    {
        std::lock_guard<std::mutex> guard(mLock);
        result = mNotifySensorStateResult;
    }
    RunHook(AovCall::kNotifySensorState);
    return result;
}

int32_t FakeAovStream::uninit() {
    Record(NewRecord(AovCall::kUninit));
    int32_t result = 0;
    std::shared_ptr<IAOVStreamCallback> released;
    {
        std::lock_guard<std::mutex> guard(mLock);
        if (!mInitialized) mViolations.push_back("uninit while not initialised");
        result = mUninitResult;
        if (result != 0) {
            mInitialized = false;
            released = std::move(mEventCallback);
        }
    }
    RunHook(AovCall::kUninit);
    return result;
}

void FakeAovStream::Record(AovCallRecord record) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mCalls.push_back(std::move(record));
    }
    mCalled.notify_all();
}

void FakeAovStream::RunHook(AovCall call) {
    std::function<void()> hook;
    {
        std::lock_guard<std::mutex> guard(mLock);
        const auto found = mHooks.find(call);
        if (found != mHooks.end()) hook = found->second;
    }
    if (hook) hook();
}

const FakeSensor* FakeAovStream::FindSensor(int32_t sensorId) const {
    for (const FakeSensor& sensor : mSensors) {
        if (sensor.id == sensorId) return &sensor;
    }
    return nullptr;
}

}  // namespace host

IAOVStream* IAOVStream::createInstance() {
    std::lock_guard<std::mutex> guard(host::gInstanceLock);
    return host::gInstanceInstalled ? host::gInstance : &host::FakeAovStream::Get();
}
