#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"

namespace vomo {
namespace {

struct SignCounts {
  uint64_t positive, negative;
};

// Positive values go to the front of the room in their order, negative ones to its end in reverse
// order; zeros and NaN are dropped. What stays free in between is shared out as zeros, half to each
// side; an odd place in the middle belongs to neither.
SignCounts SplitBySign(const double *values, uint64_t count, double *room) {
  double *front = room, *back = room + count;
  for (uint64_t i = 0; i < count; ++i) {
    if (values[i] > 0.0) {
      *front++ = values[i];
    } else if (values[i] < 0.0) {
      *--back = values[i];
    }
  }
  const auto half = (back - front) / 2;
  front = std::fill_n(front, half, 0.0);
  back -= half;
  std::fill_n(back, half, 0.0);
  return {static_cast<uint64_t>(front - room), static_cast<uint64_t>(room + count - back)};
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_POSITIVE_AND_NEGATIVE_VALUES(
    const double *pdValues, uint32_t ulFirst, uint32_t ulLast, uint32_t *pulPositiveCount,
    double **ppdPositive, uint32_t *pulNegativeCount, double **ppdNegative,
    VomoHandle *pHandle) noexcept {
  if (pdValues == nullptr || pulPositiveCount == nullptr || ppdPositive == nullptr ||
      pulNegativeCount == nullptr || ppdNegative == nullptr || pHandle == nullptr ||
      ulFirst >= ulLast) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    const uint64_t count = uint64_t{ulLast} - ulFirst + 1;
    auto room = BlockOf<double>::Allocate(count);
    const SignCounts counts = SplitBySign(pdValues + ulFirst, count, room.get());
    *pulPositiveCount = static_cast<uint32_t>(counts.positive);
    *pulNegativeCount = static_cast<uint32_t>(counts.negative);
    *ppdNegative = room.get() + (count - counts.negative);
    room.Deliver(ppdPositive, pHandle);
    return Vomo_STATUS_SUCCESS;
  });
}
