// What the transforms take from FFTW, for both precisions: short complex transforms in place.
#ifndef VOMO_PRIMITIVES_DFT_FFTW_H
#define VOMO_PRIMITIVES_DFT_FFTW_H

#include <fftw3.h>

#include <complex>
#include <cstdint>
#include <mutex>
#include <new>
#include <utility>

namespace vomo::fftw {

// FFTW's planner has one state for the whole process: making and destroying plans takes this lock.
// Running a plan needs none.
inline std::mutex &PlannerMutex() {
  static std::mutex mutex;
  return mutex;
}

template <class Real>
struct Api;

template <>
struct Api<double> {
  using Plan = fftw_plan;
  static constexpr auto *kMake = fftw_plan_guru64_dft;
  static constexpr auto *kRun = fftw_execute_dft;
  static constexpr auto *kDestroy = fftw_destroy_plan;
};

template <>
struct Api<float> {
  using Plan = fftwf_plan;
  static constexpr auto *kMake = fftwf_plan_guru64_dft;
  static constexpr auto *kRun = fftwf_execute_dft;
  static constexpr auto *kDestroy = fftwf_destroy_plan;
};

// Forward transforms of count arrays, distance values apart, each of length values, in place.
//
// Plans are estimated, never measured: a measured plan depends on what the clock happened to say,
// and so would the last bits of the results.
template <class Real>
class Plan {
 public:
  using Complex = std::complex<Real>;

  Plan() = default;
  // values: the array to plan for, on a cache line's boundary; it is not touched. Throws
  // std::bad_alloc.
  Plan(Complex *values, int64_t length, int64_t count, int64_t distance) {
    const fftw_iodim64 shape{length, 1, 1}, repeat{count, distance, distance};
    const std::lock_guard lock(PlannerMutex());
    plan_ = Api<Real>::kMake(1, &shape, 1, &repeat, Raw(values), Raw(values), FFTW_FORWARD,
                             FFTW_ESTIMATE);
    if (plan_ == nullptr) throw std::bad_alloc();
  }
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

  // values: any array on a cache line's boundary.
  void Run(Complex *values) const { Api<Real>::kRun(plan_, Raw(values), Raw(values)); }

 private:
  static Real (*Raw(Complex *values))[2] { return reinterpret_cast<Real(*)[2]>(values); }

  typename Api<Real>::Plan plan_ = nullptr;
};

}  // namespace vomo::fftw

#endif
