#include "burst_signal.h"

#include <algorithm>
#include <cmath>

namespace app {
namespace {

using Use = BurstParameter::Use;

constexpr BurstParameter kParameters[] = {
    {{"sample_interval", "s", "time from sample to sample", &BurstSpec::sample_interval, 1e-15, 1},
     Use::kBoth},
    {{"period", "s", "of the square wave in a burst, or of a pulse-width coded bit",
      &BurstSpec::period, 1e-12, 1},
     Use::kBoth},
    {{"duty_cycle", "%", "part of each period, its first one, for which the signal is high",
      &BurstSpec::duty_cycle, 1, 99},
     Use::kTrain},
    {{"pulse_ratio", "1",
      "longer over shorter part of a bit, which is low first and then high; a 1 is high longer",
      &BurstSpec::pulse_ratio, 1, 99},
     Use::kPulseWidthCoded},
    {{"burst_time", "s", "length of a burst, a whole number of periods", &BurstSpec::burst_time,
      1e-12, 1},
     Use::kBoth},
    {{"gap_time", "s",
      "before, between and behind the bursts: of a train at 0 V, of pulse-width coding a stall at "
      "the low level",
      &BurstSpec::gap_time, 1e-12, 1},
     Use::kBoth},
    {{"prepare_time", "s", "at the high level, between the gap and the burst",
      &BurstSpec::prepare_time, 1e-12, 1},
     Use::kPulseWidthCoded},
    {{"high_level", "V", "high level of the difference", &BurstSpec::high_level, 1e-9, 1e6},
     Use::kBoth},
    {{"low_level", "V", "low level of the difference", &BurstSpec::low_level, -1e6, -1e-9},
     Use::kBoth},
};

constexpr struct {
  double SynthSpec::*signal;
  double BurstSpec::*bursts;
} kShared[] = {
    {&SynthSpec::edge_time, &BurstSpec::edge_time},
    {&SynthSpec::noise_rms, &BurstSpec::noise_rms},
    {&SynthSpec::common_mode, &BurstSpec::common_mode},
    {&SynthSpec::common_mode_amplitude, &BurstSpec::common_mode_amplitude},
    {&SynthSpec::common_mode_frequency, &BurstSpec::common_mode_frequency},
};

double ShortestPulse(const BurstSpec &spec) {
  if (spec.kind == BurstKind::kPulseWidthCoded) return spec.period / (1 + spec.pulse_ratio);
  return spec.period * std::min(spec.duty_cycle, 100 - spec.duty_cycle) / 100;
}

double PeriodsOf(const BurstSpec &spec) {
  return std::round(spec.burst_time / spec.period);
}

double PrepareOf(const BurstSpec &spec) {
  return spec.kind == BurstKind::kPulseWidthCoded ? spec.prepare_time : 0;
}

double CycleOf(const BurstSpec &spec) {
  return spec.gap_time + PrepareOf(spec) + spec.burst_time;
}

double SamplesOf(const BurstSpec &spec) {
  const double length_s = static_cast<double>(spec.burst_count) * CycleOf(spec) + spec.gap_time;
  return std::floor(length_s / spec.sample_interval) + 1;
}

const BurstSpec &Checked(const BurstSpec &spec) {
  for (const BurstParameter &parameter : kParameters) CheckRange(spec, parameter);
  const double periods = spec.burst_time / spec.period;
  if (periods < 0.5 || std::abs(periods - std::round(periods)) > 1e-6 * periods) {
    throw SynthError("burst_time is no whole number of periods");
  }
  // Then ramps don't meet, not even one that begins at 0 V and one that ends there.
  const double longest_s =
      std::min({ShortestPulse(spec) / 2, spec.gap_time / 2,
                spec.kind == BurstKind::kPulseWidthCoded ? spec.prepare_time / 2 : 1});
  if (ResolvedEdgeTime(spec) > longest_s) {
    throw SynthError("edge_time is longer than half of the shortest pulse or gap");
  }
  if (spec.common_mode_amplitude > 0 && spec.common_mode_frequency == 0) {
    throw SynthError("common_mode_amplitude needs common_mode_frequency");
  }
  if (SamplesOf(spec) > kMostSynthSamples) throw SynthError("the bursts make too many samples");
  return spec;
}

}  // namespace

std::span<const BurstParameter> BurstParameters() {
  return kParameters;
}

double BurstSpec::*SharedWith(const SynthParameter &parameter) {
  for (const auto &[signal, bursts] : kShared) {
    if (parameter.value == signal) return bursts;
  }
  return nullptr;
}

double ResolvedEdgeTime(const BurstSpec &spec) {
  return spec.edge_time > 0 ? spec.edge_time : 0.1 * spec.period;
}

BurstTruth TruthOf(const BurstSpec &spec, uint64_t burst) {
  BurstTruth truth;
  truth.prepare_start = static_cast<double>(burst) * CycleOf(spec) + spec.gap_time;
  truth.start = truth.prepare_start + PrepareOf(spec);
  truth.end = truth.start + spec.burst_time;
  return truth;
}

BurstSynth::BurstSynth(const BurstSpec &spec, BurstView view)
    : spec_(Checked(spec)),
      edge_time_s_(ResolvedEdgeTime(spec)),
      factor_(view == BurstView::kDifference     ? 1
              : view == BurstView::kPositiveHalf ? 0.5
                                                 : -0.5),
      is_half_(view != BurstView::kDifference),
      periods_(static_cast<uint64_t>(PeriodsOf(spec))),
      sample_count_(static_cast<uint64_t>(SamplesOf(spec))),
      bits_(spec.pattern, spec.bits),
      noise_(spec.seed, 3),
      last_level_v_(spec.kind == BurstKind::kTrain ? 0 : spec.low_level),
      level_v_(last_level_v_) {}

// Every ramp is at 0 V at its time, wherever it comes from; the one from 0 V begins there and the
// one to 0 V ends there.
void BurstSynth::AddRamp(double zero_s, double level_v) {
  const double share = last_level_v_ / (last_level_v_ - level_v);
  const double start_s = zero_s - share * edge_time_s_;
  ramps_.push_back({start_s, start_s + edge_time_s_, last_level_v_, level_v});
  last_level_v_ = level_v;
}

void BurstSynth::AddTrainBurst(double start_s) {
  const double high_s = spec_.period * spec_.duty_cycle / 100;
  for (uint64_t i = 0; i < periods_; ++i) {
    const double period_s = start_s + static_cast<double>(i) * spec_.period;
    AddRamp(period_s, spec_.high_level);
    AddRamp(period_s + high_s, spec_.low_level);
  }
  AddRamp(start_s + spec_.burst_time, 0);
}

void BurstSynth::AddCodedBurst(const BurstTruth &truth) {
  const double short_s = spec_.period / (1 + spec_.pulse_ratio);
  AddRamp(truth.prepare_start, spec_.high_level);
  for (uint64_t i = 0; i < periods_; ++i) {
    const double bit_s = truth.start + static_cast<double>(i) * spec_.period;
    AddRamp(bit_s, spec_.low_level);
    AddRamp(bit_s + (bits_.Next() ? short_s : spec_.period - short_s), spec_.high_level);
  }
  AddRamp(truth.end, spec_.low_level);
}

void BurstSynth::AddNextBurst() {
  const BurstTruth truth = TruthOf(spec_, bursts_added_++);
  if (spec_.kind == BurstKind::kTrain) {
    AddTrainBurst(truth.start);
  } else {
    AddCodedBurst(truth);
  }
}

// Of times that grow from call to call.
double BurstSynth::DifferenceAt(double time_s) {
  while (true) {
    if (ramps_.empty() && bursts_added_ < spec_.burst_count) AddNextBurst();
    if (ramps_.empty() || ramps_.front().end_s > time_s) break;
    level_v_ = ramps_.front().to_v;
    ramps_.pop_front();
  }
  if (ramps_.empty() || time_s <= ramps_.front().start_s) return level_v_;
  const Ramp &ramp = ramps_.front();
  return ramp.from_v +
         (ramp.to_v - ramp.from_v) * ((time_s - ramp.start_s) / (ramp.end_s - ramp.start_s));
}

size_t BurstSynth::Next(std::span<float> out) {
  const size_t count = std::min<uint64_t>(out.size(), sample_count_ - cursor_);
  for (float &sample : out.first(count)) {
    const double time_s = static_cast<double>(cursor_++) * spec_.sample_interval;
    double value = DifferenceAt(time_s);
    if (spec_.noise_rms > 0) value += spec_.noise_rms * noise_.Gaussian();
    value *= factor_;
    if (is_half_) {
      value += SineAbout(spec_.common_mode, spec_.common_mode_amplitude,
                         spec_.common_mode_frequency, time_s);
    }
    sample = static_cast<float>(value);
  }
  return count;
}

}  // namespace app
