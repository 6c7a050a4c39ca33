// The few functions of FFTW that the transforms use, under one name for both precisions.
#ifndef VOMO_PRIMITIVES_DFT_FFTW_H
#define VOMO_PRIMITIVES_DFT_FFTW_H

#include <fftw3.h>

#include <complex>
#include <cstdint>
#include <memory>
#include <mutex>
#include <type_traits>
#include <utility>

namespace vomo::fftw {

// FFTW's planner has one state for the whole process: making and destroying plans is serialised.
// Running a plan needs no lock.
std::mutex &PlannerMutex();

template <class Real>
struct Api;

template <>
struct Api<double> {
  using Plan = fftw_plan;
  static constexpr auto *kComplex = fftw_plan_guru64_dft;
  static constexpr auto *kToBins = fftw_plan_guru64_dft_r2c;
  static constexpr auto *kFromBins = fftw_plan_guru64_dft_c2r;
  static constexpr auto *kRunComplex = fftw_execute_dft;
  static constexpr auto *kRunToBins = fftw_execute_dft_r2c;
  static constexpr auto *kRunFromBins = fftw_execute_dft_c2r;
  static constexpr auto *kDestroy = fftw_destroy_plan;
};

template <>
struct Api<float> {
  using Plan = fftwf_plan;
  static constexpr auto *kComplex = fftwf_plan_guru64_dft;
  static constexpr auto *kToBins = fftwf_plan_guru64_dft_r2c;
  static constexpr auto *kFromBins = fftwf_plan_guru64_dft_c2r;
  static constexpr auto *kRunComplex = fftwf_execute_dft;
  static constexpr auto *kRunToBins = fftwf_execute_dft_r2c;
  static constexpr auto *kRunFromBins = fftwf_execute_dft_c2r;
  static constexpr auto *kDestroy = fftwf_destroy_plan;
};

// One plan, made for a pair of arrays and run on any other pair of the same alignment, identity and
// shape. Plans are estimated, never measured: a measured plan depends on what the clock happened to
// say, and so would the last bits of the results.
template <class Real>
class Plan {
 public:
  using Complex = std::complex<Real>;

  // Transforms of length n along one stride, howmany of them along another. Strides count elements.
  struct Shape {
    int64_t length = 1;
    int64_t stride = 1;
    int64_t howmany = 1;
    int64_t distance = 0;
  };

  Plan() = default;
  Plan(Plan &&other) noexcept : plan_(std::exchange(other.plan_, nullptr)) {}
  Plan &operator=(Plan &&other) noexcept {
    std::swap(plan_, other.plan_);
    return *this;
  }
  ~Plan() {
    if (plan_ == nullptr) return;
    const std::lock_guard lock(PlannerMutex());
    Api<Real>::kDestroy(plan_);
  }

  // sign: FFTW_FORWARD or FFTW_BACKWARD.
  static Plan ForComplex(const Shape &shape, Complex *in, Complex *out, int sign) {
    return Make(Api<Real>::kComplex, shape, Raw(in), Raw(out), sign,
                FFTW_ESTIMATE | Alignment(in, out));
  }
  static Plan ForRealToBins(int64_t length, Real *in, Complex *out) {
    return Make(Api<Real>::kToBins, {length}, in, Raw(out), FFTW_ESTIMATE | Alignment(in, out));
  }
  // The bins are overwritten by a run.
  static Plan ForBinsToReal(int64_t length, Complex *in, Real *out) {
    return Make(Api<Real>::kFromBins, {length}, Raw(in), out,
                FFTW_ESTIMATE | FFTW_DESTROY_INPUT | Alignment(in, out));
  }

  explicit operator bool() const { return plan_ != nullptr; }

  void Run(Complex *in, Complex *out) const { Api<Real>::kRunComplex(plan_, Raw(in), Raw(out)); }
  void Run(Real *in, Complex *out) const { Api<Real>::kRunToBins(plan_, in, Raw(out)); }
  void Run(Complex *in, Real *out) const { Api<Real>::kRunFromBins(plan_, Raw(in), out); }

  // Plans for aligned arrays and for others differ.
  static bool Aligned(const void *array) { return reinterpret_cast<uintptr_t>(array) % 32 == 0; }

 private:
  static Real (*Raw(Complex *values))[2] { return reinterpret_cast<Real(*)[2]>(values); }

  static unsigned Alignment(const void *in, const void *out) {
    return Aligned(in) && Aligned(out) ? 0u : unsigned{FFTW_UNALIGNED};
  }

  template <class Function, class... Rest>
  static Plan Make(Function function, const Shape &shape, Rest... rest) {
    const fftw_iodim64 dim{shape.length, shape.stride, shape.stride};
    const fftw_iodim64 many{shape.howmany, shape.distance, shape.distance};
    const std::lock_guard lock(PlannerMutex());
    Plan result;
    result.plan_ = function(1, &dim, 1, &many, rest...);
    return result;
  }

  typename Api<Real>::Plan plan_ = nullptr;
};

}  // namespace vomo::fftw

#endif
