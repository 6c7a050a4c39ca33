#include "burst_measurement.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "engineering.h"
#include "library_block.h"

namespace app {
namespace {

constexpr int32_t kPulseWidthCoded = 2;
// Where the test measures levels: away from the ends of the prepare phases, and in the part of a
// half period in which a ramp has settled.
constexpr double kPrepareGuard_s = 2e-7;
constexpr double kWindowBegin = 0.5, kWindowEnd = 0.75;

VomoLFTestResults NothingMeasured() {
  VomoLFTestResults results;
  std::fill_n(reinterpret_cast<double *>(&results), sizeof results / sizeof(double), NAN);
  return results;
}

// A signal, the settings, and how messages call it.
struct Test {
  const BurstSignal &signal;
  const VomoLFTestParams &params;
  const std::string &name;

  bool IsCoded() const { return params.eLFTestType == kPulseWidthCoded; }
};

Failure NoBurst(const Test &test) {
  const VomoWaveform &waveform = test.signal.waveform();
  const auto [lowest, highest] =
      std::minmax_element(waveform.pfSamples, waveform.pfSamples + waveform.ulNumSamples);
  return Failure(
      ExitCode::kNotMeasurable, fmt::format("{}: no burst found", test.name),
      fmt::format("samples lie from {} to {}, fBurstThreshold is {}; {}",
                  Engineering(*lowest, "V", 4), Engineering(*highest, "V", 4),
                  Engineering(test.params.fBurstThreshold, "V", 4),
                  test.IsCoded() ? "a burst lies between stalls of more than 1 us, and edges need "
                                   "samples below the threshold"
                                 : "a burst ends when the signal is quiet for dIdleTime"));
}

void WarnOfFewer(const Test &test, int32_t found, bool ends_inside) {
  fmt::print(stderr, "vomo: warning: {} of {} bursts found{}\n", found, test.params.iBurstCount,
             ends_inside ? "; the capture ends inside the next one, which is left out" : "");
}

// Fills in where the bursts lie.
std::vector<Burst> FindBursts(const Test &test) {
  const VomoLFTestParams &p = test.params;
  const auto find = test.IsCoded() ? Vomo_LF_BURST_BOUNDS_PWM : Vomo_LF_BURST_BOUNDS;
  LibraryBlock<uint32_t> bounds;
  int32_t found = 0;
  const VomoStatus status =
      find(&test.signal.waveform(), p.iBurstCount, p.eBurstPolarity, p.fBurstThreshold, p.dIdleTime,
           &found, bounds.pointer(), bounds.handle_out());
  const bool ends_inside = status == Vomo_STATUS_COMPUTATION_ERROR;
  if (Vomo_STATUS_IS_ERROR(status) && !ends_inside) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "looking for bursts", test.name,
                        "vomo settings --lf shows what they are looked for with");
  }
  if (found == 0) throw NoBurst(test);
  if (found < p.iBurstCount) WarnOfFewer(test, found, ends_inside);
  std::vector<Burst> bursts;
  for (size_t i = 0; i < static_cast<size_t>(found); ++i) {
    bursts.push_back({bounds[2 * i], bounds[2 * i + 1], {}, NothingMeasured()});
  }
  return bursts;
}

void FindPreparePhases(const Test &test, std::vector<Burst> &bursts) {
  std::vector<uint32_t> bounds;
  for (const Burst &burst : bursts) {
    bounds.insert(bounds.end(), {burst.first_sample, burst.last_sample});
  }
  LibraryBlock<double> prepare;
  const VomoStatus status =
      Vomo_STALL_PREPARE_BOUNDS(&test.signal.waveform(), static_cast<int32_t>(bursts.size()), 0,
                                bounds.data(), prepare.pointer(), prepare.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "looking for the prepare phases",
                        test.name, "a lower fBurstThreshold");
  }
  for (size_t i = 0; i < bursts.size(); ++i) {
    bursts[i].prepare = {prepare[3 * i], prepare[3 * i + 1], prepare[3 * i + 2]};
  }
}

// The sample from which a burst can be measured by itself: its own first one, or if phases lead up
// to it what goes before the stall, down to the two samples that place the stall's start.
uint32_t FirstSampleOf(const Test &test, const Burst &burst) {
  if (!burst.prepare) return burst.first_sample;
  const double position = burst.prepare->stall_start / test.signal.waveform().dSampleInterval - 2;
  return position > 0 && position < burst.first_sample ? static_cast<uint32_t>(position) : 0;
}

// Measures a burst as if it were the only one.
VomoStatus MeasureAlone(const Test &test, Burst &burst) {
  const uint32_t first = FirstSampleOf(test, burst);
  VomoWaveform part = test.signal.waveform();
  part.pfSamples += first;
  part.ulNumSamples = burst.last_sample - first + 1;
  const float *common_mode = test.signal.common_mode();
  VomoLFTestParams params = test.params;
  params.iBurstCount = 1;
  return Vomo_LF_TEST(&part, common_mode == nullptr ? nullptr : common_mode + first, &params,
                      &burst.results);
}

