// NRZ signals of known truth: every edge lies at an exact, real-valued time, and what was put into
// the signal is told beside it. Knows nothing of files, options or of the measuring library, so
// that tests and benchmarks can make captures with it too.
#ifndef VOMO_APP_SYNTH_SIGNAL_H
#define VOMO_APP_SYNTH_SIGNAL_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

enum class Pattern { kClock, kPrbs7, kPrbs9, kPrbs15, kPrbs23, kPrbs31, kTransmitter, kBits };

struct PatternName {
  const char *name;
  Pattern pattern;
};
std::span<const PatternName> PatternNames();

// All times in seconds, voltages in volts, frequencies in hertz; SynthParameters() defines each.
struct SynthSpec {
  double bit_rate = 8e9;
  double samples_per_ui = 16;
  double edge_time = 0;
  double swing = 0.8;
  double rj_rms = 0;
  double sj_amplitude = 0;
  double sj_frequency = 0;
  double dirac_distance = 0;
  double dirac_frequency = 0;
  double duty_cycle_distortion = 0;
  double f2_jitter = 0;
  double pattern_jitter = 0;
  double preshoot = 0;
  double deemphasis = 0;
  double noise_rms = 0;
  double common_mode = 0;
  double common_mode_amplitude = 0;
  double common_mode_frequency = 0;
  double ssc_depth = 0;
  double ssc_rate = 0;
  uint64_t ui_count = 1'000'000;
  uint64_t seed = 1;
  Pattern pattern = Pattern::kPrbs7;
  std::vector<uint8_t> bits;  // of Pattern::kBits: 0 or 1 each, repeated from the start at the end

  double unit_interval() const { return 1 / bit_rate; }
  double sample_interval() const { return 1 / (bit_rate * samples_per_ui); }
};

// A real-valued setting: name, unit, meaning, permitted range (ends included).
template <class Spec>
struct ParameterOf {
  const char *name;
  const char *unit;
  const char *definition;
  double Spec::*value;
  double low, high;
};
using SynthParameter = ParameterOf<SynthSpec>;
// The one list of them.
std::span<const SynthParameter> SynthParameters();

// A setting outside its range, told by name.
class SynthError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

template <class Spec>
void CheckRange(const Spec &spec, const ParameterOf<Spec> &parameter) {
  const double value = spec.*parameter.value;
  if (value >= parameter.low && value <= parameter.high) return;
  throw SynthError(std::string(parameter.name) + " is out of range");
}

// More samples than a waveform record can count are of no use to anyone.
inline constexpr double kMostSynthSamples = 4294967295.0;

// Figures of a sequence as it was really drawn; mean, rms and extremes are 0 for an empty one.
class SequenceStats {
 public:
  void Add(double value);
  uint64_t count() const { return count_; }
  double mean() const { return mean_; }
  double rms() const;  // about the mean
  double min() const { return min_; }
  double max() const { return max_; }

 private:
  uint64_t count_ = 0;
  double mean_ = 0, squares_ = 0, min_ = 0, max_ = 0;
};

struct SynthTruth {
  uint64_t sample_count = 0;
  uint64_t rising_edges = 0, falling_edges = 0;
  uint64_t held_edges = 0;  // would have come before their predecessor and were held at it
  double first_edge = 0, last_edge = 0;  // seconds from sample 0
  SequenceStats rj, sj, dirac, dcd;      // displacements of the edges, seconds
  SequenceStats f2, pattern, total;
  SequenceStats noise;  // volts, one for each sample
};

// Edge in units of samples from sample 0; step is half of the change of a level that is -1 or +1
// without equalisation: +1 for a rising and -1 for a falling edge, less for a change of the level
// within a run of equal bits.
struct SynthEdge {
  double position;
  double step;
};

// xoshiro256++ with a stream number, so that switching one disturbance on leaves the others' values
// as they were; Gaussian values by the polar method. The same on every machine.
class RandomStream {
 public:
  RandomStream(uint64_t seed, uint64_t stream);
  uint64_t Bits();
  double Uniform();  // [0, 1)
  double Gaussian();

