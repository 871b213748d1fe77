#pragma once

#include <aidl/vendor/tarvo/hardware/camera/aon/AONCallBackInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/AONSensorStateInfo.h>

namespace tarvo::aon {

// Where translated stream events and sensor state changes go: the client side of the service.
// Implementations decide how the records reach clients; callers keep ownership of the records.
class IOutEventCallback {
  public:
    virtual ~IOutEventCallback() = default;
    virtual void OnAONEvent(::aidl::vendor::tarvo::hardware::camera::aon::AONCallBackInfo& info) = 0;
    virtual void OnAONSensorEvent(
            ::aidl::vendor::tarvo::hardware::camera::aon::AONSensorStateInfo& info) = 0;
};

}  // namespace tarvo::aon
