#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "core/handle_table.h"
#include "support/dft_reference.h"

namespace vomo::test {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr float kMinusInfinity = -std::numeric_limits<float>::infinity();
constexpr uint32_t kMost = 0xFFFFFFFFu;
constexpr VomoHandle kUntouched = 77;

// ---- The complex functions under one order of arguments ----

template <class Complex>
using ComplexFunction = std::function<VomoStatus(const Complex *, uint32_t, uint32_t, double,
                                                 Complex **, double *, VomoHandle *)>;

template <class Complex>
struct ComplexCase {
  const char *name;
  bool is_forward;
  ComplexFunction<Complex> function;
};

template <class Complex>
std::vector<ComplexCase<Complex>> ComplexCases();

template <>
std::vector<ComplexCase<VomoComplexDouble>> ComplexCases() {
  return {{"forward double", true, VomoFFT_COMPLEX_DOUBLE},
          {"inverse double", false, VomoIFFT_COMPLEX_DOUBLE}};
}
template <>
std::vector<ComplexCase<VomoComplexFloat>> ComplexCases() {
  return {{"forward float", true,
           [](const VomoComplexFloat *source, uint32_t min, uint32_t max, double step,
              VomoComplexFloat **out, double *out_step, VomoHandle *handle) {
             return VomoFFT_COMPLEX_FLOAT(source, min, max, step, out_step, out, handle);
           }},
          {"inverse float", false, VomoIFFT_COMPLEX_FLOAT}};
}

template <class Complex>
LongComplex Long(const Complex &value) {
  const auto [re, im] = value;
  return {re, im};
}

// Values of the elements first to first + count - 1 of a longer array.
template <class Complex, class Part>
std::vector<Complex> Source(size_t count) {
  std::vector<Complex> values;
  for (const auto &z : RandomComplex<Part>(count, 21)) values.push_back({z.real(), z.imag()});
  return values;
}

template <class Complex, class Part>
void CheckComplexRanges(double tolerance) {
  constexpr struct {
    uint32_t min, max, first, count;
  } kRanges[] = {{0, 7, 0, 8}, {3, 11, 3, 9}, {5, 5, 5, 1}, {9, 4, 4, 1}, {2, 1010, 2, 1009}};
  const auto source = Source<Complex, Part>(1011);
  for (const auto &test : ComplexCases<Complex>()) {
    for (const auto &[min, max, first, count] : kRanges) {
      SCOPED_TRACE(testing::Message() << test.name << " " << min << " to " << max);
      std::vector<LongComplex> range;
      for (uint32_t i = 0; i < count; ++i) range.push_back(Long(source[first + i]));
      auto expected = DirectSum(range, UnitRoots(count));
      if (!test.is_forward) std::reverse(expected.begin() + 1, expected.end());

      Received<Complex> out;
      double step = 0;
      ASSERT_EQ(test.function(source.data(), min, max, 16, out.pointer(), &step, out.handle_out()),
                Vomo_STATUS_SUCCESS);
      std::vector<LongComplex> actual;
      for (uint32_t i = 0; i < count; ++i) actual.push_back(Long(out[i]));
      EXPECT_LT(RelativeError(actual, expected), tolerance);
      // A rate goes in: forward comes the distance of the bins, backward that of the samples.
      EXPECT_DOUBLE_EQ(step, test.is_forward ? 16.0 / count : count / 16.0);
      EXPECT_EQ(count == 1 ? actual[0] : range[0], range[0]);
    }
  }
}

TEST(Transforms, ComplexRangesAndSteps) {
  CheckComplexRanges<VomoComplexDouble, double>(3e-15);
  CheckComplexRanges<VomoComplexFloat, float>(5e-7);
}

// ---- The real functions ----

struct RealSpectrum {
  Received<VomoComplexDouble> bins;
  uint32_t count = 0, odd = kUntouched;
  double step = 0;