 private:
  uint64_t state_[4];
  double spare_ = 0;
  bool has_spare_ = false;
};

class BitSource {
 public:
  explicit BitSource(const SynthSpec &spec) : BitSource(spec.pattern, spec.bits) {}
  BitSource(Pattern pattern, std::vector<uint8_t> bits);
  int Next();

 private:
  Pattern pattern_;
  std::vector<uint8_t> bits_;
  size_t position_ = 0;
  int length_ = 0, tap_ = 0;
  uint32_t state_ = 0;
};

// Weights of the bit before, the present and the bit behind, of a transmitter that is held to its
// full swing: their magnitudes add up to 1.
struct TransmitterTaps {
  double before, present, behind;
};
TransmitterTaps TapsOf(const SynthSpec &spec);

// Levels of the bits in order.
class LevelSource {
 public:
  explicit LevelSource(const SynthSpec &spec);
  double Next();  // -1 or +1 without equalisation
  // Of the bit whose level came last: how many equal bits ended right before it, 0 inside a run.
  int RunBefore() const { return run_before_; }

 private:
  BitSource bits_;
  TransmitterTaps taps_;
  int previous_, present_, next_;  // -1 or +1
  int run_ = 0, run_before_ = 0;
};

// Edges of the signal in time order; bit i begins at i unit intervals, bit 0 has no edge before it.
class EdgeSource {
 public:
  EdgeSource(const SynthSpec &spec, SynthTruth *truth);
  std::optional<SynthEdge> Next();
  double level() const { return level_; }

 private:
  double Displacement(double nominal_s, double step);

  SynthSpec spec_;
  SynthTruth *truth_;
  LevelSource levels_;
  RandomStream rj_, dirac_;
  uint64_t ui_ = 0;
  double level_;
  double last_position_ = 0;
};

// Start of unit interval `ui` in units of the nominal interval, with the spread spectrum in it.
double NominalPosition(const SynthSpec &spec, double ui);

// A sine from time 0 on.
double SineAbout(double mean, double amplitude, double frequency, double time_s);

// Of a single-ended pair at a sample, volts: what both halves have besides their signal.
double CommonMode(const SynthSpec &spec, uint64_t sample);

// Duration of the edge ramp: as given, or the default when it is left at 0.
double ResolvedEdgeTime(const SynthSpec &spec);

// Delivers the samples in order, in pieces of any size. Memory does not grow with the length.
class SignalSynth {
 public:
  explicit SignalSynth(const SynthSpec &spec);  // throws SynthError
  SignalSynth(const SignalSynth &) = delete;
  SignalSynth &operator=(const SignalSynth &) = delete;

  uint64_t sample_count() const { return truth_.sample_count; }
  // Fills the next samples and returns their number, 0 at the end.
  size_t Next(std::span<float> out);
  // Complete when all samples have been taken.
  const SynthTruth &truth() const { return truth_; }
  // From now on each edge is appended when the samples reach its ramp.
  void RecordEdges(std::vector<SynthEdge> *edges) { record_ = edges; }

 private:
  void UpdateMovingEdges();
  uint64_t NextChange() const;
  void Render(uint64_t begin, uint64_t end, float *out) const;

  SynthSpec spec_;
  SynthTruth truth_;
  EdgeSource edge_source_;
  RandomStream noise_;
  std::vector<SynthEdge> *record_ = nullptr;
  std::optional<SynthEdge> upcoming_;
  std::deque<SynthEdge> moving_;  // edges whose ramp holds the present sample
  double settled_level_;          // before the moving edges
  double half_ramp_;              // in samples
  uint64_t cursor_ = 0;
};

// A whole capture at once.
struct SynthCapture {
  std::vector<float> samples;
  std::vector<SynthEdge> edges;
  SynthTruth truth;
};
SynthCapture Synthesize(const SynthSpec &spec);

}  // namespace app

#endif