void MeasureEach(const Test &test, std::vector<Burst> &bursts) {
  for (size_t i = 0; i < bursts.size(); ++i) {
    const VomoStatus status = MeasureAlone(test, bursts[i]);
    if (Vomo_STATUS_IS_ERROR(status)) {
      const double start_s = bursts[i].first_sample * test.signal.waveform().dSampleInterval;
      throw StatusFailure(
          ExitCode::kNotMeasurable, status,
          fmt::format("measuring burst {} (at {})", i + 1, Engineering(start_s, "s", 4)), test.name,
          "the settings of vomo settings --lf: what fTrimStart and fTrimEnd leave of it needs "
          "edges through 0 V, iMinPeriods of them, and iPolaritySampleOffset samples behind");
    }
    if (test.IsCoded() || i + 1 == bursts.size()) continue;
    VomoLFTestResults &results = bursts[i].results;
    results.dRepeatTimeMin = results.dRepeatTimeMax =
        (bursts[i + 1].first_sample - bursts[i].first_sample) *
        test.signal.waveform().dSampleInterval;
  }
}

void Require(VomoStatus status, const char *step) {
  if (!Vomo_STATUS_IS_ERROR(status)) return;
  throw StatusFailure(ExitCode::kNotMeasurable, status, step, "the burst to be drawn", "");
}

// The levels of the stall and of the phase behind it.
void FindPrepareLevels(const VomoWaveform &waveform, const PreparePhases &phases,
                       BurstDetail &detail) {
  const double prepare[] = {phases.stall_start, phases.prepare_start, phases.prepare_end};
  float high = 0, low = 0;
  double least, greatest;
  Require(Vomo_LF_DIFF_DC(0, &waveform, prepare, kPrepareGuard_s, kPrepareGuard_s, &high, &low,
                          &least, &greatest),
          "measuring the levels before");
  detail.low_v = low;
  detail.high_v = high;
}

// The means of the half periods on either side of 0 V.
void FindSettledLevels(const VomoWaveform &waveform, BurstDetail &detail) {
  double sums[2] = {}, counts[2] = {};
  for (size_t j = 0; j + 1 < detail.edges_s.size(); ++j) {
    const double from = detail.edges_s[j] / waveform.dSampleInterval;
    const double length = detail.edges_s[j + 1] / waveform.dSampleInterval - from;
    float mean = 0;
    Require(
        VomoFIND_MEAN_FLOAT(waveform.pfSamples, static_cast<uint32_t>(from + kWindowBegin * length),
                            static_cast<uint32_t>(from + kWindowEnd * length), &mean),
        "measuring the levels of");
    sums[mean > 0] += mean;
    ++counts[mean > 0];
  }
  detail.low_v = sums[0] / counts[0];
  detail.high_v = sums[1] / counts[1];
}

}  // namespace

BurstDetail DetailOf(const BurstSignal &signal, const VomoLFTestParams &params,
                     const Burst &burst) {
  const VomoWaveform &waveform = signal.waveform();
  const uint32_t bounds[] = {burst.first_sample, burst.last_sample};
  LibraryBlock<uint32_t> trimmed;
  Require(Vomo_LF_TRIM_BOUNDS(1, waveform.dSampleInterval, params.fTrimStart, params.fTrimEnd,
                              bounds, trimmed.pointer(), trimmed.handle_out()),
          "trimming");
  LibraryBlock<VomoCrossoverData> edges;
  double smallest_s;
  Require(
      Vomo_FIND_CROSSOVERS_FILT(&waveform, 0.0f, params.ulFilterCount, nullptr, trimmed[0],
                                trimmed[1], params.dUnitInterval, Vomo_CROSSOVERS_ALL,
                                edges.pointer(), edges.handle_out(), nullptr, nullptr, &smallest_s),
      "finding the edges of");
  BurstDetail detail{trimmed[0] * waveform.dSampleInterval,
                     trimmed[1] * waveform.dSampleInterval,
                     {edges->pdTimes, edges->pdTimes + edges->ulCount},
                     0,
                     0};
  if (burst.prepare) {
    FindPrepareLevels(waveform, *burst.prepare, detail);
  } else {
    FindSettledLevels(waveform, detail);
  }
  return detail;
}

BurstSignal::BurstSignal(const std::vector<Capture> &captures) : difference_(captures) {
  if (captures.size() > 1) common_mode_ = CommonModeOf(captures);
}

BurstOutcome MeasureBursts(const BurstSignal &signal, const VomoLFTestParams &params,
                           const std::string &name, StageTimes &times) {
  const Test test{signal, params, name};
  BurstOutcome outcome{params, NothingMeasured(), {}};
  const uint32_t samples = signal.waveform().ulNumSamples;
  outcome.bursts = times.Time("search", samples, [&] { return FindBursts(test); });
  if (test.IsCoded()) FindPreparePhases(test, outcome.bursts);
  // First each by itself, which tells the one that can't be measured.
  times.Time("each", 0, [&] { MeasureEach(test, outcome.bursts); });
  outcome.params.iBurstCount = static_cast<int32_t>(outcome.bursts.size());
  const VomoStatus status = times.Time("measure", samples, [&] {
    return Vomo_LF_TEST(&signal.waveform(), signal.common_mode(), &outcome.params,
                        &outcome.results);
  });
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "measuring the bursts", name,
                        "vomo settings --lf shows what the test is made with");
  }
  return outcome;
}

}  // namespace app