  VomoStatus Compute(const double *source, uint32_t min, uint32_t max, double interval) {
    return VomoFFT_REAL_DOUBLE(source, min, max, interval, &count, bins.pointer(), &step, &odd,
                               bins.handle_out());
  }
};

TEST(Transforms, RealBinsStepAndParity) {
  constexpr struct {
    uint32_t min, max, first, count, bins;
    double step;
  } kCases[] = {{2, 9, 2, 8, 5, 1.25e8}, {2, 10, 2, 9, 5, 1e9 / 9},
                {4, 4, 4, 1, 1, 1e9},    {6, 3, 3, 1, 1, 1e9},
                {1, 2, 1, 2, 2, 5e8},    {0, 1008, 0, 1009, 505, 1e9 / 1009}};
  const auto source = RandomReals<double>(1010, 22);
  for (const auto &[min, max, first, count, bin_count, step] : kCases) {
    SCOPED_TRACE(count);
    const std::vector<double> range(source.begin() + first, source.begin() + first + count);
    auto expected = DirectSum(range, UnitRoots(count));
    expected.resize(bin_count);
    RealSpectrum spectrum;
    ASSERT_EQ(spectrum.Compute(source.data(), min, max, 1e-9), Vomo_STATUS_SUCCESS);
    ASSERT_EQ(spectrum.count, bin_count);
    EXPECT_EQ(spectrum.odd, count % 2);
    EXPECT_DOUBLE_EQ(spectrum.step, step);
    std::vector<LongComplex> actual;
    for (uint32_t k = 0; k < bin_count; ++k) actual.push_back(Long(spectrum.bins[k]));
    EXPECT_LT(RelativeError(actual, expected), 3e-15);
  }
}

TEST(Transforms, RealInverseRestoresSignalAndInterval) {
  const auto source = RandomReals<double>(1100, 23);
  for (uint32_t count : {1u, 2u, 3u, 8u, 9u, 1009u, 1018u}) {
    SCOPED_TRACE(count);
    RealSpectrum spectrum;
    ASSERT_EQ(spectrum.Compute(source.data(), 5, 4 + count, 2e-12), Vomo_STATUS_SUCCESS);
    // Any flag but 0 says odd.
    for (uint32_t odd : {spectrum.odd, spectrum.odd * 8}) {
      Received<double> samples;
      uint32_t restored_count = 0;
      double interval = 0;
      ASSERT_EQ(
          VomoIFFT_REAL_DOUBLE(spectrum.bins.get(), 0, spectrum.count - 1, spectrum.step, odd,
                               &restored_count, samples.pointer(), &interval, samples.handle_out()),
          Vomo_STATUS_SUCCESS);
      ASSERT_EQ(restored_count, count);
      EXPECT_NEAR(interval, 2e-12, 1e-26);
      for (uint32_t i = 0; i < count; ++i) EXPECT_NEAR(samples[i], source[5 + i], 1e-14) << i;
    }
  }
}

// The bins from ulMin on are taken as bins 0, 1, ...
TEST(Transforms, RealInverseStartsAtItsFirstBin) {
  const VomoComplexDouble bins[] = {{9, 9}, {4, 9}, {2, 2}, {1, 9}};
  Received<double> samples;
  uint32_t count = 0;
  double interval = 0;
  ASSERT_EQ(VomoIFFT_REAL_DOUBLE(bins, 1, 3, 0.5, 0, &count, samples.pointer(), &interval,
                                 samples.handle_out()),
            Vomo_STATUS_SUCCESS);
  ASSERT_EQ(count, 4u);
  EXPECT_DOUBLE_EQ(interval, 0.5);
  // (4 + 2 (2 cos(pi j / 2) - 2 sin(pi j / 2)) + (-1)^j) / 4
  const double expected[] = {2.25, -0.25, 0.25, 1.75};
  for (int j = 0; j < 4; ++j) EXPECT_NEAR(samples[static_cast<uint64_t>(j)], expected[j], 1e-15);
}

TEST(Transforms, RealForwardWritesToTheArrayThatIsThere) {
  const double source[] = {1, 1, 1, 1};
  VomoComplexDouble own[3] = {};
  VomoComplexDouble *out = own;
  uint32_t count = 0, odd = kUntouched;
  double step = 0;
  VomoHandle handle = kUntouched;
  ASSERT_EQ(VomoFFT_REAL_DOUBLE(source, 0, 3, 1, &count, &out, &step, &odd, &handle),
            Vomo_STATUS_SUCCESS);
  EXPECT_EQ(out, own);
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(own[0].dRe, 4);
  for (const auto &[re, im] : {own[1], own[2], VomoComplexDouble{own[0].dIm, 0}}) {
    EXPECT_EQ(re, 0);
    EXPECT_EQ(im, 0);
  }
}

// ---- Refusals: every function with its outputs in one record ----

struct Outputs {
  uint32_t count = kUntouched, odd = kUntouched;
  double step = -1;
  VomoHandle handle = kUntouched;
  VomoComplexDouble *complex = nullptr;
  VomoComplexFloat *complex_float = nullptr;
  double *real = nullptr;
  float *real_float = nullptr;

