#include "primitives/resampler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <numbers>
#include <vector>

#include "primitives/status_text.h"

namespace vomo {
namespace {

// Modified Bessel function of the first kind and order 0, by its power series.
double BesselI0(double a) {
  double term = 1, sum = 1;
  for (int i = 1; term >= 1e-17 * sum; ++i) {
    const double factor = a / 2 / i;
    term *= factor * factor;
    sum += term;
  }
  return sum;
}

double Sinc(double z) {
  const double angle = std::numbers::pi * z;
  return angle == 0 ? 1 : std::sin(angle) / angle;
}

// The filter's impulse response, for tau input samples between output and tap: 1 at its peak.
class Response {
 public:
  Response(int32_t length, double cutoff, double alpha)
      : length_(length), cutoff_(cutoff), alpha_(alpha), peak_(BesselI0(alpha)) {}

  // Holds up to half a length on either side.
  double operator()(double tau) const {
    const double x = 2 * tau / length_;
    const double window = BesselI0(alpha_ * std::sqrt(std::max(0.0, 1 - x * x))) / peak_;
    return Sinc(cutoff_ * tau) * window;
  }

  // Standard deviation, in input samples, of the Gaussian that the window resembles at its peak.
  double WindowWidth() const { return length_ / (2 * std::sqrt(alpha_)); }

 private:
  double length_, cutoff_, alpha_, peak_;
};

constexpr float kLargestAlpha = 700;
constexpr int32_t kLongestFilter = 1 << 16;  // its table takes 42 MB

constexpr int kOrder = 10;  // coefficients of a polynomial piece

// Two neighbouring taps; every filter has an even number of them.
typedef double Pair __attribute__((vector_size(16)));

// The weights of all taps as a function of the output's place between two input samples.
//
// Taps lie one input sample apart, so all see the same place: the gap is cut into pieces, and in
// each piece every tap has a polynomial of its own in the place x from -1 to 1 within the piece.
// The response is an entire function of tau, and pieces are no longer than an eighth of a sample
// and a quarter of the window's width, which keeps the polynomials within 1e-15 of the peak: the
// sine's part of the error is below 2 (pi / 32)^10 / 10! = 5e-17, the window's, as of a Gaussian,
// 2 (1 / 16)^10 945 / 10! = 5e-16.
class WeightTable {
 public:
  WeightTable(const Response &response, int32_t length)
      : length_(length),
        pieces_(std::max(8, static_cast<int>(std::ceil(4 / response.WindowWidth())))),
        coefficients_(Index(pieces_, 0, 0)) {
    for (int piece = 0; piece < pieces_; ++piece) {
      for (int32_t tap = 0; tap < length; ++tap) FitPiece(response, piece, tap);
    }
  }

  // Calls use(index of a pair, its two weights) for all pairs in turn, for an output at the given
  // fraction, 0 up to 1, of the gap.
  template <class Use>
  void ForEachPair(double fraction, Use use) const {
    const double place = fraction * pieces_;
    const int piece = std::min(static_cast<int>(place), pieces_ - 1);
    const double x = 2 * (place - piece) - 1;
    const Pair *coefficients = coefficients_.data() + Index(piece, 0, 0);
    for (int32_t pair = 0; pair < length_ / 2; ++pair, coefficients += kOrder) {
      Pair weights = coefficients[kOrder - 1];
      for (int order = kOrder - 2; order >= 0; --order) weights = weights * x + coefficients[order];
      // Half a length away the response has ended; only the last tap gets there.
      if (fraction == 0 && pair == length_ / 2 - 1) weights[1] = 0;
      use(pair, weights);
    }
  }

 private:
  std::size_t Index(int piece, int32_t pair, std::size_t order) const {
    const auto row = static_cast<std::size_t>(piece) * static_cast<std::size_t>(length_ / 2);
    return (row + static_cast<std::size_t>(pair)) * kOrder + order;
  }

  // Interpolates at the Chebyshev nodes.
  void FitPiece(const Response &response, int piece, int32_t tap) {
    std::array<double, kOrder> values;
    for (int node = 0; node < kOrder; ++node) {
      const double x = std::cos(std::numbers::pi * (node + 0.5) / kOrder);
      const double fraction = (piece + 0.5 + x / 2) / pieces_;
      values[std::size_t(node)] = response(fraction + (length_ / 2 - 1 - tap));
    }
    const std::array<double, kOrder> powers = PowersThrough(values);
    for (std::size_t order = 0; order < kOrder; ++order) {
      coefficients_[Index(piece, tap / 2, order)][tap % 2] = powers[order];
    }
  }

  // Power coefficients of the polynomial with the given values at the Chebyshev nodes.
  static std::array<double, kOrder> PowersThrough(const std::array<double, kOrder> &values) {
    std::array<double, kOrder> powers = {}, previous = {}, current = {1};
    for (int n = 0; n < kOrder; ++n) {
      double projection = 0;
      for (int node = 0; node < kOrder; ++node) {
        projection +=
            values[std::size_t(node)] * std::cos(std::numbers::pi * n * (node + 0.5) / kOrder);
      }
      projection *= (n == 0 ? 1.0 : 2.0) / kOrder;
      // T(n + 1) = 2 x T(n) - T(n - 1), but T(1) = x T(0).
      std::array<double, kOrder> next = {};
      for (std::size_t k = 0; k < kOrder; ++k) {
        powers[k] += projection * current[k];
        const double shifted = k == 0 ? 0 : current[k - 1];
        next[k] = (n == 0 ? 1 : 2) * shifted - previous[k];
      }
      previous = current;
      current = next;
    }
    return powers;
  }

