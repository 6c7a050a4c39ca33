#include "synth_signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace app {
namespace {

std::vector<unsigned> Bits(Pattern pattern, size_t count) {
  SynthSpec spec;
  spec.pattern = pattern;
  BitSource source(spec);
  std::vector<unsigned> bits(count);
  for (unsigned &bit : bits) bit = static_cast<unsigned>(source.Next());
  return bits;
}

TEST(BitSource, Prbs7StartsWithTheKnownBits) {
  // x^7 + x^6 + 1 from all ones, worked out by hand: each bit is the sum of those 7 and 6 before
  // it.
  std::string text;
  for (const unsigned bit : Bits(Pattern::kPrbs7, 48)) text += bit != 0 ? "1" : "0";
  EXPECT_EQ(text, "111111100000010000011000010100011110010001011001");
}

struct Sequence {
  Pattern pattern;
  unsigned length, tap;
};

TEST(BitSource, MaximalLengthSequences) {
  const Sequence sequences[] = {
      {Pattern::kPrbs7, 7, 6}, {Pattern::kPrbs9, 9, 5}, {Pattern::kPrbs15, 15, 14}};
  for (const auto &[pattern, length, tap] : sequences) {
    const size_t period = (size_t{1} << length) - 1;
    const std::vector<unsigned> bits = Bits(pattern, 2 * period);
    // Each window of `length` bits but the one of zeros stands in a period exactly once; from this
    // follow the period itself and one more 1 than 0.
    std::vector<int> seen(period + 1, 0);
    for (size_t start = 0; start < period; ++start) {
      size_t window = 0;
      for (size_t k = start; k < start + length; ++k) window = 2 * window + bits[k];
      ++seen[window];
    }
    EXPECT_EQ(seen[0], 0) << length;
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), static_cast<long>(period)) << length;
    EXPECT_TRUE(std::equal(bits.begin(), bits.begin() + static_cast<long>(period),
                           bits.begin() + static_cast<long>(period)))
        << length;
  }
}

TEST(BitSource, LongSequencesObeyTheirPolynomials) {
  for (const auto &[pattern, length, tap] :
       {Sequence{Pattern::kPrbs9, 9, 5}, Sequence{Pattern::kPrbs15, 15, 14},
        Sequence{Pattern::kPrbs23, 23, 18}, Sequence{Pattern::kPrbs31, 31, 28}}) {
    const std::vector<unsigned> bits = Bits(pattern, 20000);
    for (size_t i = length; i < bits.size(); ++i) {
      ASSERT_EQ(bits[i], bits[i - length] ^ bits[i - tap]) << length << " at " << i;
    }
  }
  // One period of 2^23 - 1 bits holds 2^22 ones.
  const std::vector<unsigned> bits = Bits(Pattern::kPrbs23, (1 << 23) - 1);
  EXPECT_EQ(std::count(bits.begin(), bits.end(), 1), 1 << 22);
}

TEST(RandomStream, GaussianMomentsAndTails) {
  constexpr int kCount = 1'000'000;
  RandomStream random(42, 1), other(42, 2);
  double sum = 0, squares = 0, fourth = 0, cross = 0;
  int beyond_2 = 0, beyond_4 = 0;
  for (int i = 0; i < kCount; ++i) {
    const double x = random.Gaussian();
    sum += x;
    squares += x * x;
    fourth += x * x * x * x;
    cross += x * other.Gaussian();
    beyond_2 += std::abs(x) > 2;
    beyond_4 += std::abs(x) > 4;
  }
  // Five standard deviations of each estimate: the mean and the product of two streams have
  // variance 1/n, the second moment 2/n, the fourth 96/n, a count n p.
  const double root = std::sqrt(static_cast<double>(kCount));
  EXPECT_NEAR(sum / kCount, 0, 5 / root);
  EXPECT_NEAR(cross / kCount, 0, 5 / root);
  EXPECT_NEAR(squares / kCount, 1, 5 * std::sqrt(2.0) / root);
  EXPECT_NEAR(fourth / kCount, 3, 5 * std::sqrt(96.0) / root);
  for (const auto &[count, limit] : {std::pair{beyond_2, 2.0}, std::pair{beyond_4, 4.0}}) {
    const double expected = kCount * std::erfc(limit / std::numbers::sqrt2);
    EXPECT_NEAR(count, expected, 5 * std::sqrt(expected));
  }
}

