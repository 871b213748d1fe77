// Host equivalent of the record the aidl NDK backend generates from AONResult.aidl.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/AONResultValue.h>
#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class AONResult {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.AONResult";

    int32_t key = 0;
    ::aidl::vendor::tarvo::hardware::camera::aon::AONResultValue value;

    inline auto tie() const { return std::tie(key, value); }

    inline bool operator==(const AONResult& rhs) const { return tie() == rhs.tie(); }
    inline bool operator!=(const AONResult& rhs) const { return tie() != rhs.tie(); }
    inline bool operator<(const AONResult& rhs) const { return tie() < rhs.tie(); }
    inline bool operator>(const AONResult& rhs) const { return tie() > rhs.tie(); }
    inline bool operator<=(const AONResult& rhs) const { return tie() <= rhs.tie(); }
    inline bool operator>=(const AONResult& rhs) const { return tie() >= rhs.tie(); }

    inline std::string toString() const {
        return std::string("AONResult{") + "key: " + internal::ToString(key) + ", " + "value: " + internal::ToString(value) + "}";
    }
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the record as an argument, a field or an
// array element: the presence marker, the size header, then the fields in declaration order.
inline size_t ParcelSize(const AONResult& value) {
    return host::kParcelableHeaderBytes + 4 + ParcelSize(value.value);
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
