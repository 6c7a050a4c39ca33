// The inclusive index range that the array functions work on.
#ifndef VOMO_CORE_ARRAY_RANGE_H
#define VOMO_CORE_ARRAY_RANGE_H

#include <cstdint>

#include "core/numeric.h"

namespace vomo {

struct IndexRange {
  uint32_t first;
  uint32_t last;

  // Of a range that is whole (0 to 0xFFFFFFFF) the count wraps to 0.
  uint32_t Count() const { return RangeCount(first, last); }
  // As the primitives take it; a count above 2^31 - 1 is negative and refused there.
  int32_t SignedCount() const { return static_cast<int32_t>(Count()); }
  bool HoldsSeveral() const { return first < last; }
  bool IsOrdered() const { return first <= last; }
};

}  // namespace vomo

#endif
