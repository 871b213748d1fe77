// Host equivalent of the union the aidl NDK backend generates from AONResultValue.aidl: a
// std::variant in tag order, Tag, make/get/set/getTag; defaults to byteValue 0.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <aidl/vendor/tarvo/hardware/camera/aon/ToString.h>
#include <host/binder_parcel.h>

namespace aidl::vendor::tarvo::hardware::camera::aon {

class AONResultValue {
  public:
    typedef std::false_type fixed_size;
    static constexpr const char* descriptor = "vendor.tarvo.hardware.camera.aon.AONResultValue";

    enum class Tag : int32_t {
        byteValue = 0,
        byteArray,
        intValue,
        intArray,
        stringValue,
        floatValue,
        floatArray,
        doubleValue,
        doubleArray,
        booleanValue,
    };

    static const inline Tag byteValue = Tag::byteValue;
    static const inline Tag byteArray = Tag::byteArray;
    static const inline Tag intValue = Tag::intValue;
    static const inline Tag intArray = Tag::intArray;
    static const inline Tag stringValue = Tag::stringValue;
    static const inline Tag floatValue = Tag::floatValue;
    static const inline Tag floatArray = Tag::floatArray;
    static const inline Tag doubleValue = Tag::doubleValue;
    static const inline Tag doubleArray = Tag::doubleArray;
    static const inline Tag booleanValue = Tag::booleanValue;

    AONResultValue() : mValue(std::in_place_index<0>, int8_t(0)) {}

    template <size_t N, typename... Args>
    constexpr explicit AONResultValue(std::in_place_index_t<N>, Args&&... args)
        : mValue(std::in_place_index<N>, std::forward<Args>(args)...) {}

    template <Tag tag, typename... Args>
    static AONResultValue make(Args&&... args) {
        return AONResultValue(std::in_place_index<static_cast<size_t>(tag)>,
                              std::forward<Args>(args)...);
    }

    template <Tag tag, typename T, typename... Args>
    static AONResultValue make(std::initializer_list<T> list, Args&&... args) {
        return AONResultValue(std::in_place_index<static_cast<size_t>(tag)>, std::move(list),
                              std::forward<Args>(args)...);
    }

    Tag getTag() const { return static_cast<Tag>(mValue.index()); }

    // Reading a member other than the one set is a programming error, as in generated code.
    template <Tag tag>
    const auto& get() const {
        if (getTag() != tag) abort();
        return std::get<static_cast<size_t>(tag)>(mValue);
    }

    template <Tag tag>
    auto& get() {
        if (getTag() != tag) abort();
        return std::get<static_cast<size_t>(tag)>(mValue);
    }

    template <Tag tag, typename... Args>
    void set(Args&&... args) {
        mValue.template emplace<static_cast<size_t>(tag)>(std::forward<Args>(args)...);
    }

    inline bool operator==(const AONResultValue& rhs) const { return mValue == rhs.mValue; }
    inline bool operator!=(const AONResultValue& rhs) const { return mValue != rhs.mValue; }
    inline bool operator<(const AONResultValue& rhs) const { return mValue < rhs.mValue; }
    inline bool operator>(const AONResultValue& rhs) const { return mValue > rhs.mValue; }
    inline bool operator<=(const AONResultValue& rhs) const { return mValue <= rhs.mValue; }
    inline bool operator>=(const AONResultValue& rhs) const { return mValue >= rhs.mValue; }

    inline std::string toString() const {
        static const char* const kNames[] = {"byteValue",  "byteArray",   "intValue",
                                             "intArray",   "stringValue", "floatValue",
                                             "floatArray", "doubleValue", "doubleArray",
                                             "booleanValue"};
        return std::string("AONResultValue{") + kNames[mValue.index()] + ": " +
               std::visit([](const auto& v) { return internal::ToString(v); }, mValue) + "}";
    }

  private:
    std::variant<int8_t, std::vector<uint8_t>, int32_t, std::vector<int32_t>, std::string, float,
                 std::vector<float>, double, std::vector<double>, bool>
            mValue;
};

namespace internal {

// Host-only: the bytes a device's parcel takes for the union as an argument or a field: the
// presence marker, the tag, then the member that is set (byte and boolean widened to 4 bytes).
inline size_t ParcelSize(const AONResultValue& value) {
    using Tag = AONResultValue::Tag;
    size_t member = 4;
    switch (value.getTag()) {
        case Tag::byteValue:
        case Tag::intValue:
        case Tag::floatValue:
        case Tag::booleanValue:
            break;
        case Tag::doubleValue:
            member = 8;
            break;
        case Tag::byteArray:
            member = host::ParcelByteArraySize(value.get<Tag::byteArray>().size());
            break;
        case Tag::intArray:
            member = host::ParcelArraySize(value.get<Tag::intArray>().size(), 4);
            break;
        case Tag::floatArray:
            member = host::ParcelArraySize(value.get<Tag::floatArray>().size(), 4);
            break;
        case Tag::doubleArray:
            member = host::ParcelArraySize(value.get<Tag::doubleArray>().size(), 8);
            break;
        case Tag::stringValue:
            member = host::ParcelStringSize(value.get<Tag::stringValue>());
            break;
    }
    return host::kUnionHeaderBytes + member;
}

}  // namespace internal

}  // namespace aidl::vendor::tarvo::hardware::camera::aon
