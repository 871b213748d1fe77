// Host equivalent of the record the aidl NDK backend generates from AONCallBackInfo.aidl.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResult.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class AONCallBackInfo {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.AONCallBackInfo";

    int32_t serviceType = 0;
    std::vector<::aidl::vendor::tarvo::hardware::camera::aon::AONResult> results;

    inline auto tie() const { return std::tie(serviceType, results); }

    inline bool operator==(const AONCallBackInfo& rhs) const { return tie() == rhs.tie(); }
    inline bool operator!=(const AONCallBackInfo& rhs) const { return tie() != rhs.tie(); }
    inline bool operator<(const AONCallBackInfo& rhs) const { return tie() < rhs.tie(); }
    inline bool operator>(const AONCallBackInfo& rhs) const { return tie() > rhs.tie(); }
    inline bool operator<=(const AONCallBackInfo& rhs) const { return tie() <= rhs.tie(); }
    inline bool operator>=(const AONCallBackInfo& rhs) const { return tie() >= rhs.tie(); }

    inline std::string toString() const {
        return std::string("AONCallBackInfo{") + "serviceType: " + internal::ToString(serviceType) + ", " + "results: " + internal::ToString(results) + "}";
    }
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the record as an argument, a field or an
// array element: the presence marker, the size header, then the fields in declaration order.
inline size_t ParcelSize(const AONCallBackInfo& value) {
    size_t bytes = host::kParcelableHeaderBytes + 4 + 4;
    for (const AONResult& result : value.results) bytes += ParcelSize(result);
    return bytes;
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
