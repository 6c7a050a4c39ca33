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

using Bins = std::vector<std::complex<double>>;

template <class Real>
std::vector<std::complex<Real>> ToBins(const std::vector<Real> &samples) {
  const auto length = static_cast<int32_t>(samples.size());
  std::vector<std::complex<Real>> bins(samples.size() / 2 + 1);
  vomo::DftSpec *spec = nullptr;
  if constexpr (std::is_same_v<Real, double>) {
    vomo::DftSpecCreate_R_64f(&spec, length, vomo::kDftDivideInverse, 0);
    vomo::DftForward_R_64f(samples.data(), reinterpret_cast<VomoComplexDouble *>(bins.data()), spec,
                           nullptr);
  } else {
    vomo::DftSpecCreate_R_32f(&spec, length, vomo::kDftDivideInverse, 0);
    vomo::DftForward_R_32f(samples.data(), reinterpret_cast<VomoComplexFloat *>(bins.data()), spec,
                           nullptr);
  }
  vomo::DftSpecDeleter{}(spec);
  return bins;
}

Bins PlainFftw(const std::vector<double> &samples) {
  Bins bins(samples.size() / 2 + 1);
  fftw_plan plan = fftw_plan_dft_r2c_1d(
      static_cast<int>(samples.size()), const_cast<double *>(samples.data()),
      reinterpret_cast<fftw_complex *>(bins.data()), FFTW_ESTIMATE | FFTW_PRESERVE_INPUT);
  fftw_execute(plan);
  fftw_destroy_plan(plan);
  return bins;
}

template <class Real>
double RelativeError(const std::vector<std::complex<Real>> &actual, const Bins &expected) {
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
    benchmark::DoNotOptimize(body());
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
  const double limit = std::is_same_v<Real, double> ? 1e-14 : 5e-7;
  const double error = RelativeError(ToBins(samples), PlainFftw(doubles));
  if (!(error < limit)) return state.SkipWithError("the bins are wrong");

  for (auto _ : state) benchmark::DoNotOptimize(ToBins(samples));

  const double own = Seconds([&] { return ToBins(samples); });
  state.counters["of_smooth"] = own / Seconds([&] { return ToBins(smooth); });
  state.counters["double_fftw_of_own"] = Seconds([&] { return PlainFftw(doubles); }) / own;
  state.counters["error"] = error;
}

// A prime, twice a prime and a product of middle primes, then the smooth neighbour itself.
void Lengths(benchmark::internal::Benchmark *bench) {
  for (int64_t length : {1000003, 1000018, 1000001, 1000000}) bench->Args({length, 1000000});
  for (int64_t length : {10000019, 10000018, 10000000}) bench->Args({length, 10000000});
  bench->Unit(benchmark::kMillisecond);
}

BENCHMARK_TEMPLATE(RealForward, double)->Apply(Lengths);
BENCHMARK_TEMPLATE(RealForward, float)->Apply(Lengths);

}  // namespace
