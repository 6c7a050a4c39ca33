#include "primitives/dft_phase.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "primitives/cpu_level.h"

namespace vomo {
namespace {

// exp(-2 pi i p / modulus), p below the modulus. The angle is reduced to an eighth of the circle in
// integers, so that its rounding is the only one.
Phase UnitRoot(uint64_t p, uint64_t modulus) {
  const uint64_t octant = 8 * p / modulus;
  const uint64_t rest = 8 * p % modulus;
  const uint64_t distance = octant % 2 == 0 ? rest : modulus - rest;
  const double angle =
      std::numbers::pi / 4 * (static_cast<double>(distance) / static_cast<double>(modulus));
  const double c = std::cos(angle), s = std::sin(angle);
  switch (octant) {
    case 0:
      return {c, -s};
    case 1:
      return {s, -c};
    case 2:
      return {-s, -c};
    case 3:
      return {-c, -s};
    case 4:
      return {-c, s};
    case 5:
      return {-s, c};
    case 6:
      return {s, c};
    default:
      return {c, s};
  }
}

}  // namespace

PhaseTable::PhaseTable(uint64_t modulus)
    : modulus_(modulus), shift_(static_cast<unsigned>(std::bit_width(modulus) / 2)) {
  const uint64_t fine_count = uint64_t{1} << shift_;
  fine_.resize(fine_count);
  coarse_.resize(((modulus - 1) >> shift_) + 1);
  for (uint64_t i = 0; i < fine_count; ++i) fine_[i] = UnitRoot(i % modulus, modulus);
  for (uint64_t i = 0; i < coarse_.size(); ++i) coarse_[i] = UnitRoot(i << shift_, modulus);
}

void PhaseRamp::Set(const PhaseTable &table, uint64_t start, uint64_t step, int64_t count) {
  table_ = &table;
  start_ = start;
  step_ = step;
  uint64_t index = 0;
  const int64_t fine_count = std::min(count, kPhaseChunk);
  for (int64_t i = 0; i < fine_count; ++i) {
    const Phase phase = table.At(index);
    fine_re_[i] = phase.re;
    fine_im_[i] = phase.im;
    index += step;
    if (index >= table.modulus()) index -= table.modulus();
  }
}

PhaseChunk PhaseRamp::Chunk(int64_t first, double scale, double sign) const {
  const int64_t within = first % kPhaseChunk;
  const auto group = static_cast<uint64_t>(first - within);
  const Phase coarse = table_->At((start_ + group * step_) % table_->modulus());
  return {scale * coarse.re,
          scale * coarse.im,
          fine_re_ + within,
          fine_im_ + within,
          nullptr,
          nullptr,
          sign};
}

template <>
const DftKernels<float> &ActiveDftKernels<float>() {
#if VOMO_X86_LEVELS
  if (ActiveCpuLevel() == CpuLevel::kAvx512) return kernels_avx512::kDftFloat;
  if (ActiveCpuLevel() == CpuLevel::kAvx2) return kernels_avx2::kDftFloat;
#endif
  return kernels_baseline::kDftFloat;
}

template <>
const DftKernels<double> &ActiveDftKernels<double>() {
#if VOMO_X86_LEVELS
  if (ActiveCpuLevel() == CpuLevel::kAvx512) return kernels_avx512::kDftDouble;
  if (ActiveCpuLevel() == CpuLevel::kAvx2) return kernels_avx2::kDftDouble;
#endif
  return kernels_baseline::kDftDouble;
}

}  // namespace vomo
