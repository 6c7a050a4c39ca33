#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <limits>
#include <vector>

#include "core/handle_table.h"

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using Spectrum = std::vector<VomoComplexDouble>;

// Points of the given magnitudes, on a 3-4-5 triangle.
Spectrum OfMagnitudes(const std::vector<double> &magnitudes) {
  Spectrum spectrum;
  for (const double m : magnitudes) spectrum.push_back({-0.6 * m, 0.8 * m});
  return spectrum;
}

std::vector<double> Ramp(uint32_t count) {
  std::vector<double> values(count);
  for (uint32_t i = 0; i < count; ++i) values[i] = i;
  return values;
}

// The time step at which a spectrum of that many points has bins of 1 Hz.
double OneHertzStep(size_t count) {
  return 1.0 / static_cast<double>(2 * count - 2);
}

struct Floor {
  double *values = nullptr;
  VomoHandle handle = 77;
  VomoStatus status = 0;

  Floor(const Spectrum &spectrum, const VomoNoiseFloorAlgParams &params) {
    status = VomoFIND_NOISE_FLOOR(spectrum.data(), static_cast<uint32_t>(spectrum.size()), params,
                                  OneHertzStep(spectrum.size()), &values, &handle);
  }
  ~Floor() { Vomo_HANDLE_FREE(handle); }
};

// On magnitudes 0, 1, 2, ... a segment of n points from s has the median s + (n - 1) / 2 and the
// variance n (n + 1) / 12, so every floor tells where its segment begins and ends.
TEST(NoiseFloor, SegmentsChangeTheirLengthAtTheCutoffs) {
  const struct {
    const char *what;
    uint32_t count;
    double cutoff1, cutoff2, range1, range2, range3;
    std::vector<uint32_t> lengths;
  } cases[] = {
      // Exactly at a cutoff the former length still holds.
      {"three stages", 20, 4, 10, 2, 3, 4, {2, 2, 2, 3, 3, 4, 4}},
      {"cutoff between the bins, lengths rounded",
       20,
       4.9,
       10,
       1.5,
       2.6,
       4.4,
       {2, 2, 2, 3, 3, 4, 4}},
      {"the last segment is cut", 9, 2, 5, 2, 2, 4, {2, 2, 2, 3}},
      {"the second stage is passed over", 12, 2, 4, 6, 2, 3, {6, 3, 3}},
      {"a segment ends at the second cutoff", 12, 2, 4, 4, 2, 3, {4, 2, 3, 3}},
      {"cutoffs above the spectrum", 7, 100, 200, 3, 2, 2, {3, 3, 1}},
      {"a segment beyond the spectrum", 5, 100, 200, kInf, 2, 2, {5}},
      {"a range below one bin is one point", 4, 100, 200, 0.25, 2, 2, {1, 1, 1, 1}},
      {"cutoffs in the wrong order", 10, 6, 2, 2, 2, 3, {2, 2, 2, 2, 2}},
      {"NaN lengths and cutoffs count as least", 5, kNaN, kNaN, kNaN, 3, 2, {1, 2, 2}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Floor floor(OfMagnitudes(Ramp(c.count)),
                      {3.0f, 0.0f, c.cutoff1, c.cutoff2, c.range1, c.range2, c.range3});
    ASSERT_EQ(floor.status, Vomo_STATUS_SUCCESS);
    uint32_t start = 0;
    for (const uint32_t n : c.lengths) {
      const double deviation = n > 1 ? std::sqrt(n * (n + 1.0) / 12.0) : 0.0;
      for (uint32_t i = start; i < start + n; ++i) {
        EXPECT_NEAR(floor.values[i], start + (n - 1) / 2.0 + 3.0 * deviation, 1e-13) << i;
      }
      start += n;
    }
    ASSERT_EQ(start, c.count);
  }
}

TEST(NoiseFloor, OutliersCanBeLeftOutOfTheStatistics) {
  const struct {
    const char *what;
    std::vector<double> magnitudes;
    float ignore_from;
    double median, deviation;
  } cases[] = {
      {"all of them count: mean 4, squares 1 + 4 + 1 + 36",
       {3, 2, 1, 10},
       0.0f,
       2.5,
       std::sqrt((1.0 + 4 + 9 + 36) / 3)},
      {"the outlier left out", {3, 2, 1, 10}, 2.0f, 2.0, 1.0},
      {"a value at the limit is out", {3, 2, 1, 5}, 2.0f, 2.0, 1.0},
      {"one value remains: no deviation", {1, 3, 3, 3, 3}, 0.5f, 1.0, 0.0},
      {"none remains: the first figures stand", {2, 2, 4, 4}, 0.5f, 3.0, std::sqrt(4.0 / 3)},
      {"negative limit: the first figures stand", {2, 2, 4, 4}, -1.0f, 3.0, std::sqrt(4.0 / 3)},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Floor floor(OfMagnitudes(c.magnitudes), {2.0f, c.ignore_from, 1e9, 1e9, 1e9, 1, 1});
    ASSERT_EQ(floor.status, Vomo_STATUS_SUCCESS);
    for (size_t i = 0; i < c.magnitudes.size(); ++i) {
      EXPECT_NEAR(floor.values[i], c.median + 2.0 * c.deviation, 1e-14);
    }
  }
}

TEST(NoiseFloor, OneBinAndTheCallersArray) {
  const Floor one(OfMagnitudes({5}), {3.0f, 0.0f, 1, 2, 3, 4, 5});
  ASSERT_EQ(one.status, Vomo_STATUS_SUCCESS);
  EXPECT_DOUBLE_EQ(one.values[0], 5.0);

  double mine[]{-1, -1, -1, -1};
  double *values = mine;
  VomoHandle handle = 77;
  const Spectrum spectrum = OfMagnitudes({1, 2, 3});
  ASSERT_EQ(VomoFIND_NOISE_FLOOR(spectrum.data(), 3, {0.0f, 0.0f, 9, 9, 9, 9, 9}, OneHertzStep(3),
                                 &values, &handle),
            Vomo_STATUS_SUCCESS);
  EXPECT_EQ(values, mine);
  EXPECT_EQ(handle, 0u);
  EXPECT_DOUBLE_EQ(mine[2], 2.0);
  EXPECT_EQ(mine[3], -1.0);
}

TEST(Spikes, AreCutToTheFloorWithTheirPhase) {
  const Spectrum spectrum{{30, 40}, {6, 8}, {0, -2}, {0, -1.5}, {-3, 0}, {kNaN, 1}, {kInf, 0}};
  const std::vector<double> floor{2, 2, 2, 2, 0, 2, 2};
  const struct {
    double offset;
    Spectrum expected;
  } cases[] = {
      // The mean, a line at the floor or below it and one without a magnitude stay.
      {0.0, {{30, 40}, {1.2, 1.6}, {0, -2}, {0, -1.5}, {0, 0}, {kNaN, 1}, {kNaN, 0}}},
      {0.5, {{30, 40}, {0.9, 1.2}, {0, -2}, {0, -1.5}, {0.5, 0}, {kNaN, 1}, {kNaN, 0}}},
  };
  for (const auto &c : cases) {
    Spectrum mine(spectrum.size());
    for (VomoComplexDouble *own : {static_cast<VomoComplexDouble *>(nullptr), mine.data()}) {
      VomoComplexDouble *result = own;
      VomoHandle handle = 77;
      ASSERT_EQ(VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), floor.data(), 7, c.offset,
                                                  &result, &handle),
                Vomo_STATUS_SUCCESS);
      EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), own == nullptr ? result : nullptr);
      for (size_t i = 0; i < spectrum.size(); ++i) {
        if (std::isnan(c.expected[i].dRe)) {
          EXPECT_TRUE(std::isnan(result[i].dRe)) << i;
        } else {
          EXPECT_DOUBLE_EQ(result[i].dRe, c.expected[i].dRe) << i;
        }
        EXPECT_DOUBLE_EQ(result[i].dIm, c.expected[i].dIm) << i;
      }
      Vomo_HANDLE_FREE(handle);
    }
  }
}