  void ExpectUntouched() const {
    EXPECT_EQ(count, kUntouched);
    EXPECT_EQ(odd, kUntouched);
    EXPECT_EQ(step, -1);
    EXPECT_EQ(handle, kUntouched);
    EXPECT_EQ(complex, nullptr);
    EXPECT_EQ(complex_float, nullptr);
    EXPECT_EQ(real, nullptr);
    EXPECT_EQ(real_float, nullptr);
  }
};

constexpr int kPointerArguments = 6;
constexpr int kNoNull = -1;

// Calls one of the six functions with one pointer argument NULL, by its number from 0 for the
// source, if it has that many.
struct Call {
  uint32_t min, max;
  double step;
  int null_argument;

  template <class T>
  T *Unless(int argument, T *pointer) const {
    return argument == null_argument ? nullptr : pointer;
  }
};

const VomoComplexDouble kComplexSource[8] = {};
const VomoComplexFloat kComplexFloatSource[8] = {};
const double kRealSource[8] = {};

using Function = std::function<VomoStatus(const Call &, Outputs *)>;

const std::vector<std::pair<std::string, Function>> &Functions() {
  static const std::vector<std::pair<std::string, Function>> functions = {
      {"FFT_COMPLEX_DOUBLE",
       [](const Call &c, Outputs *o) {
         return VomoFFT_COMPLEX_DOUBLE(c.Unless(0, kComplexSource), c.min, c.max, c.step,
                                       c.Unless(1, &o->complex), c.Unless(2, &o->step),
                                       c.Unless(3, &o->handle));
       }},
      {"IFFT_COMPLEX_DOUBLE",
       [](const Call &c, Outputs *o) {
         return VomoIFFT_COMPLEX_DOUBLE(c.Unless(0, kComplexSource), c.min, c.max, c.step,
                                        c.Unless(1, &o->complex), c.Unless(2, &o->step),
                                        c.Unless(3, &o->handle));
       }},
      {"FFT_COMPLEX_FLOAT",
       [](const Call &c, Outputs *o) {
         return VomoFFT_COMPLEX_FLOAT(c.Unless(0, kComplexFloatSource), c.min, c.max, c.step,
                                      c.Unless(2, &o->step), c.Unless(1, &o->complex_float),
                                      c.Unless(3, &o->handle));
       }},
      {"IFFT_COMPLEX_FLOAT",
       [](const Call &c, Outputs *o) {
         return VomoIFFT_COMPLEX_FLOAT(c.Unless(0, kComplexFloatSource), c.min, c.max, c.step,
                                       c.Unless(1, &o->complex_float), c.Unless(2, &o->step),
                                       c.Unless(3, &o->handle));
       }},
      {"FFT_REAL_DOUBLE",
       [](const Call &c, Outputs *o) {
         return VomoFFT_REAL_DOUBLE(c.Unless(0, kRealSource), c.min, c.max, c.step,
                                    c.Unless(4, &o->count), c.Unless(1, &o->complex),
                                    c.Unless(2, &o->step), c.Unless(5, &o->odd),
                                    c.Unless(3, &o->handle));
       }},
      {"IFFT_REAL_DOUBLE", [](const Call &c, Outputs *o) {
         return VomoIFFT_REAL_DOUBLE(c.Unless(0, kComplexSource), c.min, c.max, c.step, 0,
                                     c.Unless(4, &o->count), c.Unless(1, &o->real),
                                     c.Unless(2, &o->step), c.Unless(3, &o->handle));
       }}};
  return functions;
}

int PointerArguments(const std::string &name) {
  if (name == "FFT_REAL_DOUBLE") return kPointerArguments;
  return name == "IFFT_REAL_DOUBLE" ? kPointerArguments - 1 : kPointerArguments - 2;
}

TEST(Transforms, RefuseMissingPointersAndBadSteps) {
  for (const auto &[name, function] : Functions()) {
    SCOPED_TRACE(name);
    Outputs outputs;
    for (int argument = 0; argument < PointerArguments(name); ++argument) {
      EXPECT_EQ(function({0, 3, 1, argument}, &outputs), Vomo_STATUS_PARAM_NOT_VALID) << argument;
    }
    for (double step : {0.0, -1.0, kNaN}) {
      EXPECT_EQ(function({0, 3, step, kNoNull}, &outputs), Vomo_STATUS_PARAM_OUT_OF_RANGE) << step;
      EXPECT_EQ(function({0, 3, step, 0}, &outputs), Vomo_STATUS_PARAM_NOT_VALID) << step;
    }
    outputs.ExpectUntouched();
  }
}

TEST(Transforms, LengthsThatNoTransformHasAreDescriptorErrors) {
  // 2^32 and 2^31 elements; backward also 2 (2^30 - 1) + 2 samples, one more than 2^31 - 1, and
  // none.
  const std::vector<std::pair<uint32_t, uint32_t>> ranges = {{0, kMost}, {1, 0x80000000u}};
  for (const auto &[name, function] : Functions()) {
    SCOPED_TRACE(name);
    auto cases = ranges;
    if (name == "IFFT_REAL_DOUBLE") cases.insert(cases.end(), {{0, 0x40000000u}, {3, 3}, {4, 2}});
    Outputs outputs;
    for (const auto &[min, max] : cases) {
      EXPECT_EQ(function({min, max, 1, kNoNull}, &outputs), Vomo_STATUS_FFT_DESCRIPTOR_ERROR);
      EXPECT_STREQ(Vomo_Status_Message(Vomo_STATUS_FFT_DESCRIPTOR_ERROR),
                   "Error with FFT descriptor: qvsStsSizeErr: Wrong value of data size");
    }
    outputs.ExpectUntouched();
  }
}

// The room is asked for before the work begins: nothing of the source is read, and no time is
// spent.
TEST(Transforms, AResultThatNoBlockHoldsIsMissingMemory) {
  for (const auto &[name, function] : Functions()) {
    Outputs outputs;
    EXPECT_EQ(function({0, 0x10000000u, 1, kNoNull}, &outputs),
              Vomo_STATUS_MEMORY_ALLOCATION_FAILED)
        << name;
    outputs.ExpectUntouched();
  }
}

TEST(Transforms, AFullHandleTableIsMissingMemory) {
  void *memory = nullptr;
  while (Vomo_Handle_and_Memory_Allocate(32, &memory) != 0) {
  }
  for (const auto &[name, function] : Functions()) {
    Outputs outputs;
    EXPECT_EQ(function({0, 3, 1, kNoNull}, &outputs), Vomo_STATUS_MEMORY_ALLOCATION_FAILED) << name;
    outputs.ExpectUntouched();
  }
  std::vector<float> samples(8, 1.0f);
  const VomoWaveform waveform = {8, 1, samples.data(), 0, 0};
  Outputs outputs;
  EXPECT_EQ(Vomo_DFT_OF_WAVEFORM_IN_DB(&waveform, 0, 7, &outputs.count, &outputs.real_float,
                                       &outputs.handle),
            Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  outputs.ExpectUntouched();
  Vomo_Handle_Free_All();
}

// ---- The spectrum in decibels ----

std::vector<float> Decibels(std::vector<float> samples, uint32_t min, uint32_t max) {
  const VomoWaveform waveform = {static_cast<uint32_t>(samples.size()), 1e-12, samples.data(), 0,
                                 0};
  Received<float> out;
  uint32_t count = 0;
  EXPECT_EQ(
      Vomo_DFT_OF_WAVEFORM_IN_DB(&waveform, min, max, &count, out.pointer(), out.handle_out()),
      Vomo_STATUS_SUCCESS);
  return std::vector<float>(out.get(), out.get() + count);
}

TEST(SpectrumInDb, HasHalfTheBinsRoundedUpAndNoNyquistBin) {
  constexpr struct {
    uint32_t min, max, count;
  } kCases[] = {{0, 0, 1}, {0, 1, 1}, {0, 2, 2}, {0, 7, 4}, {1, 9, 5}, {7, 3, 1}};
  for (const auto &[min, max, count] : kCases) {
    EXPECT_EQ(Decibels(std::vector<float>(10, 1.0f), min, max).size(), count) << min << " " << max;
  }
}

TEST(SpectrumInDb, OfSilenceIsMinusInfinity) {
  for (uint32_t count : {9u, 1009u}) {
    const auto levels = Decibels(std::vector<float>(count, 0.0f), 0, count - 1);
    for (float level : levels) EXPECT_EQ(level, kMinusInfinity);
  }
}

TEST(SpectrumInDb, OfAConstantIsItsLevelInBinZero) {
  for (uint32_t count : {8u, 9u, 1000u}) {
    const auto levels = Decibels(std::vector<float>(count, 1.0f), 0, count - 1);
    EXPECT_EQ(levels[0], 0.0f) << count;
    // Rounding of unit samples leaves less than 1e-6 of them.
    for (size_t k = 1; k < levels.size(); ++k) EXPECT_LT(levels[k], -120) << count << " bin " << k;
  }
  EXPECT_NEAR(Decibels({7, -0.1f, 7}, 1, 1)[0], -20, 1e-5);
}

// A cosine of amplitude a in bin k stands in the two bins k and n - k with a / 2 each.
TEST(SpectrumInDb, OfACosineIsHalfItsAmplitude) {
  for (uint32_t count : {64u, 65u, 1009u}) {
    constexpr uint32_t kBin = 5, kFirst = 3;
    std::vector<float> samples(kFirst, 100.0f);
    for (uint32_t i = 0; i < count; ++i) {
      samples.push_back(
          static_cast<float>(0.5 * std::cos(2 * std::numbers::pi * kBin * i / count)));
    }
    samples.push_back(100.0f);
    const auto levels = Decibels(samples, kFirst, kFirst + count - 1);
    EXPECT_NEAR(levels[kBin], 20 * std::log10(0.25), 1e-4) << count;
    for (size_t k = 0; k < levels.size(); ++k) {
      EXPECT_LT(k == kBin ? kMinusInfinity : levels[k], -120) << count << " bin " << k;
    }
  }
}

TEST(SpectrumInDb, Refusals) {
  float samples[4] = {1, 2, 3, 4};
  const VomoWaveform waveform = {4, 1, samples, 0, 0}, hollow = {4, 1, nullptr, 0, 0};
  Outputs o;
  const struct {
    const VomoWaveform *waveform;
    uint32_t min, max;
    uint32_t *count;
    float **out;
    VomoHandle *handle;
    VomoStatus expected;
  } kCases[] = {
      {nullptr, 0, 3, &o.count, &o.real_float, &o.handle, Vomo_STATUS_PARAM_NOT_VALID},
      {&hollow, 0, 3, &o.count, &o.real_float, &o.handle, Vomo_STATUS_PARAM_NOT_VALID},
      {&waveform, 0, 3, nullptr, &o.real_float, &o.handle, Vomo_STATUS_PARAM_NOT_VALID},
      {&waveform, 0, 3, &o.count, nullptr, &o.handle, Vomo_STATUS_PARAM_NOT_VALID},
      {&waveform, 0, 3, &o.count, &o.real_float, nullptr, Vomo_STATUS_PARAM_NOT_VALID},
      {&waveform, 0, 4, &o.count, &o.real_float, &o.handle, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {&waveform, 4, 4, &o.count, &o.real_float, &o.handle, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {&waveform, 0, kMost, &o.count, &o.real_float, &o.handle, Vomo_STATUS_PARAM_OUT_OF_RANGE}};
  for (const auto &test : kCases) {
    EXPECT_EQ(Vomo_DFT_OF_WAVEFORM_IN_DB(test.waveform, test.min, test.max, test.count, test.out,
                                         test.handle),
              test.expected);
  }
  o.ExpectUntouched();
}

}  // namespace
}  // namespace vomo::test
