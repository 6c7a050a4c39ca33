#include <gtest/gtest.h>
#include <vomo.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "support/waveforms.h"

namespace {

constexpr double kInterval = 1e-11;
// 7.2 samples count as 8, so a block has 14.
constexpr double kUi = 7.2 * kInterval;
constexpr size_t kBlock = 14;

// Flat blocks of these means, one after the other.
std::vector<float> Blocks(const std::vector<float> &means) {
  std::vector<float> samples;
  for (const float mean : means) samples.insert(samples.end(), kBlock, mean);
  return samples;
}

struct Levels {
  std::vector<float> volts{77, 77, 77, 77};
  VomoStatus status;

  explicit Levels(std::vector<float> samples, uint32_t first = 0, uint32_t beyond = 0) {
    const auto last = static_cast<uint32_t>(samples.size()) - 1 - beyond;
    vomo_test::Samples waveform(std::move(samples), kInterval);
    status = Vomo_FIND_AVE_VOLTAGE_LEVELS(waveform.get(), first, last, kUi, volts.data());
  }
};

// The median of the means within 20 % of the median of all; without peaks the peak levels are the
// same.
TEST(VoltageLevels, SteadyLevels) {
  const struct {
    const char *what;
    std::vector<float> means;
    float high, low;
  } cases[] = {
      {"one each", {0.5f, -0.25f}, 0.5f, -0.25f},
      {"medians", {0.5f, -0.25f, 0.375f, -0.26f, 0.4375f, -0.27f}, 0.4375f, -0.26f},
      {"even counts", {0.5f, -0.25f, 0.4375f, -0.3125f}, 0.46875f, -0.28125f},
      // 0.625 is 1.25 and 0.3125 is 0.63 of the medians; of the rest the medians are others.
      {"far values count in the first median only",
       {0.625f, 0.5f, 0.484375f, -0.5f, -0.484375f, -0.3125f, 0.625f, 0.515625f, -0.3125f,
        -0.515625f},
       0.5f,
       -0.5f},
      // The medians are 1 and -1; 0.8f and 1.2f times them are not between.
      {"the limits are not near",
       {1, 0.8f, 1.2f, 0.8125f, 1.1f, -1, -0.8f, -1.2f, -0.8125f, -1.1f},
       1,
       -1},
      {"no sign, no list", {0, 0.5f, 0, -0.25f, 0}, 0.5f, -0.25f},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const Levels levels(Blocks(c.means));
    EXPECT_EQ(levels.status, Vomo_STATUS_SUCCESS);
    EXPECT_EQ(levels.volts, (std::vector<float>{c.high, c.low, c.high, c.low}));
  }
}

// Strictly between 0.8 and 1.2 of a median of 1: with the limits themselves the median would move.
TEST(VoltageLevels, LimitsOfNearness) {
  for (const float sign : {1.0f, -1.0f}) {
    const Levels levels(Blocks({sign, sign, sign * 0.8f, sign * 0.8f, sign * 1.125f, sign * 1.125f,
                                sign * 1.125f, -sign}));
    // Sorted 0.8 0.8 1 1 1.125 1.125 1.125: median 1, near it 1 1 1.125 1.125 1.125.
    EXPECT_EQ(levels.volts[sign > 0 ? 2 : 3], sign * 1.125f);
  }
}

// A block may move by less than 0.05 V, the float; steps of 2^-k keep differences exact.
TEST(VoltageLevels, FlatBlocks) {
  const float limit = 0.05f;
  const struct {
    float move;
    bool flat;
  } cases[] = {{std::nextafter(limit, 0.0f), true}, {limit, false}};
  for (const auto &c : cases) {
    const float two[]{0.0f, 0.25f};
    float median;
    Vomo_MEDIAN_FLOAT(two, 0, 1, &median);  // what a missing level becomes
    auto samples = Blocks({0.0f, -0.5f});
    samples[3] = c.move;
    const Levels levels(samples);
    EXPECT_EQ(levels.status, c.flat ? Vomo_STATUS_SUCCESS : Vomo_STATUS_PATTERN_NOT_FOUND);
    EXPECT_FLOAT_EQ(levels.volts[2], c.flat ? c.move / kBlock : 0.125f);
  }
  // Blocks begin at the first sample, and the rest behind the last whole one is not used.
  auto samples = Blocks({0.5f, -0.25f, 0.75f});
  samples.insert(samples.begin(), 5, 9.0f);
  EXPECT_EQ(Levels(samples, 5).volts[2], 0.625f);
  EXPECT_EQ(Levels(samples, 5, 1).volts[2], 0.5f);
}

// Flat blocks of plus and minus 0.5 V and one sample, or a few, put into them.
struct Put {
  size_t at;
  float volts;
};

TEST(VoltageLevels, Peaks) {
  // 1.3 * 0.5 V is the limit. Triples begin at sample 0, so the places behind multiples of 3 count.
  const float limit = 1.3f * 0.5f;
  const struct {
    const char *what;
    std::vector<Put> puts;
    float high, low;
  } cases[] = {
      {"in the middle of a triple", {{28, 0.75f}, {43, -0.875f}}, 0.75f, -0.875f},
      {"at the ends of one", {{27, 0.75f}, {29, 0.75f}, {42, -0.75f}, {44, -0.75f}}, 0.5f, -0.5f},
      {"at the limit", {{28, limit}, {43, -limit}}, 0.5f, -0.5f},
      {"above it", {{28, std::nextafter(limit, 1.0f)}}, std::nextafter(limit, 1.0f), -0.5f},
      {"no extreme", {{28, 0.75f}, {29, 0.75f}, {43, -0.75f}, {42, -0.75f}}, 0.5f, -0.5f},
      {"medians", {{31, 0.75f}, {34, 0.8125f}, {37, 1.5f}, {43, -1}, {46, -2}}, 0.8125f, -1.5f},
      {"in the last triple of the whole blocks", {{82, -0.75f}}, 0.5f, -0.75f},
      {"behind it", {{85, -0.75f}}, 0.5f, -0.5f},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    // The last whole block and the last triple end with sample 83.
    auto samples = Blocks({0.5f, -0.5f, 0.5f, -0.5f, 0.5f, -0.5f});
    samples.insert(samples.end(), 9, -0.5f);
    for (const Put &put : c.puts) samples[put.at] = put.volts;
    const Levels levels(samples);
    EXPECT_EQ(levels.status, Vomo_STATUS_SUCCESS);
    EXPECT_EQ(levels.volts, (std::vector<float>{c.high, c.low, 0.5f, -0.5f}));
  }
}

// A missing level is what the median makes of nothing: the last median of an even number of floats.
TEST(VoltageLevels, MissingLevels) {
  const float two[]{0.0f, 0.25f};
  const struct {
    const char *what;
    std::vector<float> means;
    float high, low;
  } cases[] = {
      {"no low block", {0.5f}, 0.5f, 0.125f},
      {"no high block", {-0.5f}, 0.125f, -0.5f},
      {"no block with a sign", {0.0f}, 0.125f, 0.125f},
      // The median of two far values lies between, and neither is near it.
      {"none near the median", {0.25f, 1.0f, -0.5f}, 0.625f, -0.5f},
      {"none near the low median", {-0.25f, -1.0f, 0.5f}, 0.5f, -0.625f},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    float median;
    Vomo_MEDIAN_FLOAT(two, 0, 1, &median);
    const Levels levels(Blocks(c.means));
    EXPECT_EQ(levels.status, Vomo_STATUS_PATTERN_NOT_FOUND);
    EXPECT_EQ(levels.volts, (std::vector<float>{77, 77, c.high, c.low}));
  }
  // A range shorter than a block.
  EXPECT_EQ(Levels(std::vector<float>(kBlock - 1, 0.5f)).status, Vomo_STATUS_PATTERN_NOT_FOUND);
}

TEST(VoltageLevels, Refusals) {
  struct Call {
    vomo_test::Samples waveform{Blocks({0.5f, -0.5f}), kInterval};
    const VomoWaveform *argument = waveform.get();
    uint32_t first = 0, last = 27;
    double ui = kUi;
    float levels[4]{77, 77, 77, 77};
    float *out = levels;
  };
  const struct {
    std::function<void(Call &)> spoil;
    VomoStatus status;
  } cases[] = {
      {[](Call &) {}, Vomo_STATUS_SUCCESS},
      {[](Call &c) { c.argument = nullptr; }, Vomo_STATUS_PARAM_NOT_VALID},
      {[](Call &c) { c.waveform.record.pfSamples = nullptr; }, Vomo_STATUS_PARAM_NOT_VALID},
      {[](Call &c) { c.out = nullptr; }, Vomo_STATUS_PARAM_NOT_VALID},
      {[](Call &c) { c.waveform.record.ulNumSamples = 0; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.waveform.record.dSampleInterval = 0; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.waveform.record.dSampleInterval = -kInterval; },
       Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.waveform.record.dSampleInterval = NAN; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.last = 28; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.first = c.last; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.ui = kInterval; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.ui = -kUi; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.ui = NAN; }, Vomo_STATUS_PARAM_OUT_OF_RANGE},
      {[](Call &c) { c.ui = 1e30; }, Vomo_STATUS_PATTERN_NOT_FOUND},
  };
  for (size_t k = 0; k < std::size(cases); ++k) {
    Call call;
    cases[k].spoil(call);
    EXPECT_EQ(Vomo_FIND_AVE_VOLTAGE_LEVELS(call.argument, call.first, call.last, call.ui, call.out),
              cases[k].status)
        << k;
    EXPECT_EQ(call.levels[0], cases[k].status == Vomo_STATUS_SUCCESS ? 0.5f : 77) << k;
  }
}

}  // namespace
