// Host-only: how large a transaction is on a device. A device's NDK parcel writes little-endian
// words and moves only in steps of 4 bytes; the kernel charges the receiving process's binder
// buffer with the data and the offsets of the binder objects, each rounded up to 8. The host
// transport sizes every transaction with these, so that the desk refuses what a device refuses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace host {

// What libbinder maps for each process: 1 MiB less two pages of 4 KiB.
inline constexpr size_t kBinderBufferBytes = 1024 * 1024 - 2 * 4096;

// A binder object in the data: flat_binder_object (type, flags, handle, cookie: 24 bytes on the
// 64-bit ABI) and the stability level after it. A non-null one adds an entry to the offsets.
inline constexpr size_t kParcelBinderBytes = 28;
inline constexpr size_t kParcelOffsetEntryBytes = 8;

// A parcelable as an argument, field or element: the presence marker and the size header that
// comes before its fields.
inline constexpr size_t kParcelableHeaderBytes = 8;
// A union as an argument or field: the presence marker and the tag.
inline constexpr size_t kUnionHeaderBytes = 8;

inline constexpr size_t ParcelPad4(size_t bytes) {
    return (bytes + 3) & ~size_t{3};
}

// The UTF-16 units of a UTF-8 text (a stray byte counts as one).
inline size_t Utf16Units(std::string_view utf8) {
    size_t units = 0;
    for (const char c : utf8) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xC0) == 0x80) continue;  // continuation byte
        units += byte >= 0xF0 ? 2 : 1;        // four-byte sequences need a surrogate pair
    }
    return units;
}

// A String (String16 on the wire): the count of UTF-16 units, then the units and a 0 terminator,
// padded to 4. "" takes 8 bytes.
inline size_t ParcelStringSize(std::string_view utf8) {
    return 4 + ParcelPad4((Utf16Units(utf8) + 1) * 2);
}

// byte[]: the length, then the bytes padded to 4.
inline constexpr size_t ParcelByteArraySize(size_t count) {
    return 4 + ParcelPad4(count);
}

// int[], float[], boolean[] (4 bytes an element), long[], double[] (8): the length, then the
// elements.
inline constexpr size_t ParcelArraySize(size_t count, size_t elementBytes) {
    return 4 + count * elementBytes;
}

// The interface token that starts every transaction: the strict-mode policy, the work-source uid,
// the header word, then the interface descriptor as a String.
inline size_t InterfaceTokenSize(std::string_view descriptor) {
    return 12 + ParcelStringSize(descriptor);
}

// What the kernel takes from the receiving buffer: data and offsets each rounded up to 8, at
// least 8 bytes.
inline constexpr size_t KernelCharge(size_t dataBytes, size_t offsetsBytes) {
    const size_t charge = ((dataBytes + 7) & ~size_t{7}) + ((offsetsBytes + 7) & ~size_t{7});
    return charge < 8 ? 8 : charge;
}

}  // namespace host
