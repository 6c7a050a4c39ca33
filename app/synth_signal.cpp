#include "synth_signal.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace app {
namespace {

constexpr PatternName kPatternNames[] = {
    {"clock", Pattern::kClock},
    {"prbs7", Pattern::kPrbs7},
    {"prbs9", Pattern::kPrbs9},
    {"prbs15", Pattern::kPrbs15},
    {"prbs23", Pattern::kPrbs23},
    {"prbs31", Pattern::kPrbs31},
    {"transmitter", Pattern::kTransmitter},
    {"bits", Pattern::kBits},
};

constexpr SynthParameter kParameters[] = {
    {"bit_rate", "bit/s", "nominal bit rate; its reciprocal is the unit interval (UI)",
     &SynthSpec::bit_rate, 1e3, 1e13},
    {"samples_per_ui", "1", "samples in a nominal unit interval, any real number",
     &SynthSpec::samples_per_ui, 1, 1e6},
    {"edge_time", "s",
     "duration of the linear ramp from one level to the other, centred on the edge; 0 stands for "
     "0.3 UI, but at least 2.5 samples, and in bursts for 0.1 of a period. From 2 samples on a "
     "straight line through the samples beside an edge meets 0 V at the edge's exact time. Ramps "
     "that overlap add up",
     &SynthSpec::edge_time, 0, 1},
    {"swing", "V", "difference of the two levels, which lie evenly about 0 V", &SynthSpec::swing,
     1e-9, 1e6},
    {"rj_rms", "s", "standard deviation of a Gaussian displacement, independent for each edge",
     &SynthSpec::rj_rms, 0, 1},
    {"sj_amplitude", "s",
     "peak (half of peak to peak) of a displacement A sin(2 pi f t), t the edge's undisturbed time",
     &SynthSpec::sj_amplitude, 0, 1},
    {"sj_frequency", "Hz", "frequency f of the sinusoidal displacement", &SynthSpec::sj_frequency,
     0, 1e13},
    {"dirac_distance", "s",
     "distance d of the two values +d/2 and -d/2 of a displacement of each edge",
     &SynthSpec::dirac_distance, 0, 1},
    {"dirac_frequency", "Hz",
     "frequency at which that displacement changes as a square wave, beginning with +d/2; 0 draws "
     "it "
     "evenly for each edge, which a spectrum can't tell from random jitter",
     &SynthSpec::dirac_frequency, 0, 1e13},
    {"duty_cycle_distortion", "s",
     "rising edges come this much later against falling ones: half of it is added to rising, half "
     "taken from falling edges; a negative value lengthens the high bits",
     &SynthSpec::duty_cycle_distortion, -1, 1},
    {"f2_jitter", "s",
     "even unit intervals (the first is even) last this much longer than odd ones, half of it on "
     "either: even edges come a quarter early, odd ones a quarter late",
     &SynthSpec::f2_jitter, -1, 1},
    {"pattern_jitter", "s",
     "behind a run of n equal bits an edge comes later by this times 1 - 2^(1 - n)",
     &SynthSpec::pattern_jitter, 0, 1},
    {"preshoot", "dB",
     "level of the last bit of a run against that inside of it, made by a 3-tap transmitter filter "
     "whose full swing is that given",
     &SynthSpec::preshoot, 0, 20},
    {"deemphasis", "dB",
     "level inside a run against that of its first bit, made by the same filter",
     &SynthSpec::deemphasis, -20, 0},
    {"noise_rms", "V", "standard deviation of Gaussian noise added to each sample",
     &SynthSpec::noise_rms, 0, 1e6},
    {"common_mode", "V", "of a single-ended pair: constant voltage on both halves",
     &SynthSpec::common_mode, -1e6, 1e6},
    {"common_mode_amplitude", "V", "of a pair: peak of a sine on both halves",
     &SynthSpec::common_mode_amplitude, 0, 1e6},
    {"common_mode_frequency", "Hz", "frequency of that sine", &SynthSpec::common_mode_frequency, 0,
     1e13},
    {"ssc_depth", "1",
     "spread spectrum: the unit interval at time t is UI (1 + depth tri(rate t)), with tri a "
     "triangle that runs from 0 up to 1 and back in one period, and t counted by the unspread "
     "clock",
     &SynthSpec::ssc_depth, 0, 0.5},
    {"ssc_rate", "Hz", "spread spectrum: periods of the triangle in a second", &SynthSpec::ssc_rate,
     0, 1e12},
};

struct ShiftRegister {
  Pattern pattern;
  int length, tap;  // x^length + x^tap + 1
};
constexpr ShiftRegister kShiftRegisters[] = {
    {Pattern::kPrbs7, 7, 6},    {Pattern::kPrbs9, 9, 5},    {Pattern::kPrbs15, 15, 14},
    {Pattern::kPrbs23, 23, 18}, {Pattern::kPrbs31, 31, 28},
};

void Check(const SynthSpec &spec) {
  for (const SynthParameter &parameter : kParameters) CheckRange(spec, parameter);
  if (spec.ui_count < 1 ||
      spec.samples_per_ui * NominalPosition(spec, static_cast<double>(spec.ui_count)) >
          kMostSynthSamples) {
    throw SynthError("ui_count is out of range");
  }
  if (spec.sj_amplitude > 0 && spec.sj_frequency == 0) {
    throw SynthError("sj_amplitude needs sj_frequency");
  }
  if (spec.common_mode_amplitude > 0 && spec.common_mode_frequency == 0) {
    throw SynthError("common_mode_amplitude needs common_mode_frequency");
  }
  if (spec.ssc_depth > 0 && spec.ssc_rate == 0) throw SynthError("ssc_depth needs ssc_rate");
  const auto is_bit = [](uint8_t bit) { return bit <= 1; };
  if (spec.pattern == Pattern::kBits &&
      (spec.bits.empty() || !std::all_of(spec.bits.begin(), spec.bits.end(), is_bit))) {
    throw SynthError("the pattern's bits are missing");
  }
}

const SynthSpec &Checked(const SynthSpec &spec) {
  Check(spec);
  return spec;
}

uint64_t SplitMix(uint64_t &state) {
  uint64_t z = (state += 0x9E3779B97F4A7C15u);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
  return z ^ (z >> 31);
}

// Part of its cycle, 0 to 1, that an oscillation from time 0 has gone through.
double Phase(double frequency, double time_s) {
  const double cycles = frequency * time_s;
  return cycles - std::floor(cycles);
}

// Integral from 0 to x of the triangle that rises from 0 to 1 and falls back within each period 1.
double TriangleIntegral(double x) {
  const double periods = std::floor(x);
  const double f = x - periods;
  return periods / 2 + (f <= 0.5 ? f * f : 0.5 - (1 - f) * (1 - f));
}

void Append(std::vector<uint8_t> &bits, size_t repeats, std::initializer_list<int> runs) {
  uint8_t bit = 1;
  for (size_t k = 0; k < repeats; ++k) {
    for (const int run : runs) {
      bits.insert(bits.end(), static_cast<size_t>(run), bit);
      bit ^= 1;
    }
  }
}

// What a transmitter's compliance pattern has to show, in 832 bits: long flat runs, single bits
// beside them, an exit sequence of sixteen runs of eight, and data.
std::vector<uint8_t> TransmitterPattern() {
  std::vector<uint8_t> bits;
  Append(bits, 1, {64, 64});
  Append(bits, 32, {1, 1});
  Append(bits, 8, {8, 8});
  SynthSpec data;
  data.pattern = Pattern::kPrbs9;
  BitSource source(data);
  for (int i = 0; i < 511; ++i) bits.push_back(static_cast<uint8_t>(source.Next()));
  bits.push_back(0);  // an even number in all
  return bits;
}

}  // namespace

