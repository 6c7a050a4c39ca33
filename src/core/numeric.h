// Conversions from double to integers that are defined for every input.
#ifndef VOMO_CORE_NUMERIC_H
#define VOMO_CORE_NUMERIC_H

#include <cstdint>
#include <limits>

namespace vomo {

// Truncates toward zero; NaN gives 0 and a value beyond the type's ends gives the end.
template <class Integer>
constexpr Integer TruncateSaturated(double value) {
  using Limits = std::numeric_limits<Integer>;
  if (!(value == value)) return 0;
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  if (value >= static_cast<double>(Limits::max())) return Limits::max();
  return static_cast<Integer>(value);
}

constexpr uint32_t VomoToU32(double value) {
  return TruncateSaturated<uint32_t>(value);
}
constexpr int32_t VomoToI32(double value) {
  return TruncateSaturated<int32_t>(value);
}

// Number of elements of an inclusive index range, in unsigned 32 bits: 0 to 0xFFFFFFFF wraps to 0.
constexpr uint32_t RangeCount(uint32_t first, uint32_t last) {
  return last - first + 1u;
}

}  // namespace vomo

#endif
