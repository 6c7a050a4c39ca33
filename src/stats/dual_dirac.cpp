#include "core/boundary.h"
#include "core/handle_table.h"
#include "primitives/vec.h"
#include "stats/jitter_slots.h"

namespace vomo {
namespace {

// A measurement of Rj passes over the first points of each curve, and a line needs two points more.
constexpr uint32_t kFirstRjPoint = 10;
constexpr uint32_t kFewestRjPoints = kFirstRjPoint + 2;
constexpr uint32_t kFewestPoints = 2;

struct FitSettings {
  bool measure_rj;
  double rj_s;  // given; 0.0 asks for the measurement
  double bin_size_s, target_q;
  uint32_t bin_trim_count, tail_points;
};

// The histogram and the running sums of its kept bins from both ends.
struct Distribution {
  Received<double> pdf;
  double *cdf_from_right = nullptr, *cdf_from_left = nullptr;
  double first_bin_s = 0.0;
  uint32_t bin_count = 0;

  // The last element of a running sum is about 1, minus infinity on the Q scale: it is left out.
  uint32_t fit_count() const { return bin_count - 1; }
};

struct QCurves {
  Received<double> from_right;  // owns the block of both
  double *from_left = nullptr;
};

// One side of the distribution on its own axis, on which its curve falls and its tail lies at the
// far end. The left side's axis is mirrored.
struct Side {
  const double *q;
  double first_x_s;
  uint32_t count;
};

struct TailFit {
  double rj_s;
  double dirac_s;   // abscissa at Q 0
  double target_s;  // abscissa at the target Q
};

VomoStatus BuildDistribution(const double *jitter, uint32_t count, const FitSettings &settings,
                             Distribution &result) {
  return VomoCREATE_PDF_CDF(jitter, count, settings.bin_size_s, settings.bin_trim_count,
                            &result.first_bin_s, &result.bin_count, result.pdf.pointer(),
                            &result.cdf_from_right, &result.cdf_from_left, result.pdf.handle_out());
}

VomoStatus BuildQCurves(const Distribution &distribution, double bin_size_s, QCurves &result) {
  return VomoCREATE_QSCALE_FROM_CDF(distribution.cdf_from_right, distribution.cdf_from_left,
                                    bin_size_s, distribution.first_bin_s, distribution.fit_count(),
                                    result.from_right.pointer(), &result.from_left,
                                    result.from_right.handle_out());
}

// Rj from the slope of the whole curve but for its first points. The abscissae of this fit are a
// ramp of single precision parameters; those of the intercept are not.
VomoStatus MeasureRj(const Side &side, double bin_size_s, double &rj_s) {
  const Scratch<double> x(side.count);
  VecRamp_64f(x.get(), static_cast<int32_t>(side.count), static_cast<float>(side.first_x_s),
              static_cast<float>(bin_size_s));
  double slope, intercept, goodness;
  const VomoStatus status = Vomo_Find_Linear_Fit(x.get(), side.q, side.count, kFirstRjPoint,
                                                 side.count - 1, &slope, &intercept, &goodness);
  if (!Vomo_STATUS_IS_ERROR(status)) rj_s = -1.0 / slope;
  return status;
}

VomoStatus FitTail(const Side &side, const FitSettings &settings, TailFit &tail) {
  tail.rj_s = settings.rj_s;
  if (settings.measure_rj) {
    const VomoStatus status = MeasureRj(side, settings.bin_size_s, tail.rj_s);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
  }
  double slope, intercept;
  const VomoStatus status =
      VomoFIT_CDF(&side.count, side.q, settings.bin_size_s, side.first_x_s, -1.0 / tail.rj_s,
                  settings.target_q, settings.tail_points, &tail.target_s, &slope, &intercept);
  if (!Vomo_STATUS_IS_ERROR(status)) tail.dirac_s = intercept * tail.rj_s;
  return status;
}

// Keeps the curves and lines of a finished fit in the working records.
void KeepCurves(const FitSettings &settings, const TailFit &left, const TailFit &right,
                Distribution &distribution, QCurves &curves) {
  VomoHandle handle;
  auto &pdf = JitterSlots().pdf.working;
  pdf.record.dFirstBinValue = distribution.first_bin_s;
  pdf.record.dPDFBinSize = settings.bin_size_s;
  pdf.record.ulBinCount = distribution.bin_count;
  distribution.pdf.Deliver(&pdf.record.pdPDF, &handle);
  pdf.block.Hold(handle);

  auto &q = JitterSlots().q.working;
  q.record.dFirstBinValue = distribution.first_bin_s;
  q.record.dPDFBinSize = settings.bin_size_s;
  q.record.ulFitCount = distribution.fit_count();
  q.record.dLeftLineX0 = left.dirac_s;
  q.record.dLeftLineX1 = left.target_s;
  q.record.dRightLineX0 = right.dirac_s;
  q.record.dRightLineX1 = right.target_s;
  q.record.dLeftLineY0 = q.record.dRightLineY0 = 0.0;
  q.record.dLeftLineY1 = q.record.dRightLineY1 = settings.target_q;
  q.record.pdQFromLeft = curves.from_left;
  curves.from_right.Deliver(&q.record.pdQFromRight, &handle);
  q.block.Hold(handle);
}

VomoStatus FitDualDirac(const double *jitter, uint32_t count, const FitSettings &settings,
                        TailFit &left, TailFit &right) {
  Distribution distribution;
  VomoStatus status = BuildDistribution(jitter, count, settings, distribution);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  const uint32_t fit_count = distribution.fit_count();
  if (fit_count < (settings.measure_rj ? kFewestRjPoints : kFewestPoints)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  QCurves curves;
  status = BuildQCurves(distribution, settings.bin_size_s, curves);
  if (Vomo_STATUS_IS_ERROR(status)) return status;

  const double last_bin_s = fit_count * settings.bin_size_s + distribution.first_bin_s;
  status = FitTail({curves.from_right.get(), -last_bin_s, fit_count}, settings, left);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status = FitTail({curves.from_left, distribution.first_bin_s, fit_count}, settings, right);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  KeepCurves(settings, left, right, distribution, curves);
  return status;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIT_DUAL_DIRAC(const double *pdJitter, uint32_t ulCount,
                                         uint32_t ulTrimCount, VomoComplianceParams sParameters,
                                         double *pdRjRMS, VomoComplianceResults *psResults,
                                         double *pdDj, double *pdTj) noexcept {
  if (pdJitter == nullptr || pdRjRMS == nullptr || psResults == nullptr || pdDj == nullptr ||
      pdTj == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  // The former fit's blocks go first, so that two fits never stand in memory side by side; a fit
  // that fails leaves no curves.
  JitterSlots().pdf.working.Drop();
  JitterSlots().q.working.Drop();
  if (2 * uint64_t{ulTrimCount} >= ulCount) return Vomo_STATUS_PARAM_NOT_VALID;
  const FitSettings settings{*pdRjRMS == 0.0,
                             *pdRjRMS,
                             sParameters.dPDFBinSize,
                             sParameters.dTargetBERQVal,
                             sParameters.ulRemoveBinsNumPoints,
                             sParameters.ulNumPointsToUseInCdfFit};
  return Guarded([&] {
    TailFit left{}, right{};
    const VomoStatus status =
        FitDualDirac(pdJitter + ulTrimCount, ulCount - 2 * ulTrimCount, settings, left, right);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    psResults->dDualDiracLeft = left.dirac_s;
    psResults->dDualDiracRight = right.dirac_s;
    // The left position stands on the mirrored axis, so the distance is a sum.
    *pdDj = left.dirac_s + right.dirac_s;
    *pdTj = left.target_s + right.target_s;
    if (settings.measure_rj) *pdRjRMS = 0.5 * (left.rj_s + right.rj_s);
    return status;
  });
}
