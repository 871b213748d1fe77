// Host equivalent of the record the aidl NDK backend generates from AONSensorInfo.aidl.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/FrameInfo.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class AONSensorInfo {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.AONSensorInfo";

    int32_t sensorId = 0;
    int32_t sensorParam1 = 0;
    int32_t sensorParam2 = 0;
    int32_t supportServiceType = 0;
    std::vector<::aidl::vendor::tarvo::hardware::camera::aon::FrameInfo> frameInfos;

    inline auto tie() const { return std::tie(sensorId, sensorParam1, sensorParam2, supportServiceType, frameInfos); }

    inline bool operator==(const AONSensorInfo& rhs) const { return tie() == rhs.tie(); }
    inline bool operator!=(const AONSensorInfo& rhs) const { return tie() != rhs.tie(); }
    inline bool operator<(const AONSensorInfo& rhs) const { return tie() < rhs.tie(); }
    inline bool operator>(const AONSensorInfo& rhs) const { return tie() > rhs.tie(); }
    inline bool operator<=(const AONSensorInfo& rhs) const { return tie() <= rhs.tie(); }
    inline bool operator>=(const AONSensorInfo& rhs) const { return tie() >= rhs.tie(); }

    inline std::string toString() const {
        return std::string("AONSensorInfo{") + "sensorId: " + internal::ToString(sensorId) + ", " + "sensorParam1: " + internal::ToString(sensorParam1) + ", " + "sensorParam2: " + internal::ToString(sensorParam2) + ", " + "supportServiceType: " + internal::ToString(supportServiceType) + ", " + "frameInfos: " + internal::ToString(frameInfos) + "}";
    }
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the record as an argument, a field or an
// array element: the presence marker, the size header, then the fields in declaration order.
inline size_t ParcelSize(const AONSensorInfo& value) {
    size_t bytes = host::kParcelableHeaderBytes + 4 * 4 + 4;
    for (const FrameInfo& frameInfo : value.frameInfos) bytes += ParcelSize(frameInfo);
    return bytes;
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
