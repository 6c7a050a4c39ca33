#include "primitives/dft_method.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <type_traits>
#include <vector>

#include "primitives/dft_phase.h"

namespace vomo {
namespace {

// Prices are nanoseconds for each value, measured on an x86-64 server of 2023 with data in the
// cache. They decide between methods and shapes and nothing else; a processor that sees them
// differently loses a little time.
struct Price {
  int64_t length;
  double double_ns, float_ns;
};

// Short transforms of the lengths that no longer one undercuts.
constexpr Price kGoodLengths[] = {
    {32, 0.7, 0.5},    {64, 0.7, 0.5},    {80, 1.7, 0.9},    {96, 1.6, 0.9},    {128, 0.8, 0.7},
    {144, 2.8, 0.8},   {160, 1.5, 0.8},   {192, 2.6, 0.8},   {200, 1.8, 1.4},   {240, 1.6, 0.9},
    {256, 1.7, 0.9},   {280, 1.6, 1.7},   {320, 1.6, 0.9},   {384, 2.7, 0.9},   {400, 1.8, 0.9},
    {448, 1.7, 1.7},   {512, 1.8, 0.9},   {640, 1.9, 0.9},   {768, 2.1, 1.4},   {800, 2.2, 1.5},
    {1024, 1.9, 0.9},  {1120, 2.3, 1.6},  {1280, 2.1, 0.9},  {1440, 2.3, 2.0},  {1536, 2.3, 1.5},
    {1600, 2.3, 1.7},  {1792, 2.4, 1.7},  {2048, 2.2, 1.0},  {2240, 2.4, 2.0},  {2304, 2.5, 2.1},
    {2400, 2.8, 1.6},  {2560, 2.7, 1.2},  {2800, 2.9, 2.2},  {2880, 3.6, 1.4},  {3072, 2.8, 1.5},
    {3200, 2.9, 1.9},  {3360, 3.2, 2.3},  {3584, 3.1, 2.1},  {3840, 3.5, 1.4},  {4096, 3.3, 1.4},
    {4480, 2.6, 2.1},  {4608, 4.9, 1.6},  {4800, 4.0, 1.6},  {5000, 3.0, 1.9},  {5040, 3.1, 2.2},
    {5120, 4.0, 1.8},  {5600, 3.1, 2.3},  {6000, 3.0, 1.7},  {6144, 5.1, 1.9},  {6272, 3.4, 2.3},
    {7000, 3.2, 2.4},  {7168, 3.2, 2.7},  {7680, 4.2, 1.6},  {8000, 3.2, 1.8},  {8960, 2.8, 2.1},
    {9600, 4.3, 1.7},  {10000, 3.1, 1.8}, {10080, 3.4, 2.4}, {11200, 3.2, 2.4}, {11760, 3.9, 2.1},
    {12096, 3.8, 2.2}, {12288, 6.2, 1.9}, {13440, 3.7, 2.1}, {13720, 3.5, 2.5}, {14336, 3.4, 3.7},
    {16000, 3.5, 2.0}, {16128, 4.0, 2.5}, {20000, 3.6, 2.2}, {24000, 3.6, 2.3}, {28000, 3.8, 2.4},
    {32000, 4.6, 2.2}, {40000, 4.7, 2.4}, {51200, 4.4, 2.7}, {57344, 4.3, 4.8}, {65536, 4.8, 3.6}};

// Other lengths by their largest prime factor. From 37 on it is not the factor that matters but the
// detour that any such factor means.
constexpr Price kPrimeFactors[] = {
    {7, 0, 0}, {13, 1, 1}, {31, 4, 3}, {6000, 14, 10}, {65536, 28, 16},
};

// Moving, twisting and turning the values of a plane, once through and back.
constexpr double kTransformOverheadNs = 10;
constexpr double kConvolutionOverheadNs = 14;
// A convolution transforms twice and prepares half a spectrum, and its columns need ramps of phases
// for the chirp and the twist on the way in, out and to the spectrum.
constexpr double kTransformsInConvolution = 2.5;
constexpr double kRampsInConvolution = 5.5;

// Up to here a single transform is never the worst; up to there it is the best if FFTW is good at
// its length, and the longest that a convolution uses.
constexpr int64_t kAlwaysShort = 64;
constexpr int64_t kLongestShort = 4096;
constexpr int64_t kLongestSide = 65536;

template <class Real>
double NsOf(const Price &price) {
  return std::is_same_v<Real, float> ? price.float_ns : price.double_ns;
}

int64_t LargestPrimeFactor(int64_t n) {
  int64_t largest = 1;
  for (int64_t p = 2; p * p <= n; ++p) {
    for (; n % p == 0; n /= p) largest = p;
  }
  return std::max(largest, n);
}

// Of a short transform.
template <class Real>
double NsPerValue(int64_t length) {
  const auto *good = std::lower_bound(std::begin(kGoodLengths), std::end(kGoodLengths), length,
                                      [](const Price &p, int64_t n) { return p.length < n; });
  if (good != std::end(kGoodLengths) && good->length == length) return NsOf<Real>(*good);
  const int64_t factor = LargestPrimeFactor(length);
  const auto *row = std::find_if(std::begin(kPrimeFactors), std::end(kPrimeFactors),
                                 [factor](const Price &p) { return factor <= p.length; });
  if (row == std::end(kPrimeFactors)) return std::numeric_limits<double>::infinity();
  const double smooth = (std::is_same_v<Real, float> ? 0.2 : 0.33) * std::log2(length);
  return smooth + NsOf<Real>(*row);
}

// Of a ramp of phases for each column: up to 64 are looked up, whatever the number of rows.
double RampNsPerValue(int64_t rows) {
  constexpr double kLookUpNs = 4;
  return kLookUpNs * std::min(1.0, static_cast<double>(kPhaseChunk) / static_cast<double>(rows));
}

struct PricedShape {
  PlaneShape shape = {0, 0};
  double ns = std::numeric_limits<double>::infinity();