// Every third line stands out, far beyond any internal portion.
TEST(Spikes, AreFoundAlongALongSpectrum) {
  constexpr uint32_t kCount = 5000;
  std::vector<double> magnitudes(kCount, 0.5), floor(kCount, 1.0);
  for (uint32_t i = 0; i < kCount; i += 3) magnitudes[i] = 10.0 + i;
  const Spectrum spectrum = OfMagnitudes(magnitudes);
  VomoComplexDouble *result = nullptr;
  VomoHandle handle = 0;
  ASSERT_EQ(VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), floor.data(), kCount, 0.0, &result,
                                              &handle),
            Vomo_STATUS_SUCCESS);
  for (uint32_t i = 0; i < kCount; ++i) {
    const double expected = i == 0 ? 10.0 : i % 3 == 0 ? 1.0 : 0.5;
    ASSERT_NEAR(std::hypot(result[i].dRe, result[i].dIm), expected, 1e-14) << i;
    ASSERT_LT(result[i].dRe, 0.0);
  }
  Vomo_HANDLE_FREE(handle);
}

TEST(SpectrumStages, Refusals) {
  const Spectrum spectrum = OfMagnitudes({1, 2});
  const VomoNoiseFloorAlgParams params{1.0f, 0.0f, 1, 1, 1, 1, 1};
  double *floor = nullptr;
  VomoComplexDouble *result = nullptr;
  VomoHandle handle = 77;
  const double given[]{1, 1};
  const VomoStatus not_valid = Vomo_STATUS_PARAM_NOT_VALID;
  EXPECT_EQ(VomoFIND_NOISE_FLOOR(nullptr, 2, params, 1, &floor, &handle), not_valid);
  EXPECT_EQ(VomoFIND_NOISE_FLOOR(nullptr, 0, params, 1, &floor, &handle), not_valid);
  EXPECT_EQ(VomoFIND_NOISE_FLOOR(spectrum.data(), 2, params, 1, nullptr, &handle), not_valid);
  EXPECT_EQ(VomoFIND_NOISE_FLOOR(spectrum.data(), 2, params, 1, &floor, nullptr), not_valid);
  EXPECT_EQ(VomoFIND_NOISE_FLOOR(spectrum.data(), 0, params, 1, &floor, &handle),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(VomoFIND_NOISE_FLOOR(spectrum.data(), 1u << 28, params, 1, &floor, &handle),
            Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(nullptr, given, 2, 0, &result, &handle), not_valid);
  EXPECT_EQ(VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), nullptr, 2, 0, &result, &handle),
            not_valid);
  EXPECT_EQ(VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), given, 2, 0, nullptr, &handle),
            not_valid);
  EXPECT_EQ(VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), given, 0, 0, &result, &handle),
            Vomo_STATUS_PARAM_OUT_OF_RANGE);
  EXPECT_EQ(
      VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(spectrum.data(), given, 1u << 27, 0, &result, &handle),
      Vomo_STATUS_MEMORY_ALLOCATION_FAILED);
  EXPECT_EQ(floor, nullptr);
  EXPECT_EQ(result, nullptr);
  EXPECT_EQ(handle, 77u);
}

