// Host equivalent of the record the aidl NDK backend generates from FrameInfo.aidl.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class FrameInfo {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.FrameInfo";

    int32_t width = 0;
    int32_t height = 0;
    std::vector<int32_t> fpsList;

    inline auto tie() const { return std::tie(width, height, fpsList); }

    inline bool operator==(const FrameInfo& rhs) const { return tie() == rhs.tie(); }
    inline bool operator!=(const FrameInfo& rhs) const { return tie() != rhs.tie(); }
    inline bool operator<(const FrameInfo& rhs) const { return tie() < rhs.tie(); }
    inline bool operator>(const FrameInfo& rhs) const { return tie() > rhs.tie(); }
    inline bool operator<=(const FrameInfo& rhs) const { return tie() <= rhs.tie(); }
    inline bool operator>=(const FrameInfo& rhs) const { return tie() >= rhs.tie(); }

    inline std::string toString() const {
        return std::string("FrameInfo{") + "width: " + internal::ToString(width) + ", " + "height: " + internal::ToString(height) + ", " + "fpsList: " + internal::ToString(fpsList) + "}";
    }
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the record as an argument, a field or an
// array element: the presence marker, the size header, then the fields in declaration order.
inline size_t ParcelSize(const FrameInfo& value) {
    return host::kParcelableHeaderBytes + 4 + 4 + host::ParcelArraySize(value.fpsList.size(), 4);
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
