// The least-squares line, from the moments of the points that it goes through.
#ifndef VOMO_STATS_LINEAR_FIT_H
#define VOMO_STATS_LINEAR_FIT_H

#include <cstdint>

namespace vomo {

// The points of a slice. The sums are not centred.
struct SliceMoments {
  uint32_t point_count;
  double mean_x, mean_y, sum_xx, sum_xy, sum_yy;
};

struct FittedLine {
  double slope, intercept;
  // An adjusted R-squared in form, though with the length of the whole array as sample size and the
  // length of the slice as number of regressors. NaN and infinities come out as they arise.
  double goodness;
};

FittedLine FitLine(const SliceMoments &slice, uint32_t whole_count);

}  // namespace vomo

#endif
