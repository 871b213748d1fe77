#include "tools/aon-sim/SimClient.h"

#include <tuple>

#include "host/binder_control.h"
#include "tools/aon-sim/ThreadName.h"
#include "tools/common/ResultDescription.h"

namespace aon_sim {
namespace {

// The data bytes of the transaction this thread serves and the size of the buffer it went to; 0
// for a call made without one.
std::pair<size_t, size_t> TransactionBytes() {
    const std::vector<host::TransactionRecord> stack = host::CurrentTransactions();
    if (stack.empty()) return {0, 0};
    return {stack.back().dataBytes, stack.back().limit};
}

using aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using Tag = aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;

ReceivedResult Receive(const AONResult& result) {
    ReceivedResult received;
    received.key = result.key;
    received.tag = result.value.getTag();
    const auto scalar = [&](double value, bool integral) {
        received.number = true;
        received.integral = integral;
        received.value = value;
    };
    const auto array = [&](size_t size) {
        received.array = true;
        received.size = size;
    };
    switch (received.tag) {
        case Tag::byteValue:
            scalar(result.value.get<Tag::byteValue>(), true);
            break;
        case Tag::intValue:
            scalar(result.value.get<Tag::intValue>(), true);
            break;
        case Tag::booleanValue:
            scalar(result.value.get<Tag::booleanValue>() ? 1 : 0, true);
            break;
        case Tag::floatValue:
            scalar(result.value.get<Tag::floatValue>(), false);
            break;
        case Tag::doubleValue:
            scalar(result.value.get<Tag::doubleValue>(), false);
            break;
        case Tag::stringValue:
            break;
        case Tag::byteArray:
            array(result.value.get<Tag::byteArray>().size());
            break;
        case Tag::intArray:
            array(result.value.get<Tag::intArray>().size());
            break;
        case Tag::floatArray:
            array(result.value.get<Tag::floatArray>().size());
            break;
        case Tag::doubleArray:
            array(result.value.get<Tag::doubleArray>().size());
            break;
    }
    return received;
}

}  // namespace

using aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;

SimClient::SimClient(std::string name, Trace& trace, aon_tools::ValueDetail values,
                     const aon_tools::FrameSaver* saver, ClientCallbackListener* listener)
    : mName(std::move(name)), mTrace(trace), mValues(values), mSaver(saver), mListener(listener) {}

ndk::ScopedAStatus SimClient::onAONEvent(int64_t clientHandle, const AONCallBackInfo& info) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        ++mEventCount;
        ReceivedEvent& last = mLastEvent ? *mLastEvent : mLastEvent.emplace();
        last.serviceType = info.serviceType;
        last.results.clear();
        for (const AONResult& result : info.results) last.results.push_back(Receive(result));
    }
    EventEntry entry;
    entry.client = mName;
    entry.thread = CurrentThreadName();
    std::tie(entry.bytes, entry.limit) = TransactionBytes();
    entry.handle = clientHandle;
    entry.serviceType = info.serviceType;
    entry.results = aon_tools::DescribeResults(info.results, mValues);
    mTrace.Append(std::move(entry));
    if (mSaver != nullptr) {
        std::string path;
        std::string error;
        if (!mSaver->Save(mName, info, &path, &error) && !error.empty()) {
            mTrace.Append(NoteEntry{"cannot save the image of " + mName + ": " + error});
        }
    }
    if (mListener != nullptr) mListener->OnClientCallback(mName, std::nullopt);
    return ndk::ScopedAStatus::ok();
}

ndk::ScopedAStatus SimClient::onAONSensorEvent(int64_t clientHandle,
                                               const AONSensorStateInfo& info) {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mStates.emplace_back(info.sensorId, info.state);
    }
    SensorStateEntry entry;
    entry.client = mName;
    entry.thread = CurrentThreadName();
    entry.bytes = TransactionBytes().first;
    entry.handle = clientHandle;
    entry.sensorId = info.sensorId;
    entry.state = info.state;
    mTrace.Append(std::move(entry));
    if (mListener != nullptr) mListener->OnClientCallback(mName, info.state);
    return ndk::ScopedAStatus::ok();
}

int64_t SimClient::eventCount() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mEventCount;
}

std::vector<std::pair<int32_t, int32_t>> SimClient::states() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mStates;
}

std::optional<ReceivedEvent> SimClient::lastEvent() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mLastEvent;
}

}  // namespace aon_sim