TEST(SignSplit, FrontAndBackOfOneBlock) {
  const struct {
    const char *what;
    std::vector<double> values;
    std::vector<double> positive, negative;
  } cases[] = {
      {"negatives in reverse order", {1, -2, 3, -4}, {1, 3}, {-4, -2}},
      {"an even gap is shared out", {1, -2, 0, kNaN, 3, -4}, {1, 3, 0}, {0, -4, -2}},
      {"the middle of an odd gap belongs to neither", {-1, 0, 0, 0, 5}, {5, 0}, {0, -1}},
      {"a gap of one", {0, 7}, {7}, {}},
      {"none of either sign", {0, 0, -0.0, 0}, {0, 0}, {0, 0}},
      {"infinities", {kInf, -kInf}, {kInf}, {-kInf}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    std::vector<double> padded{99, -99};  // outside the range
    padded.insert(padded.end(), c.values.begin(), c.values.end());
    padded.push_back(99);
    uint32_t positive_count = 0, negative_count = 0;
    double *positive = nullptr, *negative = nullptr;
    VomoHandle handle = 0;
    ASSERT_EQ(VomoFIND_POSITIVE_AND_NEGATIVE_VALUES(
                  padded.data(), 2, static_cast<uint32_t>(c.values.size() + 1), &positive_count,
                  &positive, &negative_count, &negative, &handle),
              Vomo_STATUS_SUCCESS);
    EXPECT_EQ(vomo::Vomo_Handle_Lookup(handle), positive);
    EXPECT_EQ(std::vector<double>(positive, positive + positive_count), c.positive);
    EXPECT_EQ(std::vector<double>(negative, negative + negative_count), c.negative);
    EXPECT_EQ(negative + negative_count, positive + c.values.size());
    Vomo_HANDLE_FREE(handle);
  }
}

TEST(SignSplit, Refusals) {
  const double values[]{1, 2, 3};
  uint32_t positives = 77, negatives = 77;
  double *positive = nullptr, *negative = nullptr;
  VomoHandle handle = 77;
  const struct {
    const char *what;
    const double *values;
    uint32_t first, last;
    uint32_t *count;
    VomoStatus status;
  } cases[] = {
      {"no values", nullptr, 0, 2, &positives, Vomo_STATUS_PARAM_NOT_VALID},
      {"one value", values, 1, 1, &positives, Vomo_STATUS_PARAM_NOT_VALID},
      {"backwards", values, 2, 1, &positives, Vomo_STATUS_PARAM_NOT_VALID},
      {"no count", values, 0, 2, nullptr, Vomo_STATUS_PARAM_NOT_VALID},
      {"whole 32 bits", values, 0, 0xFFFFFFFF, &positives, Vomo_STATUS_MEMORY_ALLOCATION_FAILED},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(VomoFIND_POSITIVE_AND_NEGATIVE_VALUES(c.values, c.first, c.last, c.count, &positive,
                                                    &negatives, &negative, &handle),
              c.status);
    EXPECT_EQ(positives, 77u);
    EXPECT_EQ(negatives, 77u);
    EXPECT_EQ(positive, nullptr);
    EXPECT_EQ(negative, nullptr);
    EXPECT_EQ(handle, 77u);
  }
}

}  // namespace
