#include "primitives/band_scan.h"

#include "vec_check.h"

namespace vomo::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

struct Masks {
  explicit Masks(std::size_t words)
      : not_above(words, kUnwritten),
        above(words, kUnwritten),
        not_below(words, kUnwritten),
        below(words, kUnwritten) {}

  static constexpr uint64_t kUnwritten = 0x5A5A5A5A5A5A5A5Au;
  std::vector<uint64_t> not_above, above, not_below, below;
};

// Samples on both band edges, just beside them, on zero and in between, infinities and NaN.
std::vector<float> SamplesAround(float threshold, std::size_t count) {
  const float choices[] = {threshold,
                           -threshold,
                           std::nextafter(threshold, kInfinity),
                           std::nextafter(-threshold, -kInfinity),
                           std::nextafter(threshold, -kInfinity),
                           0.0f,
                           -0.0f,
                           kNaN,
                           kInfinity,
                           -kInfinity,
                           0.3f,
                           -0.3f};
  std::mt19937 random(31);
  std::vector<float> samples(count);
  for (float &sample : samples) sample = choices[random() % std::size(choices)];
  return samples;
}

void CheckBit(const char *mask, const std::vector<uint64_t> &words, std::size_t k, bool expected,
              float sample, float threshold) {
  const bool actual = (words[k / 64] >> (k % 64) & 1) != 0;
  EXPECT_EQ(actual, expected) << mask << " of sample " << k << " = " << Text(double{sample})
                              << " threshold " << Text(double{threshold});
}

void CheckMasks(const std::vector<float> &samples, std::size_t offset, uint32_t count,
                float threshold) {
  const std::size_t words = BandMaskWords(count);
  Masks masks(words + 1);
  BandMasks(samples.data() + offset, count, threshold, masks.not_above.data(), masks.above.data(),
            masks.not_below.data(), masks.below.data());
  for (std::size_t k = 0; k < 64 * words; ++k) {
    const float s = k < count ? samples[offset + k] : kNaN;
    CheckBit("not_above", masks.not_above, k, s <= threshold, s, threshold);
    CheckBit("above", masks.above, k, s > threshold, s, threshold);
    CheckBit("not_below", masks.not_below, k, s >= -threshold, s, threshold);
    CheckBit("below", masks.below, k, s < -threshold, s, threshold);
  }
  for (const auto *mask : {&masks.not_above, &masks.above, &masks.not_below, &masks.below}) {
    EXPECT_EQ(mask->back(), Masks::kUnwritten) << "count " << count;
  }
}

TEST(BandScan, EachBitIsItsComparison) {
  for (float threshold : {0.0f, 0.001f, 0.3f, -0.1f, kNaN, kInfinity}) {
    const std::vector<float> samples = SamplesAround(threshold, 1100);
    AtEachLevel([&] {
      for (uint32_t count : {0u, 1u, 7u, 15u, 16u, 17u, 63u, 64u, 65u, 127u, 128u, 129u, 1000u}) {
        for (std::size_t offset : {0u, 1u, 3u}) CheckMasks(samples, offset, count, threshold);
      }
    });
  }
}

}  // namespace
}  // namespace vomo::test
