// Gaussian numbers that are the same on every machine and standard library.
#ifndef VOMO_TESTS_SUPPORT_GAUSSIAN_H
#define VOMO_TESTS_SUPPORT_GAUSSIAN_H

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>

namespace vomo_test {

// Mean 0, deviation 1.
class Gaussian {
 public:
  explicit Gaussian(uint64_t seed) : bits_(seed) {}

  // Box and Muller's transform of two uniform numbers in (0, 1).
  double operator()() {
    const double radius = std::sqrt(-2.0 * std::log(Uniform()));
    return radius * std::cos(2.0 * std::numbers::pi * Uniform());
  }
  bool Coin() { return (bits_() >> 63) != 0; }

 private:
  double Uniform() { return (static_cast<double>(bits_() >> 11) + 0.5) * 0x1p-53; }

  std::mt19937_64 bits_;
};

// Upper tail of the Gaussian distribution.
inline double GaussianTail(double z) {
  return 0.5 * std::erfc(z / std::numbers::sqrt2);
}

// The z whose upper tail is p, by bisection.
inline double GaussianTailInverse(double p) {
  double low = -40.0, high = 40.0;
  for (int i = 0; i < 200; ++i) {
    const double middle = 0.5 * (low + high);
    (GaussianTail(middle) > p ? low : high) = middle;
  }
  return low;
}

}  // namespace vomo_test

#endif