  void Offer(PlaneShape other, double other_ns) {
    if (other_ns < ns) *this = {other, other_ns};
  }
};

template <class Real>
PricedShape CheapestConvolution(int64_t min_length) {
  PricedShape best;
  const auto offer = [&](int64_t rows, int64_t columns, double transforms_ns) {
    const double ns = kTransformsInConvolution * transforms_ns +
                      kRampsInConvolution * RampNsPerValue(rows) + kConvolutionOverheadNs;
    best.Offer({rows, columns}, static_cast<double>(rows * columns) * ns);
  };
  for (const Price &columns : kGoodLengths) {
    const double column_ns = NsOf<Real>(columns);
    if (min_length <= kLongestShort) {
      if (columns.length >= min_length) offer(columns.length, 1, column_ns);
      continue;
    }
    for (const Price &rows : kGoodLengths) {
      if (rows.length > columns.length) break;
      if (rows.length * columns.length < min_length) continue;
      offer(rows.length, columns.length, NsOf<Real>(rows) + column_ns);
    }
  }
  return best;
}

// Prime factors in ascending order.
std::vector<int64_t> Factorise(int64_t n) {
  std::vector<int64_t> factors;
  for (int64_t p = 2; p * p <= n; ++p) {
    for (; n % p == 0; n /= p) factors.push_back(p);
  }
  if (n > 1) factors.push_back(n);
  return factors;
}

std::vector<int64_t> Divisors(int64_t n) {
  std::vector<int64_t> divisors = {1};
  int64_t last = 0;
  size_t fresh = 0;
  for (const int64_t p : Factorise(n)) {
    const size_t from = p == last ? fresh : 0;
    const size_t size = divisors.size();
    for (size_t i = from; i < size; ++i) divisors.push_back(divisors[i] * p);
    fresh = size;
    last = p;
  }
  return divisors;
}

template <class Real>
PricedShape CheapestPlane(int64_t length) {
  PricedShape best;
  for (const int64_t rows : Divisors(length)) {
    const int64_t columns = length / rows;
    if (rows > columns || rows < 8 || columns > kLongestSide) continue;
    const double ns = NsPerValue<Real>(rows) + NsPerValue<Real>(columns) + RampNsPerValue(rows) +
                      kTransformOverheadNs;
    best.Offer({rows, columns}, static_cast<double>(length) * ns);
  }
  return best;
}

// The better of a plane and a convolution of the given length, the plane at a share of its price.
template <class Real>
DftChoice PlaneOrChirp(int64_t length, double plane_share, int64_t convolution_length) {
  const PricedShape plane = CheapestPlane<Real>(length);
  const PricedShape convolution = CheapestConvolution<Real>(convolution_length);
  if (plane_share * plane.ns < convolution.ns) return {DftMethod::kPlane, plane.shape};
  return {DftMethod::kChirp, {}};
}

}  // namespace

template <class Real>
DftChoice ChooseComplexDft(int64_t length) {
  const bool is_good = length <= kLongestShort && LargestPrimeFactor(length) <= 7;
  if (is_good || length <= kAlwaysShort) return {DftMethod::kShort, {}};
  return PlaneOrChirp<Real>(length, 1, 2 * length - 1);
}

// Of a real plane half is enough.
template <class Real>
DftChoice ChooseRealDft(int64_t length) {
  if (length % 2 == 0) return {DftMethod::kPacked, {}};
  if (length <= kAlwaysShort) return {DftMethod::kShort, {}};
  return PlaneOrChirp<Real>(length, 0.5, length + length / 2 + 1);
}

template <class Real>
PlaneShape ConvolutionShape(int64_t min_length) {
  return CheapestConvolution<Real>(min_length).shape;
}

template DftChoice ChooseComplexDft<float>(int64_t);
template DftChoice ChooseComplexDft<double>(int64_t);
template DftChoice ChooseRealDft<float>(int64_t);
template DftChoice ChooseRealDft<double>(int64_t);
template PlaneShape ConvolutionShape<float>(int64_t);
template PlaneShape ConvolutionShape<double>(int64_t);

}  // namespace vomo