  int32_t length_;
  int pieces_;
  std::vector<Pair> coefficients_;
};

}  // namespace

struct ResamplerState {
  ResamplerState(int32_t in, int32_t out, int32_t taps, double roll_off, double alpha)
      : in_rate(in),
        out_rate(out),
        length(taps),
        weights(Response(taps, roll_off * std::min(1.0, double{1} * out / in), alpha), taps) {}

  // Input position of output m, for the first one at the given time.
  double Position(double time, int64_t m) const {
    return time + static_cast<double>(m * in_rate) / out_rate;
  }

  int32_t in_rate, out_rate, length;
  WeightTable weights;
};

namespace {

// Number of outputs with a position below the length; exact in integers for a whole time.
int64_t CountOutputs(const ResamplerState &state, double time, int32_t length) {
  if (time >= length) return 0;
  if (time == std::floor(time)) {
    const int64_t left = length - static_cast<int64_t>(time);
    return (left * state.out_rate + state.in_rate - 1) / state.in_rate;
  }
  auto count = static_cast<int64_t>((length - time) * state.out_rate / state.in_rate);
  while (count > 0 && state.Position(time, count - 1) >= length) --count;
  while (state.Position(time, count) < length) ++count;
  return count;
}

// The input, continued beyond its ends by its first and last sample.
struct Input {
  // The samples at the index and behind it. A pair across an end has twice the end's sample.
  Pair operator[](int64_t index) const {
    const int64_t last = length - 1;
    if (index >= 0 && index < last) return Pair{double{samples[index]}, double{samples[index + 1]}};
    const double end = samples[index < 0 ? 0 : last];
    return Pair{end, end};
  }

  const float *samples;
  int32_t length;
};

// Inputs of the same length at the same place share its weights.
template <std::size_t kInputs>
void Interpolate(const ResamplerState &state, const std::array<Input, kInputs> &inputs,
                 double position, double norm, const std::array<float *, kInputs> &outputs) {
  const auto base = static_cast<int64_t>(position);
  const int64_t first = base - state.length / 2 + 1;
  std::array<Pair, kInputs> weighted = {};
  Pair total = {};
  state.weights.ForEachPair(position - static_cast<double>(base), [&](int32_t pair, Pair weights) {
    for (std::size_t k = 0; k < kInputs; ++k) {
      weighted[k] += weights * inputs[k][first + 2 * int64_t{pair}];
    }
    total += weights;
  });
  const double sum = total[0] + total[1];
  for (std::size_t k = 0; k < kInputs; ++k) {
    *outputs[k] = static_cast<float>(norm * (weighted[k][0] + weighted[k][1]) / sum);
  }
}

template <std::size_t kInputs>
int32_t Run(const ResamplerState *state, const std::array<const float *, kInputs> &sources,
            int32_t length, const std::array<float *, kInputs> &outputs, float norm, double *time,
            int32_t *out_length) {
  if (length <= 0) return kSizeError;
  if (state == nullptr || time == nullptr || out_length == nullptr) return kNullPtrError;
  std::array<Input, kInputs> inputs;
  for (std::size_t k = 0; k < kInputs; ++k) {
    if (sources[k] == nullptr || outputs[k] == nullptr) return kNullPtrError;
    inputs[k] = {sources[k], length};
  }
  if (!(*time >= 0) || *out_length < 0) return kBadArgError;
  const int64_t count = CountOutputs(*state, *time, length);
  if (count > std::numeric_limits<int32_t>::max() - *out_length) return kSizeError;
  std::array<float *, kInputs> next = outputs;
  for (float *&output : next) output += *out_length;
  for (int64_t m = 0; m < count; ++m) {
    Interpolate(*state, inputs, state->Position(*time, m), double{norm}, next);
    for (float *&output : next) ++output;
  }
  *time = state->Position(*time, count);
  *out_length += static_cast<int32_t>(count);
  return kNoError;
}

}  // namespace

int32_t ResamplerCreate(ResamplerState **ppState, int32_t iInRate, int32_t iOutRate,
                        int32_t iLength, float fRoll, float fAlpha, int32_t) {
  if (ppState == nullptr) return kNullPtrError;
  if (iInRate < 1 || iOutRate < 1 || iLength < 2 || iLength % 2 != 0) return kSizeError;
  if (!(fRoll > 0 && fRoll <= 1) || !(fAlpha > 0 && fAlpha <= kLargestAlpha)) return kBadArgError;
  if (iLength > kLongestFilter) return kMemAllocError;
  try {
    *ppState = new ResamplerState(iInRate, iOutRate, iLength, double{fRoll}, double{fAlpha});
  } catch (const std::bad_alloc &) {
    return kMemAllocError;
  }
  return kNoError;
}

int32_t ResamplerRun(const ResamplerState *pState, const float *pSrc, int32_t iLen, float *pDst,
                     float fNorm, double *pTime, int32_t *pOutLen) {
  return Run<1>(pState, {pSrc}, iLen, {pDst}, fNorm, pTime, pOutLen);
}

int32_t ResamplerRunPair(const ResamplerState *pState, const float *pSrcA, const float *pSrcB,
                         int32_t iLen, float *pDstA, float *pDstB, float fNorm, double *pTime,
                         int32_t *pOutLen) {
  return Run<2>(pState, {pSrcA, pSrcB}, iLen, {pDstA, pDstB}, fNorm, pTime, pOutLen);
}

int32_t ResamplerFree(ResamplerState *pState) {
  if (pState == nullptr) return kNullPtrError;
  delete pState;
  return kNoError;
}

}  // namespace vomo
