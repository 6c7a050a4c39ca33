// Low-frequency bursts of known truth, as a differential signal or as the halves of a pair. Like
// the signals of synth_signal.h they need nothing but the language.
#ifndef VOMO_APP_BURST_SIGNAL_H
#define VOMO_APP_BURST_SIGNAL_H

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "synth_signal.h"

namespace app {

// The kinds of bursts, numbered as the burst test numbers them.
enum class BurstKind { kTrain = 1, kPulseWidthCoded = 2 };

// All times in seconds, voltages in volts; BurstParameters() defines each.
struct BurstSpec {
  BurstKind kind = BurstKind::kTrain;
  double sample_interval = 0.5e-9;
  double period = 40e-9;
  double duty_cycle = 50;
  double pulse_ratio = 2;
  double burst_time = 1e-6;
  double gap_time = 9e-6;
  double prepare_time = 2e-6;
  double high_level = 0.5;
  double low_level = -0.5;
  // As an NRZ signal has them, but for the default of the ramps.
  double common_mode = 0;
  double common_mode_amplitude = 0;
  double common_mode_frequency = 0;
  double edge_time = 0;
  double noise_rms = 0;
  uint64_t seed = 1;
  uint64_t burst_count = 5;
  Pattern pattern = Pattern::kPrbs7;  // of the coded bits
  std::vector<uint8_t> bits;
};

// A setting and the kind of bursts that has it.
struct BurstParameter : ParameterOf<BurstSpec> {
  enum class Use { kBoth, kTrain, kPulseWidthCoded } use;

  bool Concerns(BurstKind kind) const {
    return use != (kind == BurstKind::kTrain ? Use::kPulseWidthCoded : Use::kTrain);
  }
};
std::span<const BurstParameter> BurstParameters();

// The member that holds what this setting of an NRZ signal is for bursts, or NULL.
double BurstSpec::*SharedWith(const SynthParameter &parameter);

// Duration of the ramps: as given, or the default when it is left at 0.
double ResolvedEdgeTime(const BurstSpec &spec);

// Where a burst lies, seconds from sample 0.
struct BurstTruth {
  double prepare_start;  // of a pulse-width coded one
  double start, end;
};
BurstTruth TruthOf(const BurstSpec &spec, uint64_t burst);

// What is written of the signal at each sample.
enum class BurstView { kDifference, kPositiveHalf, kNegativeHalf };

// Delivers the samples in order, in pieces of any size. Memory grows with a burst's length only.
class BurstSynth {
 public:
  BurstSynth(const BurstSpec &spec, BurstView view);  // throws SynthError

  uint64_t sample_count() const { return sample_count_; }
  // Fills the next samples and returns their number, 0 at the end.
  size_t Next(std::span<float> out);

 private:
  // A ramp from the level so far to this one.
  struct Ramp {
    double start_s, end_s;
    double from_v, to_v;
  };

  void AddRamp(double zero_s, double level_v);
  void AddTrainBurst(double start_s);
  void AddCodedBurst(const BurstTruth &truth);
  void AddNextBurst();
  double DifferenceAt(double time_s);

  BurstSpec spec_;
  double edge_time_s_;
  double factor_;  // of the signal in this view
  bool is_half_;
  uint64_t periods_, sample_count_;
  BitSource bits_;
  RandomStream noise_;
  std::deque<Ramp> ramps_;         // not yet over
  double last_level_v_, level_v_;  // behind the last ramp, and at the present sample
  uint64_t bursts_added_ = 0, cursor_ = 0;
};

}  // namespace app

#endif