std::span<const PatternName> PatternNames() {
  return kPatternNames;
}
std::span<const SynthParameter> SynthParameters() {
  return kParameters;
}

void SequenceStats::Add(double value) {
  ++count_;
  const double step = value - mean_;
  mean_ += step / static_cast<double>(count_);
  squares_ += step * (value - mean_);
  min_ = count_ == 1 ? value : std::min(min_, value);
  max_ = count_ == 1 ? value : std::max(max_, value);
}

double SequenceStats::rms() const {
  return count_ == 0 ? 0 : std::sqrt(squares_ / static_cast<double>(count_));
}

RandomStream::RandomStream(uint64_t seed, uint64_t stream) {
  uint64_t state = seed;
  state = SplitMix(state) ^ stream;
  for (uint64_t &word : state_) word = SplitMix(state);
}

uint64_t RandomStream::Bits() {
  const uint64_t result = std::rotl(state_[0] + state_[3], 23) + state_[0];
  const uint64_t shifted = state_[1] << 17;
  state_[2] ^= state_[0];
  state_[3] ^= state_[1];
  state_[1] ^= state_[2];
  state_[0] ^= state_[3];
  state_[2] ^= shifted;
  state_[3] = std::rotl(state_[3], 45);
  return result;
}

double RandomStream::Uniform() {
  return static_cast<double>(Bits() >> 11) * 0x1p-53;
}

double RandomStream::Gaussian() {
  if (has_spare_) {
    has_spare_ = false;
    return spare_;
  }
  double u, v, s;
  do {
    u = 2 * Uniform() - 1;
    v = 2 * Uniform() - 1;
    s = u * u + v * v;
  } while (s >= 1 || s == 0);
  const double scale = std::sqrt(-2 * std::log(s) / s);
  spare_ = v * scale;
  has_spare_ = true;
  return u * scale;
}

