#include "stats/linear_fit.h"

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {

FittedLine FitLine(const SliceMoments &slice, uint32_t whole_count) {
  const double n = slice.point_count;
  const double sxx = slice.sum_xx - n * slice.mean_x * slice.mean_x;
  const double sxy = slice.sum_xy - n * slice.mean_x * slice.mean_y;
  const double syy = slice.sum_yy - n * slice.mean_y * slice.mean_y;

  FittedLine line;
  line.slope = sxy / sxx;
  line.intercept = slice.mean_y - line.slope * slice.mean_x;
  const double r2 = sxy * sxy / (syy * sxx);
  // For the whole array the difference wraps to 4294967295, which makes the goodness nearly 1.
  const uint32_t freedom = whole_count - slice.point_count - 1u;
  line.goodness = 1.0 - (1.0 - r2) * static_cast<double>(whole_count - 1u) / freedom;
  return line;
}

namespace {

int32_t MeasureSlice(const double *x, const double *y, SliceMoments &slice) {
  const auto length = static_cast<int32_t>(slice.point_count);
  // The length is all that the primitives could refuse here, so one answer stands for all.
  const int32_t status = VecMean_64f(x, length, &slice.mean_x);
  if (status != 0) return status;
  VecMean_64f(y, length, &slice.mean_y);
  const Scratch<double> product(slice.point_count);
  VecSquare_64f(x, product.get(), length);
  VecSum_64f(product.get(), length, &slice.sum_xx);
  VecMul_64f(x, y, product.get(), length);
  VecSum_64f(product.get(), length, &slice.sum_xy);
  VecSquare_64f(y, product.get(), length);
  return VecSum_64f(product.get(), length, &slice.sum_yy);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus Vomo_Find_Linear_Fit(const double *pdX, const double *pdY, uint32_t ulCount,
                                           uint32_t ulFirst, uint32_t ulLast, double *pdSlope,
                                           double *pdIntercept, double *pdGoodness) noexcept {
  if (pdX == nullptr || pdY == nullptr || pdSlope == nullptr || pdIntercept == nullptr ||
      pdGoodness == nullptr || ulLast < ulFirst || ulLast >= ulCount) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    SliceMoments slice{};
    slice.point_count = RangeCount(ulFirst, ulLast);
    const int32_t status = MeasureSlice(pdX + ulFirst, pdY + ulFirst, slice);
    if (status != 0) return PrimitiveFailure(status, Vomo_STATUS_COMPUTATION_ERROR);
    const FittedLine line = FitLine(slice, ulCount);
    *pdSlope = line.slope;
    *pdIntercept = line.intercept;
    *pdGoodness = line.goodness;
    return Vomo_STATUS_SUCCESS;
  });
}
