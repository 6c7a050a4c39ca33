#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// Replaces each x by erfinv(1 - x), the inverse of the complementary error function.
VomoStatus VomoInverseErfcArray(double *values, int32_t count) {
  int32_t status = VecConstMinus_64f(values, 1.0, values, count);
  if (status == 0) status = VecErfInv_64f(values, values, count);
  return status == 0 ? Vomo_STATUS_SUCCESS
                     : PrimitiveFailure(status, Vomo_STATUS_COMPUTATION_ERROR);
}

// Q(p) = sqrt(2) erfinv(1 - 2p). A failing inverse doesn't end the conversion.
void ToQScale(const double *probability, double *q, int32_t count) {
  constexpr double kSqrt2 = 1.4142135623730951;
  VecScale_64f(probability, 2.0, q, count);
  static_cast<void>(VomoInverseErfcArray(q, count));
  VecScaleInPlace_64f(kSqrt2, q, count);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoCREATE_QSCALE_FROM_CDF(const double *pdCDFFromRight,
                                                 const double *pdCDFFromLeft, double /*dBinSize*/,
                                                 double /*dFirstBinValue*/, uint32_t ulCount,
                                                 double **ppdQFromRight, double **ppdQFromLeft,
                                                 VomoHandle *pHandle) noexcept {
  const bool from_right = ppdQFromRight != nullptr, from_left = ppdQFromLeft != nullptr;
  if ((!from_right && !from_left) || (from_right && pdCDFFromRight == nullptr) ||
      (from_left && pdCDFFromLeft == nullptr) || pHandle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    auto curves = BlockOf<double>::Allocate(uint64_t{ulCount} * (from_right + from_left));
    const auto count = static_cast<int32_t>(ulCount);
    double *right = curves.get();
    double *left = from_right ? right + ulCount : right;
    if (from_right) ToQScale(pdCDFFromRight, right, count);
    if (from_left) ToQScale(pdCDFFromLeft, left, count);
    if (from_right) *ppdQFromRight = right;
    if (from_left) *ppdQFromLeft = left;
    double *block;
    curves.Deliver(&block, pHandle);
    return Vomo_STATUS_SUCCESS;
  });
}