BitSource::BitSource(Pattern pattern, std::vector<uint8_t> bits)
    : pattern_(pattern), bits_(std::move(bits)) {
  if (pattern_ == Pattern::kTransmitter) bits_ = TransmitterPattern();
  for (const ShiftRegister &shift : kShiftRegisters) {
    if (shift.pattern != pattern_) continue;
    length_ = shift.length;
    tap_ = shift.tap;
    state_ = static_cast<uint32_t>((uint64_t{1} << length_) - 1);
  }
}

// A shift register starts with all ones and gives the bit that falls out at its end.
int BitSource::Next() {
  if (pattern_ == Pattern::kClock) return static_cast<int>(++position_ & 1);
  if (pattern_ == Pattern::kBits || pattern_ == Pattern::kTransmitter) {
    const int bit = bits_[position_];
    position_ = (position_ + 1) % bits_.size();
    return bit;
  }
  const uint32_t out = (state_ >> (length_ - 1)) & 1;
  const uint32_t in = out ^ ((state_ >> (tap_ - 1)) & 1);
  state_ = ((state_ << 1) | in) & static_cast<uint32_t>((uint64_t{1} << length_) - 1);
  return static_cast<int>(out);
}

double NominalPosition(const SynthSpec &spec, double ui) {
  if (spec.ssc_depth == 0 || spec.ssc_rate == 0) return ui;
  const double periods_per_ui = spec.ssc_rate / spec.bit_rate;
  return ui + spec.ssc_depth * TriangleIntegral(ui * periods_per_ui) / periods_per_ui;
}

double SineAbout(double mean, double amplitude, double frequency, double time_s) {
  if (amplitude == 0) return mean;
  return mean + amplitude * std::sin(2 * std::numbers::pi * Phase(frequency, time_s));
}

double CommonMode(const SynthSpec &spec, uint64_t sample) {
  return SineAbout(spec.common_mode, spec.common_mode_amplitude, spec.common_mode_frequency,
                   static_cast<double>(sample) * spec.sample_interval());
}

double ResolvedEdgeTime(const SynthSpec &spec) {
  if (spec.edge_time > 0) return spec.edge_time;
  return std::max(0.3 * spec.unit_interval(), 2.5 * spec.sample_interval());
}

// With p the preshoot and d the de-emphasis as ratios, the levels are A behind an edge, d A inside
// a run and p d A in front of the next edge. Full swing makes A + p d A - 1 = d A.
TransmitterTaps TapsOf(const SynthSpec &spec) {
  const double p = std::pow(10, spec.preshoot / 20), d = std::pow(10, spec.deemphasis / 20);
  const double behind_edge = 1 / (1 + p * d - d);
  const double before = 0.5 * (1 - behind_edge), behind = 0.5 * (1 - p * d * behind_edge);
  return {-before, 1 - before - behind, -behind};
}

LevelSource::LevelSource(const SynthSpec &spec)
    : bits_(spec), taps_(TapsOf(spec)), next_(2 * bits_.Next() - 1) {
  previous_ = present_ = next_;
}

double LevelSource::Next() {
  previous_ = present_;
  present_ = next_;
  next_ = 2 * bits_.Next() - 1;
  run_before_ = present_ == previous_ ? 0 : run_;
  run_ = present_ == previous_ ? run_ + 1 : 1;
  return taps_.before * next_ + taps_.present * present_ + taps_.behind * previous_;
}

EdgeSource::EdgeSource(const SynthSpec &spec, SynthTruth *truth)
    : spec_(spec),
      truth_(truth),
      levels_(spec),
      rj_(spec.seed, 1),
      dirac_(spec.seed, 2),
      level_(levels_.Next()) {}

double EdgeSource::Displacement(double nominal_s, double step) {
  double total = 0;
  const auto add = [&](SequenceStats &stats, double value) {
    stats.Add(value);
    total += value;
  };
  if (spec_.rj_rms > 0) add(truth_->rj, spec_.rj_rms * rj_.Gaussian());
  if (spec_.sj_amplitude > 0) {
    const double phase = Phase(spec_.sj_frequency, nominal_s);
    add(truth_->sj, spec_.sj_amplitude * std::sin(2 * std::numbers::pi * phase));
  }
  if (spec_.dirac_distance > 0) {
    const bool late = spec_.dirac_frequency > 0 ? Phase(spec_.dirac_frequency, nominal_s) < 0.5
                                                : dirac_.Bits() >> 63 != 0;
    add(truth_->dirac, (late ? 0.5 : -0.5) * spec_.dirac_distance);
  }
  if (spec_.duty_cycle_distortion != 0) {
    add(truth_->dcd, std::copysign(0.5, step) * spec_.duty_cycle_distortion);
  }
  if (spec_.f2_jitter != 0) add(truth_->f2, (ui_ % 2 == 0 ? -0.25 : 0.25) * spec_.f2_jitter);
  if (spec_.pattern_jitter != 0 && levels_.RunBefore() > 0) {
    add(truth_->pattern, spec_.pattern_jitter * (1 - std::ldexp(1, 1 - levels_.RunBefore())));
  }
  return total;
}

