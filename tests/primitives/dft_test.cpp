#include "primitives/dft.h"

#include <gtest/gtest.h>

#include <thread>
#include <tuple>

#include "primitives/cpu_level.h"
#include "primitives/status_text.h"
#include "support/dft_reference.h"
#include "vec_check.h"

namespace vomo::test {
namespace {

// The operations of one precision under common names, over std::complex.
template <class Real>
struct Ops;

template <>
struct Ops<double> {
  using Public = VomoComplexDouble;
  static constexpr auto kCreateComplex = DftSpecCreate_C_64fc, kCreateReal = DftSpecCreate_R_64f;
  static constexpr auto kForwardComplex = DftForward_C_64fc, kInverseComplex = DftInverse_C_64fc;
  static constexpr auto kForwardReal = DftForward_R_64f;
  static constexpr auto kInverseReal = DftInverse_R_64f;
};
template <>
struct Ops<float> {
  using Public = VomoComplexFloat;
  static constexpr auto kCreateComplex = DftSpecCreate_C_32fc, kCreateReal = DftSpecCreate_R_32f;
  static constexpr auto kForwardComplex = DftForward_C_32fc, kInverseComplex = DftInverse_C_32fc;
  static constexpr auto kForwardReal = DftForward_R_32f;
  static constexpr auto kInverseReal = DftInverse_R_32f;
};

template <class Real>
auto *AsPublic(std::complex<Real> *values) {
  return reinterpret_cast<typename Ops<Real>::Public *>(values);
}
template <class Real>
const auto *AsPublic(const std::complex<Real> *values) {
  return reinterpret_cast<const typename Ops<Real>::Public *>(values);
}

DftSpecOwner Spec(int32_t (*create)(DftSpec **, int32_t, int32_t, int32_t), size_t length,
                  int32_t flag = kDftDivideNeither) {
  DftSpec *spec = nullptr;
  EXPECT_EQ(create(&spec, static_cast<int32_t>(length), flag, 0), kNoError) << "length " << length;
  return DftSpecOwner(spec);
}

enum class Direction { kForward, kInverse };

template <class Real>
std::vector<std::complex<Real>> Transform(const std::vector<std::complex<Real>> &values,
                                          Direction direction) {
  using Op = Ops<Real>;
  const DftSpecOwner spec = Spec(Op::kCreateComplex, values.size());
  std::vector<std::complex<Real>> out(values.size());
  const auto run = direction == Direction::kForward ? Op::kForwardComplex : Op::kInverseComplex;
  EXPECT_EQ(run(AsPublic(values.data()), AsPublic(out.data()), spec.get(), nullptr), kNoError);
  return out;
}

template <class Real>
std::vector<std::complex<Real>> ToBins(const std::vector<Real> &samples) {
  using Op = Ops<Real>;
  const DftSpecOwner spec = Spec(Op::kCreateReal, samples.size());
  std::vector<std::complex<Real>> bins(samples.size() / 2 + 1);
  EXPECT_EQ(Op::kForwardReal(samples.data(), AsPublic(bins.data()), spec.get(), nullptr), kNoError);
  return bins;
}

template <class Real>
std::vector<Real> ToSamples(const std::vector<std::complex<Real>> &bins, size_t length) {
  using Op = Ops<Real>;
  const DftSpecOwner spec = Spec(Op::kCreateReal, length);
  std::vector<Real> samples(length);
  EXPECT_EQ(Op::kInverseReal(AsPublic(bins.data()), samples.data(), spec.get(), nullptr), kNoError);
  return samples;
}

// Rounding errors of a transform add up like a random walk over its log2(n) stages, and the longest
// way here leads through three transforms and as many factors: a small multiple of the unit
// roundoff times the root of the stages. Measured: below 4 of it.
template <class Real>
double Tolerance(size_t length) {
  const double stages = 1 + std::log2(static_cast<double>(length));
  return 5 * std::numeric_limits<Real>::epsilon() / 2 * std::sqrt(stages);
}
// What a float transform may be off, whatever its length, caps it.
template <>
double Tolerance<float>(size_t) {
  return 5e-7;
}

// The inverse transform of values is the forward one with its bins in reverse order.
std::vector<LongComplex> Reversed(std::vector<LongComplex> bins) {
  std::reverse(bins.begin() + 1, bins.end());
  return bins;
}

// The bins of the real parts of the values whose transform is given.
std::vector<LongComplex> BinsOfRealParts(const std::vector<LongComplex> &transform) {
  const size_t length = transform.size();
  std::vector<LongComplex> bins(length / 2 + 1);
  for (size_t k = 0; k < bins.size(); ++k) {
    bins[k] = (transform[k] + std::conj(transform[(length - k) % length])) / 2.0L;
  }
  return bins;
}

// values, and expected, their transform by the direct sum.
template <class Real>
void CheckAllTransforms(const std::vector<LongComplex> &values,
                        const std::vector<LongComplex> &expected) {
  const size_t length = values.size();
  const double tolerance = Tolerance<Real>(length);
  std::vector<std::complex<Real>> source(values.begin(), values.end());
  EXPECT_LT(RelativeError(Transform(source, Direction::kForward), expected), tolerance);
  EXPECT_LT(RelativeError(Transform(source, Direction::kInverse), Reversed(expected)), tolerance);

  std::vector<Real> samples(length);
  for (size_t i = 0; i < length; ++i) samples[i] = source[i].real();
  const auto expected_bins = BinsOfRealParts(expected);
  const auto bins = ToBins(samples);
  EXPECT_LT(RelativeError(bins, expected_bins), tolerance);
  EXPECT_EQ(bins[0].imag(), 0);
  EXPECT_EQ(length % 2 == 0 ? bins.back().imag() : 0, 0);

  // The way back starts from the true bins, rounded once, with nonsense in the imaginary parts that
  // must not be read.
  std::vector<std::complex<Real>> rounded(expected_bins.begin(), expected_bins.end());
  rounded[0].imag(std::numeric_limits<Real>::quiet_NaN());
  if (length % 2 == 0) rounded.back().imag(std::numeric_limits<Real>::infinity());
  std::vector<LongComplex> times_length(length);
  for (size_t i = 0; i < length; ++i) {
    times_length[i] = static_cast<long double>(length) * samples[i];
  }
  EXPECT_LT(RelativeError(ToSamples(rounded, length), times_length), tolerance);
}

void CheckAgainstDirectSum(size_t length) {
  SCOPED_TRACE(length);
  const auto random = RandomComplex<float>(length, static_cast<uint32_t>(length));
  const std::vector<LongComplex> values(random.begin(), random.end());
  const auto expected = DirectSum(values, UnitRoots(static_cast<int64_t>(length)));
  CheckAllTransforms<double>(values, expected);
  CheckAllTransforms<float>(values, expected);
}

TEST(Dft, EveryShortLengthAgreesWithTheDirectSum) {
  for (size_t length = 1; length <= 512; ++length) CheckAgainstDirectSum(length);
}

// Around the lengths where another way of transforming takes over: products of small and of middle
// primes, primes, twice a prime, powers of primes.
TEST(Dft, MiddleLengthsAgreeWithTheDirectSum) {
  for (size_t length :
       {1009u, 1018u, 1369u, 2187u, 3001u, 4095u, 4096u, 4099u, 4913u, 5041u, 8194u}) {
    CheckAgainstDirectSum(length);
  }
}

// ---- Long lengths: single bins, impulse, linearity and shift ----

using Roots = std::vector<LongComplex>;

// Bins of random data against the direct sum, each by itself: the error of a single bin is spread
// like a Gaussian with the rms error as its width, far below 6 of it.
template <class Real>
void CheckSingleBins(const Roots &roots) {
  const size_t length = roots.size();
  const auto values = RandomComplex<Real>(length, 8);
  std::vector<Real> samples(length);
  for (size_t i = 0; i < length; ++i) samples[i] = values[i].real();
  const auto bins = ToBins(samples);
  const auto spectrum = Transform(values, Direction::kForward);
  // Of a sum of independent numbers that are uniform from -1 to 1.
  const double typical_bin = std::sqrt(static_cast<double>(length) / 3);
  const double tolerance = 6 * Tolerance<Real>(length) * typical_bin;
  for (size_t k : {size_t{0}, size_t{1}, length / 3, length / 2}) {
    const auto index = static_cast<int64_t>(k);
    EXPECT_LT(std::abs(LongComplex(bins[k]) - DirectBin(samples, roots, index)), tolerance)
        << "bin " << k;
    EXPECT_LT(std::abs(LongComplex(spectrum[k]) - DirectBin(values, roots, index)), 2 * tolerance)
        << "bin " << k;
  }
}

// The spectrum of an impulse at p is exp(-2 pi i p k / n): every bin of the transform is seen.
void CheckImpulse(const Roots &roots, size_t position) {
  const size_t length = roots.size();
  const double tolerance = Tolerance<double>(length);
  std::vector<double> samples(length);
  samples[position] = 1;
  std::vector<LongComplex> expected(length);
  for (size_t k = 0; k < length; ++k) expected[k] = roots[k * position % length];

  const std::vector<std::complex<double>> values(samples.begin(), samples.end());
  EXPECT_LT(RelativeError(Transform(values, Direction::kForward), expected), tolerance);
  EXPECT_LT(RelativeError(Transform(values, Direction::kInverse), Reversed(expected)), tolerance);
  expected.resize(length / 2 + 1);
  EXPECT_LT(RelativeError(ToBins(samples), expected), tolerance);

  const std::vector<std::complex<double>> rounded(expected.begin(), expected.end());
  std::vector<LongComplex> back(length);
  back[position] = static_cast<long double>(length);
  EXPECT_LT(RelativeError(ToSamples(rounded, length), back), tolerance);
}

// x[j - shift] * 2 + y[j] has the spectrum 2 X[k] exp(-2 pi i shift k / n) + Y[k].
void CheckLinearityAndShift(const Roots &roots) {
  const size_t length = roots.size(), shift = length / 7 + 1;
  const auto x = RandomReals<double>(length, 9), y = RandomReals<double>(length, 10);
  std::vector<double> sum(length);
  for (size_t j = 0; j < length; ++j) sum[j] = 2 * x[(j + length - shift) % length] + y[j];
  const auto x_bins = ToBins(x), y_bins = ToBins(y);
  std::vector<LongComplex> expected(x_bins.size());
  for (size_t k = 0; k < expected.size(); ++k) {
    expected[k] =
        2.0L * LongComplex(x_bins[k]) * roots[k * shift % length] + LongComplex(y_bins[k]);
  }
  // Two transforms are compared with each other here.
  EXPECT_LT(RelativeError(ToBins(sum), expected), 2 * Tolerance<double>(length));
}

// Primes; twice, three and four times a prime; powers; products of many primes, odd and even; a
// product of two middle primes.
TEST(Dft, LongLengths) {
  for (int64_t length :
       {65536, 65537, 99991 * 2, 3 * 33331, 4 * 25013, 99225, 98280, 100003, 313 * 317, 1000003}) {
    SCOPED_TRACE(length);
    const Roots roots = UnitRoots(length);
    CheckSingleBins<double>(roots);
    CheckSingleBins<float>(roots);
    CheckImpulse(roots, 1);
    CheckImpulse(roots, roots.size() / 2);
    CheckLinearityAndShift(roots);
  }
}

// ---- What the operations promise around the arithmetic ----

// Lengths that are served in different ways.
constexpr size_t kSampleLengths[] = {1, 2, 3, 45, 128, 509, 1018, 3001, 6007, 8190, 10007, 20449};

// In place and apart give the same bits, and apart leaves the source as it was.
template <class Real>
void CheckAliasing(size_t length) {
  using Op = Ops<Real>;
  const DftSpecOwner real = Spec(Op::kCreateReal, length),
                     complex = Spec(Op::kCreateComplex, length);
  const auto check = [](auto run, auto *spec, auto &source, auto &apart, auto *in_place,
                        size_t result_bytes) {
    const auto before = source;
    EXPECT_EQ(run(source.data(), apart.data(), spec, nullptr), kNoError);
    EXPECT_EQ(std::memcmp(source.data(), before.data(), source.size() * sizeof source[0]), 0);
    EXPECT_EQ(run(source.data(), in_place, spec, nullptr), kNoError);
    EXPECT_EQ(std::memcmp(source.data(), apart.data(), result_bytes), 0);
  };
  using Public = typename Op::Public;
  const size_t bins = length / 2 + 1;
  std::vector<Real> samples = RandomReals<Real>(2 * bins, 3);
  std::vector<Public> spectrum(bins);
  check(Op::kForwardReal, real.get(), samples, spectrum, reinterpret_cast<Public *>(samples.data()),
        bins * sizeof(Public));
  std::vector<Real> back(2 * bins);
  check(Op::kInverseReal, real.get(), spectrum, back, reinterpret_cast<Real *>(spectrum.data()),
        length * sizeof(Real));
  for (auto run : {Op::kForwardComplex, Op::kInverseComplex}) {
    const auto random = RandomComplex<Real>(length, 4);
    std::vector<Public> values(length), result(length);
    std::memcpy(values.data(), random.data(), length * sizeof(Public));
    check(run, complex.get(), values, result, values.data(), length * sizeof(Public));
  }
}

TEST(Dft, InPlaceGivesTheSameBits) {
  for (size_t length : kSampleLengths) {
    SCOPED_TRACE(length);
    CheckAliasing<double>(length);
    CheckAliasing<float>(length);
  }
}

TEST(Dft, EveryProcessorLevelGivesTheSameBits) {
  for (size_t length : kSampleLengths) {
    SCOPED_TRACE(length);
    const auto samples = RandomReals<double>(length, 5);
    const auto values = RandomComplex<float>(length, 6);
    const auto bins = ToBins(samples);
    const auto spectrum = Transform(values, Direction::kInverse);
    AtEachLevel([&] {
      EXPECT_EQ(ToBins(samples), bins);
      EXPECT_EQ(Transform(values, Direction::kInverse), spectrum);
    });
  }
}

TEST(Dft, AlignmentDoesNotMatter) {
  for (size_t length : kSampleLengths) {
    const DftSpecOwner spec = Spec(DftSpecCreate_R_64f, length);
    const auto samples = RandomReals<double>(length, 11);
    const auto expected = ToBins(samples);
    std::vector<double> source(length + 1), destination(length + 3);
    std::copy(samples.begin(), samples.end(), source.begin() + 1);
    EXPECT_EQ(DftForward_R_64f(source.data() + 1,
                               reinterpret_cast<VomoComplexDouble *>(destination.data() + 1),
                               spec.get(), nullptr),
              kNoError);
    EXPECT_EQ(
        std::memcmp(destination.data() + 1, expected.data(), expected.size() * sizeof expected[0]),
        0)
        << "length " << length;
  }
}

TEST(Dft, TheFlagSettlesTheScaling) {
  constexpr struct {
    int32_t flag;
    double forward_power, inverse_power;  // of len, that the result is divided by
  } kCases[] = {{kDftDivideForward, 1, 0},
                {kDftDivideInverse, 0, 1},
                {kDftDivideBoth, 0.5, 0.5},
                {kDftDivideNeither, 0, 0}};
  for (const auto &[flag, forward_power, inverse_power] : kCases) {
    for (size_t length : kSampleLengths) {
      SCOPED_TRACE(testing::Message() << "flag " << flag << " length " << length);
      const double n = static_cast<double>(length);
      const double mean = n / std::pow(n, forward_power);
      const double round_trip = n / std::pow(n, forward_power + inverse_power);
      const double tolerance = 10 * Tolerance<double>(length);

      std::vector<double> ones(length, 1.0), back(length);
      std::vector<VomoComplexDouble> bins(length / 2 + 1);
      const DftSpecOwner real = Spec(DftSpecCreate_R_64f, length, flag);
      EXPECT_EQ(DftForward_R_64f(ones.data(), bins.data(), real.get(), nullptr), kNoError);
      EXPECT_NEAR(bins[0].dRe, mean, mean * tolerance);
      EXPECT_EQ(DftInverse_R_64f(bins.data(), back.data(), real.get(), nullptr), kNoError);
      EXPECT_NEAR(back[length / 2], round_trip, round_trip * tolerance);

      std::vector<VomoComplexDouble> values(length, {0.0, 1.0});
      const DftSpecOwner complex = Spec(DftSpecCreate_C_64fc, length, flag);
      EXPECT_EQ(DftForward_C_64fc(values.data(), values.data(), complex.get(), nullptr), kNoError);
      EXPECT_NEAR(values[0].dIm, mean, mean * tolerance);
      EXPECT_EQ(DftInverse_C_64fc(values.data(), values.data(), complex.get(), nullptr), kNoError);
      EXPECT_NEAR(values[length / 2].dIm, round_trip, round_trip * tolerance);
    }
  }
}

TEST(Dft, ConstantSamplesOfPlainLengthAreExact) {
  for (int32_t length : {4, 10, 1000, 4096}) {
    const auto n = static_cast<size_t>(length);
    const DftSpecOwner spec = Spec(DftSpecCreate_R_32f, n, kDftDivideForward);
    const std::vector<float> ones(n, 1.0f);
    std::vector<VomoComplexFloat> bins(n / 2 + 1);
    EXPECT_EQ(DftForward_R_32f(ones.data(), bins.data(), spec.get(), nullptr), kNoError);
    EXPECT_EQ(bins[0].fRe, 1.0f);
    EXPECT_EQ(bins[0].fIm, 0.0f);
  }
}

// ---- Refusals ----

TEST(Dft, CreationRefusesInOrder) {
  DftSpec *spec = nullptr;
  const struct {
    DftSpec **out;
    int32_t length, flag, status;
  } kCases[] = {{nullptr, 0, 3, kSizeError},    {&spec, -1, 3, kSizeError},
                {nullptr, 8, 3, kNullPtrError}, {&spec, 8, 0, kFftFlagError},
                {&spec, 8, 3, kFftFlagError},   {&spec, 8, 16, kFftFlagError},
                {&spec, 8, -1, kFftFlagError}};
  for (auto create :
       {DftSpecCreate_C_32fc, DftSpecCreate_C_64fc, DftSpecCreate_R_32f, DftSpecCreate_R_64f}) {
    for (const auto &test : kCases) {
      EXPECT_EQ(create(test.out, test.length, test.flag, 0), test.status);
      EXPECT_EQ(spec, nullptr);
    }
  }
}

TEST(Dft, EveryOperationTakesItsOwnTypeOnly) {
  const DftSpecOwner specs[] = {Spec(DftSpecCreate_C_32fc, 8), Spec(DftSpecCreate_C_64fc, 8),
                                Spec(DftSpecCreate_R_32f, 8), Spec(DftSpecCreate_R_64f, 8)};
  double source[16] = {}, destination[16];
  std::fill_n(destination, 16, 7.0);
  // Any operation over memory that is large enough for each type.
  const auto run = [&]<class Src, class Dst>(
                       int32_t (*operation)(const Src *, Dst *, DftSpec *, void *), DftSpec *spec,
                       bool has_source, bool has_destination) {
    return operation(has_source ? reinterpret_cast<const Src *>(source) : nullptr,
                     has_destination ? reinterpret_cast<Dst *>(destination) : nullptr, spec,
                     nullptr);
  };
  const auto check = [&](size_t own, auto free, auto... operations) {
    for (size_t i = 0; i < std::size(specs); ++i) {
      if (i == own) continue;
      for (int32_t status : {run(operations, specs[i].get(), true, true)...}) {
        EXPECT_EQ(status, kContextMatchError) << "type " << own << " given " << i;
      }
      EXPECT_EQ(free(specs[i].get()), kContextMatchError);
    }
    DftSpec *spec = specs[own].get();
    for (int32_t status :
         {run(operations, spec, false, true)..., run(operations, spec, true, false)...,
          run(operations, nullptr, true, true)...}) {
      EXPECT_EQ(status, kNullPtrError) << "type " << own;
    }
    EXPECT_EQ(free(nullptr), kNullPtrError);
  };
  check(0, DftSpecFree_C_32fc, DftForward_C_32fc, DftInverse_C_32fc);
  check(1, DftSpecFree_C_64fc, DftForward_C_64fc, DftInverse_C_64fc);
  check(2, DftSpecFree_R_32f, DftForward_R_32f, DftInverse_R_32f);
  check(3, DftSpecFree_R_64f, DftForward_R_64f, DftInverse_R_64f);
  for (double untouched : destination) EXPECT_EQ(untouched, 7.0);
}

TEST(Dft, ScratchSizeCanBeAllocated) {
  const DftSpecOwner spec = Spec(DftSpecCreate_R_32f, 100), other = Spec(DftSpecCreate_R_64f, 100);
  int32_t size = -1;
  EXPECT_EQ(DftScratchSize_R_32f(nullptr, &size), kNullPtrError);
  EXPECT_EQ(DftScratchSize_R_32f(spec.get(), nullptr), kNullPtrError);
  EXPECT_EQ(DftScratchSize_R_32f(other.get(), &size), kContextMatchError);
  EXPECT_EQ(size, -1);
  EXPECT_EQ(DftScratchSize_R_32f(spec.get(), &size), kNoError);
  EXPECT_GE(size, 32);
}

// Making a specification is what shares state with all others, so there are many.
TEST(Dft, SpecificationsWorkAtTheSameTime) {
  constexpr size_t kLengths[] = {45, 512, 1000, 3001, 20449};
  std::vector<std::vector<double>> samples;
  std::vector<std::vector<std::complex<double>>> expected;
  for (size_t length : kLengths) {
    samples.push_back(RandomReals<double>(length, 12));
    expected.push_back(ToBins(samples.back()));
  }
  const auto work = [&] {
    for (size_t round = 0; round < 300; ++round) {
      const size_t i = round % std::size(kLengths);
      EXPECT_EQ(ToBins(samples[i]), expected[i]);
    }
  };
  std::thread other(work), another(work);
  work();
  other.join();
  another.join();
}

}  // namespace
}  // namespace vomo::test
