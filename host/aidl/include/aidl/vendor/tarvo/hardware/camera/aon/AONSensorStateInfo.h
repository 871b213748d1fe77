// Host equivalent of the record the aidl NDK backend generates from AONSensorStateInfo.aidl.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class AONSensorStateInfo {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.AONSensorStateInfo";

    int32_t sensorId = 0;
    int32_t state = 0;

    inline auto tie() const { return std::tie(sensorId, state); }

    inline bool operator==(const AONSensorStateInfo& rhs) const { return tie() == rhs.tie(); }
    inline bool operator!=(const AONSensorStateInfo& rhs) const { return tie() != rhs.tie(); }
    inline bool operator<(const AONSensorStateInfo& rhs) const { return tie() < rhs.tie(); }
    inline bool operator>(const AONSensorStateInfo& rhs) const { return tie() > rhs.tie(); }
    inline bool operator<=(const AONSensorStateInfo& rhs) const { return tie() <= rhs.tie(); }
    inline bool operator>=(const AONSensorStateInfo& rhs) const { return tie() >= rhs.tie(); }

    inline std::string toString() const {
        return std::string("AONSensorStateInfo{") + "sensorId: " + internal::ToString(sensorId) + ", " + "state: " + internal::ToString(state) + "}";
    }
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the record as an argument, a field or an
// array element: the presence marker, the size header, then the fields in declaration order.
inline size_t ParcelSize(const AONSensorStateInfo& /*value*/) {
    return host::kParcelableHeaderBytes + 4 + 4;
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