// All disturbances at once, at a ratio that no two edges share a phase of.
SynthSpec EverythingOn() {
  SynthSpec spec;
  spec.samples_per_ui = 11 + 1 / std::numbers::pi;
  spec.pattern = Pattern::kPrbs9;
  spec.ui_count = 20000;
  spec.rj_rms = 2e-12;
  spec.sj_amplitude = 5e-12;
  spec.sj_frequency = 17e6;
  spec.dirac_distance = 4e-12;
  spec.duty_cycle_distortion = 3e-12;
  spec.ssc_depth = 0.005;
  spec.ssc_rate = 1e6;
  return spec;
}

TEST(SignalSynth, StraightLinesMeetZeroAtTheEdges) {
  const SynthCapture capture = Synthesize(EverythingOn());
  ASSERT_EQ(capture.edges.size(), capture.truth.rising_edges + capture.truth.falling_edges);
  // A sample's float rounding is at most 2^-25 of the half swing, and the ramp climbs the half
  // swing in half its length (0.15 UI = 1.7 samples): two such errors move the crossing by 1e-7
  // samples.
  for (const SynthEdge &edge : capture.edges) {
    const auto before = static_cast<size_t>(edge.position);
    const double a = capture.samples[before], b = capture.samples[before + 1];
    ASSERT_GT(edge.step * (b - a), 0);
    ASSERT_NEAR(static_cast<double>(before) - a / (b - a), edge.position, 2e-7);
  }
}

// The sum of all ramps, written out: the signal's definition, without any bookkeeping.
double Definition(const SynthSpec &spec, const std::vector<SynthEdge> &edges, double first_level,
                  size_t n) {
  const double half_ramp = 0.5 * spec.edge_time / spec.sample_interval();
  double level = first_level;
  for (const SynthEdge &edge : edges) {
    const double x = (static_cast<double>(n) - edge.position) / half_ramp;
    level += edge.step * (1 + std::clamp(x, -1.0, 1.0));
  }
  return 0.5 * spec.swing * level;
}

TEST(SignalSynth, RampsOfAnyLengthAddUp) {
  for (const double edge_time_ui : {0.01, 0.4, 1.0, 2.7}) {
    SynthSpec spec = EverythingOn();
    spec.ui_count = 150;
    spec.samples_per_ui = 7.3;
    spec.edge_time = edge_time_ui * spec.unit_interval();
    spec.rj_rms = 0.5 * spec.unit_interval();  // so much that edges overtake each other
    const SynthCapture capture = Synthesize(spec);
    EXPECT_GT(capture.truth.held_edges, 0u);
    ASSERT_EQ(capture.samples.size(), capture.truth.sample_count);
    for (size_t n = 0; n < capture.samples.size(); ++n) {
      ASSERT_NEAR(capture.samples[n], Definition(spec, capture.edges, 1, n), 1e-6 * spec.swing)
          << edge_time_ui << " at " << n;
    }
  }
}

TEST(SignalSynth, TransmitterTapsMakeTheirDecibels) {
  SynthSpec spec;
  spec.pattern = Pattern::kBits;
  spec.bits = {1, 1, 1, 1, 0, 0, 0, 0};
  spec.ui_count = 16;
  spec.samples_per_ui = 10;
  spec.edge_time = 12.5e-12;  // a sample
  spec.preshoot = 3.5;
  spec.deemphasis = -6;
  const SynthCapture capture = Synthesize(spec);
  const auto level = [&](size_t bit) { return std::abs(double{capture.samples[10 * bit + 5]}); };
  // Samples are floats: 20 log10 of a ratio is off by 8.7 x 2^-24 at the most, twice.
  EXPECT_NEAR(20 * std::log10(level(7) / level(6)), 3.5, 2e-6);
  EXPECT_NEAR(20 * std::log10(level(6) / level(4)), -6, 2e-6);
  EXPECT_EQ(level(5), level(6));
  // A bit alone takes the full swing.
  spec.bits = {1, 0, 0, 1, 0, 0};
  EXPECT_NEAR(std::abs(Synthesize(spec).samples[35]), 0.5 * spec.swing, 1e-7);
}

