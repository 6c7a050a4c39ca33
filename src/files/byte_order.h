// Numbers out of the bytes of a file, in a stated byte order.
#ifndef VOMO_FILES_BYTE_ORDER_H
#define VOMO_FILES_BYTE_ORDER_H

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace vomo {

enum class ByteOrder { kLittle, kBig };

constexpr bool IsNative(ByteOrder order) {
  return (order == ByteOrder::kLittle) == (std::endian::native == std::endian::little);
}

// The unsigned integer of a number's width, for moving its bits.
template <size_t kBytes>
struct BitsOfWidth;
template <>
struct BitsOfWidth<1> {
  using Type = uint8_t;
};
template <>
struct BitsOfWidth<2> {
  using Type = uint16_t;
};
template <>
struct BitsOfWidth<4> {
  using Type = uint32_t;
};
template <>
struct BitsOfWidth<8> {
  using Type = uint64_t;
};
template <class T>
using Bits = typename BitsOfWidth<sizeof(T)>::Type;

constexpr uint8_t ReverseBytes(uint8_t bits) {
  return bits;
}
constexpr uint16_t ReverseBytes(uint16_t bits) {
  return static_cast<uint16_t>(bits << 8 | bits >> 8);
}
constexpr uint32_t ReverseBytes(uint32_t bits) {
  return __builtin_bswap32(bits);
}
constexpr uint64_t ReverseBytes(uint64_t bits) {
  return __builtin_bswap64(bits);
}

// The number whose bytes stand at an address of any alignment.
template <class T>
T LoadNumber(const uint8_t *bytes, bool reversed) {
  Bits<T> bits;
  std::memcpy(&bits, bytes, sizeof bits);
  return std::bit_cast<T>(reversed ? ReverseBytes(bits) : bits);
}

// Turns the bytes of each number of an array round.
template <class T>
void ReverseNumbers(T *numbers, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) {
    numbers[i] = std::bit_cast<T>(ReverseBytes(std::bit_cast<Bits<T>>(numbers[i])));
  }
}

// The fields of a header. What lies beyond the end of its bytes reads as 0, so that a header that
// is shorter than its layout is no special case.
class FieldView {
 public:
  FieldView(std::span<const uint8_t> bytes, ByteOrder order) : bytes_(bytes), order_(order) {}

  size_t size() const { return bytes_.size(); }

  template <class T>
  T At(size_t offset) const {
    uint8_t raw[sizeof(T)] = {};
    if (offset < bytes_.size()) {
      std::memcpy(raw, bytes_.data() + offset, std::min(sizeof(T), bytes_.size() - offset));
    }
    return LoadNumber<T>(raw, !IsNative(order_));
  }

  // Whether the text stands at the offset, letter by letter.
  bool HasText(size_t offset, const char *text) const {
    const size_t length = std::strlen(text);
    return offset <= bytes_.size() && length <= bytes_.size() - offset &&
           std::memcmp(bytes_.data() + offset, text, length) == 0;
  }

 private:
  std::span<const uint8_t> bytes_;
  ByteOrder order_;
};

}  // namespace vomo

#endif
