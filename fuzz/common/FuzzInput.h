// fuzz::FuzzInput: reads a fuzzer's bytes as a sequence of small decisions. Once the bytes run
// out every read answers 0, so any prefix of an input is itself a valid input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

namespace fuzz {

class FuzzInput final {
  public:
    FuzzInput(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    bool empty() const { return mOffset >= mSize; }

    uint8_t Byte() { return empty() ? 0 : mData[mOffset++]; }
    bool Bool() { return (Byte() & 1) != 0; }
    uint16_t U16() {
        const uint16_t low = Byte();  // the operands of | are unsequenced: read in two statements
        return static_cast<uint16_t>(low | (Byte() << 8));
    }
    uint32_t U32() {
        uint32_t value = 0;
        for (int shift = 0; shift < 32; shift += 8) value |= static_cast<uint32_t>(Byte()) << shift;
        return value;
    }
    // A value in [0, bound); bound must be at most 256.
    uint32_t Below(uint32_t bound) { return bound == 0 ? 0 : Byte() % bound; }

    // One of `choices`, or (index one past the end) an arbitrary 32-bit value.
    template <typename T>
    T PickOrRaw(std::initializer_list<T> choices) {
        const uint32_t index = Below(static_cast<uint32_t>(choices.size()) + 1);
        if (index == choices.size()) return static_cast<T>(U32());
        return *(choices.begin() + index);
    }

    // Up to `max` bytes (fewer when the input runs out), copied to `out`.
    void Bytes(uint8_t* out, size_t max) {
        const size_t count = empty() ? 0 : max < mSize - mOffset ? max : mSize - mOffset;
        if (count != 0) std::memcpy(out, mData + mOffset, count);
        mOffset += count;
    }

  private:
    const uint8_t* mData;
    size_t mSize;
    size_t mOffset = 0;
};

}  // namespace fuzz
