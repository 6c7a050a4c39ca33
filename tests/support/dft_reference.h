// Fourier transforms by their definition, in long double.
#ifndef VOMO_TESTS_SUPPORT_DFT_REFERENCE_H
#define VOMO_TESTS_SUPPORT_DFT_REFERENCE_H

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <random>
#include <vector>

namespace vomo::test {

using LongComplex = std::complex<long double>;

// exp(-2 pi i j / length) for all j.
inline std::vector<LongComplex> UnitRoots(int64_t length) {
  std::vector<LongComplex> roots(static_cast<size_t>(length));
  for (int64_t j = 0; j < length; ++j) {
    const long double angle = -2 * std::numbers::pi_v<long double> *
                              (static_cast<long double>(j) / static_cast<long double>(length));
    roots[static_cast<size_t>(j)] = {std::cos(angle), std::sin(angle)};
  }
  return roots;
}

// Bin k of the unscaled forward transform: the sum over j of values[j] * roots[j k].
template <class Value>
LongComplex DirectBin(const std::vector<Value> &values, const std::vector<LongComplex> &roots,
                      int64_t k) {
  const size_t length = roots.size(), step = static_cast<size_t>(k) % length;
  long double re = 0, im = 0;
  size_t index = 0;
  for (const Value &value : values) {
    const LongComplex z(value), &root = roots[index];
    re += z.real() * root.real() - z.imag() * root.imag();
    im += z.real() * root.imag() + z.imag() * root.real();
    index += step;
    if (index >= length) index -= length;
  }
  return {re, im};
}

// All bins.
template <class Value>
std::vector<LongComplex> DirectSum(const std::vector<Value> &values,
                                   const std::vector<LongComplex> &roots) {
  std::vector<LongComplex> bins(roots.size());
  for (size_t k = 0; k < bins.size(); ++k) {
    bins[k] = DirectBin(values, roots, static_cast<int64_t>(k));
  }
  return bins;
}

// Root mean square of the difference over that of the expected values; an expectation of nothing
// but zeros counts as one of 1.
template <class Actual>
double RelativeError(const std::vector<Actual> &actual, const std::vector<LongComplex> &expected) {
  long double difference = 0, size = 0;
  for (size_t i = 0; i < expected.size(); ++i) {
    difference += std::norm(LongComplex(actual[i]) - expected[i]);
    size += std::norm(expected[i]);
  }
  return static_cast<double>(std::sqrt(difference / (size > 0 ? size : 1)));
}

// Numbers from -1 to 1 that a float holds, so that one reference serves both precisions.
template <class Real>
std::vector<Real> RandomReals(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<Real> values(count);
  for (Real &value : values) {
    value = static_cast<Real>(static_cast<int32_t>(random()) >> 8) / Real{1 << 23};
  }
  return values;
}

template <class Real>
std::vector<std::complex<Real>> RandomComplex(size_t count, uint32_t seed) {
  const std::vector<Real> parts = RandomReals<Real>(2 * count, seed);
  std::vector<std::complex<Real>> values(count);
  for (size_t i = 0; i < count; ++i) values[i] = {parts[2 * i], parts[2 * i + 1]};
  return values;
}

}  // namespace vomo::test

#endif
