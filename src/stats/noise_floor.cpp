#include <algorithm>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "core/status.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

// Segment lengths and the last points at which a segment of the first and second length may begin.
struct SegmentPlan {
  uint32_t length1, length2, length3;  // at least 1
  uint32_t limit1, limit2;

  // A long segment can pass both limits at once: the second length is then never used.
  uint32_t LengthAt(uint32_t start) const {
    if (start <= limit1) return length1;
    return start <= limit2 ? length2 : length3;
  }
};

SegmentPlan PlanSegments(const VomoNoiseFloorAlgParams &params, uint32_t count,
                         double time_step_s) {
  const double bin_hz = 1.0 / (static_cast<double>(2u * count - 2u) * time_step_s);
  const auto length = [&](double range_hz) {
    return std::max(VomoToU32(range_hz / bin_hz + 0.5), 1u);
  };
  return {length(params.dNoiseFreqRange1), length(params.dNoiseFreqRange2),
          length(params.dNoiseFreqRange3), VomoToU32(params.dNoiseFloorCutoff1 / bin_hz),
          VomoToU32(params.dNoiseFloorCutoff2 / bin_hz)};
}

struct Spread {
  double median = 0.0;
  double deviation = 0.0;  // of a single value: 0
};

Spread MeasureSpread(const double *values, uint32_t count) {
  if (count == 1) return {values[0], 0.0};
  Spread spread;
  Vomo_MEDIAN_DOUBLE(values, 0, count - 1, &spread.median);
  VomoFIND_STD_DEV_DOUBLE(values, 0, count - 1, &spread.deviation);
  return spread;
}

// Room that grows to the longest segment, for the values that stay in the statistics.
class Selection {
 public:
  // Copies the values below the limit; none are below a NaN.
  uint32_t Below(double limit, const double *values, uint32_t count) {
    if (kept_.size() < count) kept_ = Scratch<double>(count);
    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; ++i) {
      kept_[kept] = values[i];
      kept += values[i] < limit;
    }
    return kept;
  }
  const double *values() const { return kept_.get(); }

 private:
  Scratch<double> kept_;
};

// Floor over one segment of magnitudes: some standard deviations above the median, both taken again
// without the outliers if these are to be ignored. With nothing left the first pair stands.
double SegmentFloor(const VomoNoiseFloorAlgParams &params, const double *magnitudes, uint32_t count,
                    Selection &selection) {
  Spread spread = MeasureSpread(magnitudes, count);
  const double ignore_from = static_cast<double>(params.fMultFromMedianToIgnore) * spread.median;
  if (params.fMultFromMedianToIgnore != 0.0f) {
    const uint32_t kept = selection.Below(ignore_from, magnitudes, count);
    if (kept != 0) spread = MeasureSpread(selection.values(), kept);
  }
  return static_cast<double>(params.fNumStandardDeviations) * spread.deviation + spread.median;
}

// Replaces the magnitudes by their floor, segment by segment.
void FlattenToFloor(const VomoNoiseFloorAlgParams &params, const SegmentPlan &plan,
                    double *magnitudes, uint32_t count) {
  Selection selection;
  for (uint32_t start = 0; start < count;) {
    const uint32_t length = std::min(plan.LengthAt(start), count - start);
    const double floor = SegmentFloor(params, magnitudes + start, length, selection);
    std::fill_n(magnitudes + start, length, floor);
    start += length;
  }
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_NOISE_FLOOR(const VomoComplexDouble *pcSpectrum, uint32_t ulCount,
                                           VomoNoiseFloorAlgParams sNoiseFloorAlgParams,
                                           double dTimeStep, double **ppdFloor,
                                           VomoHandle *pHandle) noexcept {
  if (pcSpectrum == nullptr || ppdFloor == nullptr || pHandle == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  if (ulCount == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  return Guarded([&] {
    BlockOf<double> own;
    if (*ppdFloor == nullptr) own = BlockOf<double>::Allocate(ulCount);
    double *const floor = own ? own.get() : *ppdFloor;
    const int32_t status = VecMagnitude_64fc(pcSpectrum, floor, static_cast<int32_t>(ulCount));
    if (status != 0) return PrimitiveFailure(status, Vomo_STATUS_COMPUTATION_ERROR);
    FlattenToFloor(sNoiseFloorAlgParams, PlanSegments(sNoiseFloorAlgParams, ulCount, dTimeStep),
                   floor, ulCount);
    *pHandle = 0;
    if (own) own.Deliver(ppdFloor, pHandle);
    return Vomo_STATUS_SUCCESS;
  });
}
