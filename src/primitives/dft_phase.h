// Roots of unity whose index is exact, however long the transform.
#ifndef VOMO_PRIMITIVES_DFT_PHASE_H
#define VOMO_PRIMITIVES_DFT_PHASE_H

#include <cstdint>
#include <vector>

#include "primitives/dft_kernels.h"

namespace vomo {

struct Phase {
  double re, im;
};

// exp(-2 pi i p / modulus) for every integer p, as the product of an entry of a coarse and one of a
// fine table, of about sqrt(modulus) entries each. Moduli up to 2^33.
class PhaseTable {
 public:
  explicit PhaseTable(uint64_t modulus);

  uint64_t modulus() const { return modulus_; }

  // p below the modulus.
  Phase At(uint64_t p) const {
    const Phase &a = coarse_[p >> shift_];
    const Phase &b = fine_[p & (fine_.size() - 1)];
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
  }

 private:
  uint64_t modulus_;
  unsigned shift_;
  std::vector<Phase> coarse_;
  std::vector<Phase> fine_;
};

// Phases in arithmetic progression: element r has the index start + r * step. step and start are
// below the table's modulus and r below 2^30.
class PhaseRamp {
 public:
  void Set(const PhaseTable &table, uint64_t start, uint64_t step, int64_t count);

  // Factors of the elements from first on, to the end of its group of 64, times scale.
  PhaseChunk Chunk(int64_t first, double scale, double sign) const;

 private:
  const PhaseTable *table_ = nullptr;
  uint64_t start_ = 0;
  uint64_t step_ = 0;
  double fine_re_[kPhaseChunk];
  double fine_im_[kPhaseChunk];
};

}  // namespace vomo

#endif
