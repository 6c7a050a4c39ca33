// Real transforms of odd composite length through a plane: two real columns are transformed as one
// complex column, and half of the rows say it all.
#ifndef VOMO_PRIMITIVES_DFT_REAL_PLANE_H
#define VOMO_PRIMITIVES_DFT_REAL_PLANE_H

#include <array>
#include <complex>
#include <cstdint>

#include "primitives/dft_plane.h"

namespace vomo {

template <class Real>
class RealPlane {
 public:
  using Complex = std::complex<Real>;

  // Both sides are odd.
  explicit RealPlane(PlaneShape shape) : plane_(shape, shape.rows / 2 + 1) {}

  void Forward(const Real *src, Complex *dst, double scale);
  // The imaginary part of bin 0 is not read.
  void Inverse(const Complex *src, Real *dst, double scale);

 private:
  static constexpr int64_t kLanes = Plane<Real>::kLanes;
  // Columns that share the lanes.
  static constexpr int64_t kBlock = 2 * kLanes;

  int64_t KeptRows() const { return plane_.rows() / 2 + 1; }
  int64_t LanesFrom(int64_t column) const;
  template <class Body>
  void ForTwistedPairs(int64_t first_column, Body body);
  void LoadLanes(const Real *src, int64_t first_column) const;
  void StoreLanes(int64_t first_column, Real *dst) const;
  void LanesToRows(int64_t first_column);
  void RowsToLanes(int64_t first_column);
  template <class Body>
  void ForBins(int64_t first_row, Body body) const;
  void RowsToBins(int64_t first_row, Real *bins, double scale) const;
  void BinsToRows(const Real *bins, int64_t first_row, double scale) const;

  Plane<Real> plane_;
  std::array<PhaseRamp, kBlock> twists_;
};

extern template class RealPlane<float>;
extern template class RealPlane<double>;

}  // namespace vomo

#endif
