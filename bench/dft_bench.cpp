// Transforms of awkward lengths against a smooth neighbour and against FFTW alone. A specification
// is made, run once and freed, as the callers do; FFTW alone plans, runs once and forgets the plan.
#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <type_traits>
#include <vector>

#include "primitives/dft.h"
#include "support/dft_reference.h"

namespace {

template <class Real>
using Bins = std::vector<std::complex<Real>>;

template <class Real>
Bins<Real> RoomFor(const std::vector<Real> &samples) {
  return Bins<Real>(samples.size() / 2 + 1);
}

void ToBins(const std::vector<double> &samples, Bins<double> *bins) {
  vomo::DftSpec *spec = nullptr;
  vomo::DftSpecCreate_R_64f(&spec, static_cast<int32_t>(samples.size()), vomo::kDftDivideInverse,
                            0);
  vomo::DftForward_R_64f(samples.data(), reinterpret_cast<VomoComplexDouble *>(bins->data()), spec,
                         nullptr);
  vomo::DftSpecFree_R_64f(spec);
}

void ToBins(const std::vector<float> &samples, Bins<float> *bins) {
  vomo::DftSpec *spec = nullptr;
  vomo::DftSpecCreate_R_32f(&spec, static_cast<int32_t>(samples.size()), vomo::kDftDivideInverse,
                            0);
  vomo::DftForward_R_32f(samples.data(), reinterpret_cast<VomoComplexFloat *>(bins->data()), spec,
                         nullptr);
  vomo::DftSpecFree_R_32f(spec);
}

void PlainFftw(const std::vector<double> &samples, Bins<double> *bins) {
  fftw_plan plan = fftw_plan_dft_r2c_1d(
      static_cast<int>(samples.size()), const_cast<double *>(samples.data()),
      reinterpret_cast<fftw_complex *>(bins->data()), FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
  fftw_execute(plan);
  fftw_destroy_plan(plan);
}

template <class Real>
double RelativeError(const Bins<Real> &actual, const Bins<double> &expected) {
  double difference = 0, size = 0;
  for (size_t k = 0; k < expected.size(); ++k) {
    difference += std::norm(std::complex<double>(actual[k]) - expected[k]);
    size += std::norm(expected[k]);
  }
  return std::sqrt(difference / size);
}

// The better of two runs.
template <class Body>
double Seconds(Body body) {
  using Clock = std::chrono::steady_clock;
  double best = 1e9;
  for (int i = 0; i < 2; ++i) {
    const auto start = Clock::now();
    body();
    best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
  }
  return best;
}

// Arguments: the length and its smooth neighbour.
template <class Real>
void RealForward(benchmark::State &state) {
  const auto samples = vomo::test::RandomReals<Real>(static_cast<size_t>(state.range(0)), 1);
  const auto smooth = vomo::test::RandomReals<Real>(static_cast<size_t>(state.range(1)), 2);
  const std::vector<double> doubles(samples.begin(), samples.end());
  Bins<Real> bins = RoomFor(samples), smooth_bins = RoomFor(smooth);
  Bins<double> expected = RoomFor(doubles);
  const double fftw = Seconds([&] { PlainFftw(doubles, &expected); });
  ToBins(samples, &bins);
  const double error = RelativeError(bins, expected);
  if (!(error < (std::is_same_v<Real, double> ? 1e-14 : 5e-7))) {
    return state.SkipWithError("the bins are wrong");
  }
  for (auto _ : state) ToBins(samples, &bins);

  const double own = Seconds([&] { ToBins(samples, &bins); });
  state.counters["of_smooth"] = own / Seconds([&] { ToBins(smooth, &smooth_bins); });
  state.counters["double_fftw_of_own"] = fftw / own;
  state.counters["error"] = error;
}

// A prime, twice a prime and a product of middle primes, then the smooth neighbour itself.
BENCHMARK_TEMPLATE(RealForward, double)
    ->Args({1000003, 1000000})
    ->Args({1000018, 1000000})
    ->Args({1000001, 1000000})
    ->Args({1000000, 1000000})
    ->Args({10000019, 10000000})
    ->Args({10000018, 10000000})
    ->Args({10000000, 10000000})
    ->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(RealForward, float)
    ->Args({1000003, 1000000})
    ->Args({1000000, 1000000})
    ->Unit(benchmark::kMillisecond);

}  // namespace
