// The search for bursts in mostly idle captures, against one pass over the samples.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>
#include <vector>

#include "core/handle_table.h"
#include "primitives/vec.h"

namespace {

// 1 us is between 999 and 1000 samples.
constexpr double kInterval = 1.0005e-9;
constexpr int32_t kBursts = 5;
constexpr uint32_t kHalfPeriod = 20, kRamp = 4, kIdle = 1000;
constexpr float kSwing = 0.4f, kNoise = 0.05f, kThreshold = 0.1f;
// Samples that end a coded burst and that lead up to one.
constexpr uint32_t kStall = 1000, kPrepare = 1500;

struct Capture {
  std::vector<float> samples;
  std::vector<uint32_t> bounds;

  VomoWaveform Waveform() {
    return {static_cast<uint32_t>(samples.size()), kInterval, samples.data(), 0, 0};
  }
};

// Half periods of a square wave with ramps, +-kSwing, the first one positive.
void PutSquareWave(float *samples, uint32_t count) {
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t phase = i % (2 * kHalfPeriod);
    const uint32_t into = phase % kHalfPeriod;
    const float level = phase < kHalfPeriod ? kSwing : -kSwing;
    const float share = into < kRamp ? (static_cast<float>(into) + 0.5f) / kRamp : 1.0f;
    samples[i] = level * (2 * share - 1);
  }
}

// Bursts at the end of each fifth of the capture, a hundredth of it long in all, in noise within
// +-kNoise.
Capture MakeTrain(uint32_t count) {
  Capture capture;
  capture.samples.resize(count);
  uint32_t state = 1;
  for (float &sample : capture.samples) {
    state = state * 1664525u + 1013904223u;
    sample = kNoise * (static_cast<float>(state >> 8) * 0x1p-23f - 1);
  }
  const uint32_t share = count / kBursts;
  const uint32_t length = count / 500 / (2 * kHalfPeriod) * (2 * kHalfPeriod);
  for (uint32_t burst = 0; burst < kBursts; ++burst) {
    const uint32_t end = (burst + 1) * share - 2 * kIdle;
    float *samples = capture.samples.data() + end - length;
    PutSquareWave(samples, length);
    // The wave's first sample, on a ramp, is beyond the threshold.
    capture.bounds.push_back(end - length);
    capture.bounds.push_back(end + kIdle);
  }
  return capture;
}

// The same as pulse-width coding: between the bursts the signal stands below 0 V and rises for the
// prepare phase only.
Capture MakeCoded(uint32_t count) {
  Capture capture = MakeTrain(count);
  std::vector<uint32_t> train;
  train.swap(capture.bounds);
  uint32_t from = 0;
  for (size_t k = 0; k < train.size(); k += 2) {
    const uint32_t begin = train[k], end = train[k + 1] - kIdle;
    float *samples = capture.samples.data();
    std::fill(samples + from, samples + begin - kPrepare, -kSwing);
    samples[begin - kPrepare] = 0;
    std::fill(samples + begin - kPrepare + 1, samples + begin, kSwing);
    std::transform(samples + begin, samples + end, samples + begin, [](float v) { return -v; });
    // Its last half period is positive, so the stall begins behind the edge's sample at 0 V.
    samples[end] = 0;
    capture.bounds.push_back(begin + kRamp / 2 - 1);
    capture.bounds.push_back(end + kStall);
    from = end + 1;
  }
  std::fill(capture.samples.begin() + from, capture.samples.end(), -kSwing);
  return capture;
}

template <Capture (*kMake)(uint32_t)>
Capture &CaptureOf(const benchmark::State &state) {
  static std::map<int64_t, Capture> captures;
  captures.try_emplace(state.range(0));
  Capture &capture = captures[state.range(0)];
  if (capture.samples.empty()) capture = kMake(static_cast<uint32_t>(state.range(0)));
  return capture;
}

void SetRate(benchmark::State &state) {
  state.counters["samples/s"] = benchmark::Counter(
      static_cast<double>(state.range(0)) * static_cast<double>(state.iterations()),
      benchmark::Counter::kIsRate);
}

void OnePassOverTheSamples(benchmark::State &state) {
  const auto &samples = CaptureOf<MakeTrain>(state).samples;
  float low = 0, high = 0;
  for (auto _ : state) {
    vomo::VecMinMax_32f(samples.data(), static_cast<int32_t>(samples.size()), &low, &high);
    benchmark::DoNotOptimize(low);
  }
  if (low != -kSwing || high != kSwing) state.SkipWithError("no signal");
  SetRate(state);
}

template <Capture (*kMake)(uint32_t), decltype(&Vomo_LF_BURST_BOUNDS) kSearch>
void BurstSearch(benchmark::State &state) {
  Capture &capture = CaptureOf<kMake>(state);
  const VomoWaveform waveform = capture.Waveform();
  const auto search = [&](vomo::Received<uint32_t> &bounds) {
    int32_t found = 0;
    return kSearch(&waveform, kBursts, 0, kThreshold, kIdle * kInterval * 1.0001, &found,
                   bounds.pointer(), bounds.handle_out());
  };
  vomo::Received<uint32_t> bounds;
  if (search(bounds) != Vomo_STATUS_SUCCESS ||
      !std::equal(capture.bounds.begin(), capture.bounds.end(), bounds.get())) {
    return state.SkipWithError("bursts differ");
  }
  for (auto _ : state) {
    vomo::Received<uint32_t> again;
    search(again);
    benchmark::DoNotOptimize(again.get());
  }
  SetRate(state);
}

void TrainSearch(benchmark::State &state) {
  BurstSearch<MakeTrain, Vomo_LF_BURST_BOUNDS>(state);
}

void CodedSearch(benchmark::State &state) {
  BurstSearch<MakeCoded, Vomo_LF_BURST_BOUNDS_PWM>(state);
}

// Everything that is measured of a burst train.
void WholeTest(benchmark::State &state) {
  Capture &capture = CaptureOf<MakeTrain>(state);
  const VomoWaveform waveform = capture.Waveform();
  VomoLFTestParams params{};
  params.eLFTestType = 1;
  params.iBurstCount = kBursts;
  params.iPolaritySampleOffset = kHalfPeriod / 2;
  params.iEdgeSearchSamples = kHalfPeriod / 2;
  params.ulFilterCount = 2;
  params.fBurstThreshold = kThreshold;
  params.fTrimStart = static_cast<float>(kHalfPeriod / 2 * kInterval);
  params.fTrimEnd = static_cast<float>((kIdle + kHalfPeriod / 2) * kInterval);
  params.fLowLevelFraction = 0.2f;
  params.fHighLevelFraction = 0.8f;
  params.dIdleTime = kIdle * kInterval * 1.0001;
  params.dUnitInterval = kHalfPeriod * kInterval;
  VomoLFTestResults results{};
  VomoStatus status = Vomo_STATUS_SUCCESS;
  for (auto _ : state) status = Vomo_LF_TEST(&waveform, nullptr, &params, &results);
  const double period = params.dMeanPeriod / (2 * kHalfPeriod * kInterval);
  if (status != Vomo_STATUS_SUCCESS || !(period > 0.999999 && period < 1.000001)) {
    state.SkipWithError("not measured");
  }
  SetRate(state);
}

constexpr int64_t kSmall = 1'000'000, kMedium = 10'000'000, kLarge = 100'000'000;
BENCHMARK(OnePassOverTheSamples)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(TrainSearch)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(CodedSearch)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);
BENCHMARK(WholeTest)->Arg(kSmall)->Arg(kMedium)->Arg(kLarge);

}  // namespace
