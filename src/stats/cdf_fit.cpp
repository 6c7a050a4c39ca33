#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"
#include "primitives/vec.h"
#include "stats/linear_fit.h"

namespace vomo {
namespace {

struct Line {
  double slope, intercept;
};

// Abscissae by running addition.
Scratch<double> Abscissae(double first, double step, uint32_t count) {
  Scratch<double> x(count);
  x[0] = first;
  for (uint32_t i = 1; i < count; ++i) x[i] = x[i - 1] + step;
  return x;
}

// Intercept of a line of given slope through the end of the curve: the mean of the points' own
// intercepts, taken from the last one backwards as long as they don't drop. Element 0 is never
// used, and at most most_points are; a number above the count leaves the last point alone. Writes
// the points' intercepts over their abscissae.
double InterceptAtEnd(const double *q, double *x, uint32_t count, double slope,
                      uint32_t most_points) {
  constexpr double kLargestDrop = 0.01;  // on the Q scale
  const auto intercept = [&](uint32_t i) { return q[i] - x[i] * slope; };
  const uint32_t first_allowed = count - most_points;
  double *const b = x;
  uint32_t i = count - 1;
  b[i] = intercept(i);
  for (--i; i != 0 && i >= first_allowed; --i) {
    b[i] = intercept(i);
    if (b[i + 1] - b[i] > kLargestDrop) break;
  }
  double mean;
  VecMean_64f(b + i + 1, static_cast<int32_t>(count - i - 1), &mean);
  return mean;
}

// Searches the slices of the curve for the line with the smallest positive goodness. Each inner
// round adds one point to the slice, and with it one term to each running sum.
VomoStatus SearchLine(const double *q, const double *x, uint32_t count, Line &result) {
  double best = 1e100;
  bool found = false;
  for (uint32_t first = count - 3; count > 3 && first >= 1; --first) {
    double sum_x = 0.0, sum_y = 0.0;
    SliceMoments slice{};
    const uint32_t end = std::min(count - 3, count - first);
    for (uint32_t last = first; last < end; ++last) {
      ++slice.point_count;
      sum_x += x[last];
      sum_y += q[last];
      slice.sum_xx += x[last] * x[last];
      slice.sum_xy += x[last] * q[last];
      slice.sum_yy += q[last] * q[last];
      if (last < 3) continue;
      slice.mean_x = sum_x / slice.point_count;
      slice.mean_y = sum_y / slice.point_count;
      const FittedLine line = FitLine(slice, count);
      if (!(line.goodness > 0.0 && line.goodness < best)) continue;
      best = line.goodness;
      result = {line.slope, line.intercept};
      found = true;
    }
  }
  return found ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PARAM_NOT_VALID;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIT_CDF(const uint32_t *pulCount, const double *pdQ, double dStep,
                                  double dFirstX, double dSlope, double dTargetQ,
                                  uint32_t ulNumPoints, double *pdTargetX, double *pdSlopeOut,
                                  double *pdInterceptOut) noexcept {
  if (pulCount == nullptr || pdQ == nullptr || pdTargetX == nullptr || pdSlopeOut == nullptr ||
      pdInterceptOut == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  const uint32_t count = *pulCount;
  if (count < 2 || 0.0 >= dStep) return Vomo_STATUS_PARAM_NOT_VALID;  // a NaN step passes
  return Guarded([&] {
    const Scratch<double> x = Abscissae(dFirstX, dStep, count);
    Line line{dSlope, 0.0};
    VomoStatus status = Vomo_STATUS_SUCCESS;
    if (dSlope != 0.0) {
      line.intercept = InterceptAtEnd(pdQ, x.get(), count, dSlope, ulNumPoints);
    } else {
      status = SearchLine(pdQ, x.get(), count, line);
    }
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    *pdTargetX = (dTargetQ - line.intercept) / line.slope;
    *pdSlopeOut = line.slope;
    *pdInterceptOut = line.intercept;
    return status;
  });
}