TEST(SignalSynth, EvenOddAndPatternJitterFollowTheirDefinitions) {
  SynthSpec spec;
  spec.pattern = Pattern::kTransmitter;
  spec.ui_count = 10 * 832;
  spec.f2_jitter = 2e-12;
  spec.pattern_jitter = 5e-12;
  const SynthCapture capture = Synthesize(spec);
  double before_ui = 0;
  for (const SynthEdge &edge : capture.edges) {
    const double time_s = edge.position * spec.sample_interval();
    const double ui = std::round(time_s / 125e-12), run = ui - before_ui;
    const double expected = 125e-12 * ui + (std::fmod(ui, 2) == 0 ? -0.5e-12 : 0.5e-12) +
                            5e-12 * (1 - std::exp2(1 - run));
    ASSERT_NEAR(time_s, expected, 1e-20) << ui;
    before_ui = ui;
  }
  EXPECT_EQ(capture.truth.f2.count(), capture.edges.size());
}

TEST(SignalSynth, SinusoidAndDutyCycleFollowTheirDefinitions) {
  SynthSpec spec;
  spec.pattern = Pattern::kClock;
  spec.ui_count = 5000;
  spec.sj_amplitude = 6e-12;
  spec.sj_frequency = 12.5e6;
  spec.duty_cycle_distortion = -4e-12;
  spec.dirac_distance = 3e-12;
  spec.dirac_frequency = 1e9 / std::numbers::pi;  // changes sides on no edge
  const SynthCapture capture = Synthesize(spec);
  ASSERT_EQ(capture.edges.size(), 4999u);
  for (size_t i = 0; i < capture.edges.size(); ++i) {
    const double nominal_s = static_cast<double>(i + 1) * 125e-12;
    const double late = std::sin(2e9 * nominal_s) > 0 ? 1 : -1;
    const double expected = nominal_s +
                            6e-12 * std::sin(2 * std::numbers::pi * 12.5e6 * nominal_s) -
                            2e-12 * capture.edges[i].step + 1.5e-12 * late;
    ASSERT_NEAR(capture.edges[i].position * spec.sample_interval(), expected, 1e-20) << i;
  }
  // 12.5 MHz in 8 Gb/s is a whole 640 UI: over whole periods the rms is the peak / sqrt 2; the rest
  // of a period among 5000 edges moves it by less than 1 %.
  EXPECT_NEAR(capture.truth.sj.rms(), 6e-12 / std::numbers::sqrt2, 6e-14);
  EXPECT_NEAR(capture.truth.dcd.max() - capture.truth.dcd.min(), 4e-12, 1e-24);
}