std::optional<SynthEdge> EdgeSource::Next() {
  double step = 0, before = 0;
  while (step == 0) {
    if (++ui_ >= spec_.ui_count) return std::nullopt;
    before = level_;
    level_ = levels_.Next();
    step = 0.5 * (level_ - before);
  }
  const double nominal_s = NominalPosition(spec_, static_cast<double>(ui_)) / spec_.bit_rate;
  const double wanted =
      (nominal_s + Displacement(nominal_s, step)) * spec_.bit_rate * spec_.samples_per_ui;
  const double position = std::max(wanted, last_position_);
  truth_->held_edges += position != wanted;
  last_position_ = position;
  if (before * level_ < 0) {
    const double time_s = position * spec_.sample_interval();
    truth_->total.Add(time_s - nominal_s);
    if (truth_->rising_edges + truth_->falling_edges == 0) truth_->first_edge = time_s;
    truth_->last_edge = time_s;
    ++(step > 0 ? truth_->rising_edges : truth_->falling_edges);
  }
  return SynthEdge{position, step};
}

SignalSynth::SignalSynth(const SynthSpec &spec)
    : spec_(Checked(spec)),
      edge_source_(spec, &truth_),
      noise_(spec.seed, 3),
      settled_level_(edge_source_.level()),
      half_ramp_(0.5 * ResolvedEdgeTime(spec) / spec.sample_interval()) {
  truth_.sample_count = static_cast<uint64_t>(
      spec.samples_per_ui * NominalPosition(spec, static_cast<double>(spec.ui_count)));
  upcoming_ = edge_source_.Next();
}

// Edges come in time order and all ramps are equally long, so ramps end in the order of their
// start.
void SignalSynth::UpdateMovingEdges() {
  const double now = static_cast<double>(cursor_);
  while (upcoming_ && upcoming_->position - half_ramp_ <= now) {
    if (record_ != nullptr) record_->push_back(*upcoming_);
    moving_.push_back(*upcoming_);
    upcoming_ = edge_source_.Next();
  }
  while (!moving_.empty() && moving_.front().position + half_ramp_ < now) {
    settled_level_ += 2 * moving_.front().step;
    moving_.pop_front();
  }
}

// First sample after the present one for which another set of edges is moving.
uint64_t SignalSynth::NextChange() const {
  double change = static_cast<double>(sample_count());
  if (upcoming_) change = std::min(change, std::ceil(upcoming_->position - half_ramp_));
  if (!moving_.empty()) {
    change = std::min(change, std::floor(moving_.front().position + half_ramp_) + 1);
  }
  return std::max(cursor_ + 1, static_cast<uint64_t>(change));
}

// An edge alone runs through step x (n - position) / half_ramp: exactly 0 at its position.
void SignalSynth::Render(uint64_t begin, uint64_t end, float *out) const {
  const double amplitude = 0.5 * spec_.swing;
  double base = settled_level_;
  for (const SynthEdge &edge : moving_) base += edge.step;
  if (moving_.empty()) {
    std::fill_n(out, end - begin, static_cast<float>(amplitude * base));
    return;
  }
  for (uint64_t n = begin; n < end; ++n) {
    double value = base;
    for (const SynthEdge &edge : moving_) {
      value += edge.step * ((static_cast<double>(n) - edge.position) / half_ramp_);
    }
    out[n - begin] = static_cast<float>(amplitude * value);
  }
}

size_t SignalSynth::Next(std::span<float> out) {
  const uint64_t begin = cursor_;
  const uint64_t end = std::min<uint64_t>(sample_count(), begin + out.size());
  while (cursor_ < end) {
    UpdateMovingEdges();
    const uint64_t stop = std::min(end, NextChange());
    Render(cursor_, stop, out.data() + (cursor_ - begin));
    cursor_ = stop;
  }
  const size_t count = static_cast<size_t>(end - begin);
  if (spec_.noise_rms > 0) {
    for (float &sample : out.first(count)) {
      const double noise = spec_.noise_rms * noise_.Gaussian();
      truth_.noise.Add(noise);
      sample = static_cast<float>(sample + noise);
    }
  }
  return count;
}

SynthCapture Synthesize(const SynthSpec &spec) {
  SignalSynth synth(spec);
  SynthCapture capture;
  synth.RecordEdges(&capture.edges);
  capture.samples.resize(synth.sample_count());
  synth.Next(capture.samples);
  capture.truth = synth.truth();
  return capture;
}

}  // namespace app
