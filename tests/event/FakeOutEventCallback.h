// Records what the manager callback delivers: copies of every event and sensor-state record.
#pragma once

#include <vector>

#include "callback/IOutEventCallback.h"

namespace aon_test {

using ::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONResult;
using ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo;
using Tag = ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue::Tag;
using Keys = std::vector<int32_t>;

class FakeOutEventCallback final : public tarvo::aon::IOutEventCallback {
  public:
    void OnAONEvent(AONCallBackInfo& info) override { events.push_back(info); }
    void OnAONSensorEvent(AONSensorStateInfo& info) override { states.push_back(info); }

    std::vector<AONCallBackInfo> events;
    std::vector<AONSensorStateInfo> states;
};

inline Keys KeysOf(const std::vector<AONResult>& results) {
    Keys keys;
    for (const AONResult& result : results) keys.push_back(result.key);
    return keys;
}

}  // namespace aon_test
