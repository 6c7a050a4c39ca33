// The filters that a run's settings name by order: a brick wall, the first and second order forms,
// and straight slopes without phase.
#include <algorithm>
#include <cmath>

#include "core/boundary.h"
#include "core/handle_table.h"
#include "core/numeric.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

struct Shape {
  double delta_f, fc;
  bool high_pass;
};

// First entry at or above the frequency, at most count.
uint32_t EntryAt(double frequency, double delta_f, uint32_t count) {
  return std::min(VomoToU32(std::ceil(frequency / delta_f)), count);
}

void FillBrickWall(const Shape &shape, double floor, double *magnitude, uint32_t count) {
  const uint32_t edge = EntryAt(shape.fc, shape.delta_f, count);
  std::fill_n(magnitude, edge, shape.high_pass ? floor : 1.0);
  std::fill(magnitude + edge, magnitude + count, shape.high_pass ? 1.0 : floor);
}

// 10^(log2(x) 3 order / 20) along entries first to end - 1, with x the frequency in units of the
// corner. Offset and step of x are rounded to float.
void FillSlope(double corner, double delta_f, double db_per_octave, uint32_t first, uint32_t end,
               double *magnitude) {
  constexpr double kOneOverLn2 = 1.4426950408889634;
  const double r = delta_f / corner;
  const auto length = static_cast<int32_t>(end - first);
  double *const slope = magnitude + first;
  VecRamp_64f(slope, length, static_cast<float>(first * r), static_cast<float>(r));
  VecLnInPlace_64f(slope, length);
  VecScaleInPlace_64f(db_per_octave * kOneOverLn2 * 0.05, slope, length);
  for (double *v = slope; v != magnitude + end; ++v) *v = std::pow(10.0, *v);
}

// 3 dB per octave for each order, flat beyond a corner that lies 1/order octave above fc, so that a
// high pass is 3 dB down at fc. From order 4 on the slope also has a gain.
void FillSlopedFilter(const Shape &shape, uint32_t order, double gain, double *magnitude,
                      uint32_t count) {
  const double db_per_octave = 3.0 * order;
  const double corner = shape.fc * std::pow(2.0, 3.0 / db_per_octave);
  const uint32_t edge = EntryAt(corner, shape.delta_f, count);
  std::fill_n(magnitude, count, 1.0);
  uint32_t first = shape.high_pass ? 0 : edge;
  const uint32_t end = shape.high_pass ? edge : count;
  if (first == end) return;
  if (first == 0) magnitude[first++] = 0.0;  // no logarithm of 0
  if (first == end) return;
  FillSlope(corner, shape.delta_f, db_per_octave, first, end, magnitude);
  if (order >= 4) {
    VecScaleInPlace_64f(gain, magnitude + first, static_cast<int32_t>(end - first));
  }
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoGENERATE_SIMPLE_FILTER(double dDeltaF, uint32_t ulCount,
                                                 int32_t iHighPass, uint32_t eFilterOrder,
                                                 float fBrickFloor, double dFc, float fZ,
                                                 VomoComplexDouble **ppsFilter,
                                                 VomoHandle *phFilter) noexcept {
  if (eFilterOrder == FIRST_ORDER) {
    return VomoGENERATE_FIRST_ORDER_FILTER(dDeltaF, ulCount, iHighPass, dFc, ppsFilter, phFilter);
  }
  if (eFilterOrder == SECOND_ORDER) {
    return VomoGENERATE_SECOND_ORDER_FILTER(dDeltaF, ulCount, iHighPass, dFc,
                                            static_cast<double>(fZ), ppsFilter, phFilter);
  }
  if (ppsFilter == nullptr || phFilter == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    const Scratch<double> magnitude(ulCount);
    auto filter = BlockOf<VomoComplexDouble>::Allocate(ulCount);
    const Shape shape{dDeltaF, dFc, iHighPass != 0};
    if (eFilterOrder == BRICK_WALL) {
      FillBrickWall(shape, static_cast<double>(fBrickFloor), magnitude.get(), ulCount);
    } else {
      FillSlopedFilter(shape, eFilterOrder, static_cast<double>(fZ), magnitude.get(), ulCount);
    }
    VecToComplex_64f(magnitude.get(), nullptr, filter.get(), static_cast<int32_t>(ulCount));
    filter.Deliver(ppsFilter, phFilter);
    return Vomo_STATUS_SUCCESS;
  });
}

// Holds the place of a filter that has no definition yet: it delivers a block of the right size,
// not filled, and says so by its status.
extern "C" VomoStatus VomoGENERATE_CLOCK_ANALYSIS_FILTER(double /*dDeltaF*/, uint32_t ulCount,
                                                         double /*dFc*/, float /*fZ*/,
                                                         VomoComplexDouble **ppsFilter,
                                                         VomoHandle *phFilter) noexcept {
  if (ppsFilter == nullptr || phFilter == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  return Guarded([&] {
    auto filter = BlockOf<VomoComplexDouble>::Allocate(ulCount);
    filter.Deliver(ppsFilter, phFilter);
    return Vomo_STATUS_NOT_IMPLEMENTED;
  });
}