TEST(SignalSynth, SpreadSpectrumIsTheIntegralOfItsTriangle) {
  SynthSpec spec;
  spec.ssc_depth = 0.004;
  spec.ssc_rate = 32e3;
  double position = 0;  // trapezium rule over single UI, exact but for the UI that hold a corner
  const double periods_per_ui = 32e3 / 8e9;
  const auto interval = [&](double ui) {
    const double phase = ui * periods_per_ui - std::floor(ui * periods_per_ui);
    return 1 + 0.004 * (phase < 0.5 ? 2 * phase : 2 - 2 * phase);
  };
  for (int ui = 0; ui < 600'000; ++ui) {
    position += 0.5 * (interval(ui) + interval(ui + 1));
    if (ui % 50'000 == 0) {
      // A corner inside one UI costs less than depth * periods_per_ui = 2e-8 UI, twice a period;
      // the sum of 600,000 terms rounds by less than 1e-5.
      ASSERT_NEAR(NominalPosition(spec, ui + 1), position, 1e-5) << ui;
    }
  }
  EXPECT_DOUBLE_EQ(NominalPosition(spec, 250'000), 250'000 * 1.002);  // one period: mean 1/2
}

TEST(SignalSynth, TruthTellsWhatWasDrawn) {
  SynthSpec spec = EverythingOn();
  spec.noise_rms = 0.01;
  const SynthCapture capture = Synthesize(spec);
  const SynthTruth &truth = capture.truth;
  const auto edges = static_cast<double>(capture.edges.size());
  // A pattern of 511 bits has 256 edges.
  EXPECT_NEAR(edges, 20000.0 * 256 / 511, 10);
  EXPECT_EQ(truth.held_edges, 0u);
  // Five standard deviations of an rms estimate: 5 / sqrt(2 n).
  EXPECT_NEAR(truth.rj.rms(), 2e-12, 2e-12 * 5 / std::sqrt(2 * edges));
  EXPECT_NEAR(truth.noise.rms(), 0.01,
              0.01 * 5 / std::sqrt(2.0 * static_cast<double>(truth.sample_count)));
  EXPECT_NEAR(truth.dirac.rms(), 2e-12, 2e-12 * 5 / std::sqrt(edges));
  // The parts are independent, so their variances add up; covariances of 10,000 values stay below
  // 5 % of the greatest product.
  const double sum = truth.rj.rms() * truth.rj.rms() + truth.sj.rms() * truth.sj.rms() +
                     truth.dirac.rms() * truth.dirac.rms() + truth.dcd.rms() * truth.dcd.rms();
  EXPECT_NEAR(truth.total.rms() * truth.total.rms(), sum, 0.05 * sum);
  EXPECT_DOUBLE_EQ(truth.last_edge, capture.edges.back().position * spec.sample_interval());
}

TEST(SignalSynth, SeedAndPiecesDecideNothingElse) {
  SynthSpec spec = EverythingOn();
  spec.ui_count = 2000;
  spec.noise_rms = 0.02;
  const SynthCapture whole = Synthesize(spec);
  SignalSynth synth(spec);
  std::vector<float> pieces, piece(317);
  while (const size_t count = synth.Next(piece)) {
    pieces.insert(pieces.end(), piece.begin(), piece.begin() + static_cast<long>(count));
  }
  EXPECT_EQ(pieces, whole.samples);

  // Noise leaves the edges where they are; another seed moves them.
  SynthSpec quiet = spec, reseeded = spec;
  quiet.noise_rms = 0;
  reseeded.seed = 2;
  const SynthCapture silent = Synthesize(quiet), other = Synthesize(reseeded);
  EXPECT_EQ(silent.edges.back().position, whole.edges.back().position);
  EXPECT_NE(other.edges.back().position, whole.edges.back().position);
}

TEST(SignalSynth, RefusesWithTheName) {
  const struct {
    double SynthSpec::*field;
    double value;
    const char *name;
  } cases[] = {{&SynthSpec::bit_rate, 0, "bit_rate"},
               {&SynthSpec::samples_per_ui, 0.5, "samples_per_ui"},
               {&SynthSpec::rj_rms, -1e-12, "rj_rms"},
               {&SynthSpec::swing, std::nan(""), "swing"},
               {&SynthSpec::sj_amplitude, 1e-12, "sj_frequency"},
               {&SynthSpec::ssc_depth, 0.01, "ssc_rate"}};
  for (const auto &[field, value, name] : cases) {
    SynthSpec spec;
    spec.*field = value;
    try {
      SignalSynth synth(spec);
      ADD_FAILURE() << name << " was accepted";
    } catch (const SynthError &error) {
      EXPECT_NE(std::string(error.what()).find(name), std::string::npos) << error.what();
    }
  }
  SynthSpec endless;
  endless.ui_count = uint64_t{1} << 60;
  EXPECT_THROW(SignalSynth{endless}, SynthError);
}

}  // namespace
}  // namespace app
