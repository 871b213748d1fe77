// Host equivalent of the record the aidl NDK backend generates from SensorConfigInfo.aidl.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class SensorConfigInfo {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.SensorConfigInfo";

    int32_t sensorId = 0;
    int32_t frameWidth = 0;
    int32_t frameHeight = 0;
    int32_t fps = 0;
    int32_t extraParam0 = 0;
    int32_t extraParam1 = 0;
    int32_t serviceType = 0;
    int32_t deliveryMode = 0;

    inline auto tie() const { return std::tie(sensorId, frameWidth, frameHeight, fps, extraParam0, extraParam1, serviceType, deliveryMode); }

    inline bool operator==(const SensorConfigInfo& rhs) const { return tie() == rhs.tie(); }
    inline bool operator!=(const SensorConfigInfo& rhs) const { return tie() != rhs.tie(); }
    inline bool operator<(const SensorConfigInfo& rhs) const { return tie() < rhs.tie(); }
    inline bool operator>(const SensorConfigInfo& rhs) const { return tie() > rhs.tie(); }
    inline bool operator<=(const SensorConfigInfo& rhs) const { return tie() <= rhs.tie(); }
    inline bool operator>=(const SensorConfigInfo& rhs) const { return tie() >= rhs.tie(); }

    inline std::string toString() const {
        return std::string("SensorConfigInfo{") + "sensorId: " + internal::ToString(sensorId) + ", " + "frameWidth: " + internal::ToString(frameWidth) + ", " + "frameHeight: " + internal::ToString(frameHeight) + ", " + "fps: " + internal::ToString(fps) + ", " + "extraParam0: " + internal::ToString(extraParam0) + ", " + "extraParam1: " + internal::ToString(extraParam1) + ", " + "serviceType: " + internal::ToString(serviceType) + ", " + "deliveryMode: " + internal::ToString(deliveryMode) + "}";
    }
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the record as an argument, a field or an
// array element: the presence marker, the size header, then the fields in declaration order.
inline size_t ParcelSize(const SensorConfigInfo& /*value*/) {
    return host::kParcelableHeaderBytes + 8 * 4;
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
