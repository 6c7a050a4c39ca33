// Scans a waveform sample by sample for the extreme voltages of the two bit classes and for samples
// beyond their rails.
#include <algorithm>

#include "core/boundary.h"
#include "core/numeric.h"
#include "core/waveform.h"

namespace vomo {
namespace {

// The furthest voltage of one class on one side of zero, the first of equal ones.
struct Extreme {
  float volts = 0.0f;
  uint64_t sample = 0;
  bool found = false;

  void Record(float y, uint64_t at) {
    volts = y;
    sample = at;
    found = true;
  }
};

// Transition or non-transition bits.
struct BitVoltages {
  float high_rail, low_rail;
  Extreme highest, lowest;
  uint32_t violations = 0;

  // Zero volts count with the negative side; a NaN is on neither.
  void Take(float y, uint64_t at) {
    if (y > 0.0f) {
      if (y > highest.volts) highest.Record(y, at);
      violations += y > high_rail;
    } else if (y <= 0.0f) {
      if (y < lowest.volts) lowest.Record(y, at);
      violations += y < low_rail;
    }
  }
};

// Samples from first to last, both inclusive.
struct SampleRange {
  uint64_t first, last;
};

// From the range's first edge to one unit interval behind its last one.
SampleRange SamplesOf(const VomoWaveform &waveform, const VomoCrossoverData &clock, uint32_t first,
                      uint32_t last, uint32_t samples_per_ui) {
  const auto sample_at = [&](uint32_t edge) {
    return uint64_t{VomoToU32(clock.pdTimes[edge] / waveform.dSampleInterval)};
  };
  const uint64_t end = sample_at(last) + samples_per_ui;
  return {sample_at(first), std::min<uint64_t>(end, waveform.ulNumSamples - 1u)};
}

// A sample belongs to a transition bit when the signal had the other sign one unit interval before.
void Scan(const VomoWaveform &waveform, const SampleRange &range, uint32_t samples_per_ui,
          BitVoltages &transition, BitVoltages &non_transition) {
  const float *samples = waveform.pfSamples;
  for (uint64_t j = range.first; j <= range.last; ++j) {
    const float y = samples[j];
    const float product = y * samples[j < samples_per_ui ? 0 : j - samples_per_ui];
    (product < 0.0f ? transition : non_transition).Take(y, j);
  }
}

// Turns the extremes' sample positions into clock indices: each gets the interval before the first
// edge that lies behind the sample. Since an index of 0 stands for not found, a sample in interval
// 0 is told as of interval 1.
class IntervalSearch {
 public:
  void Add(const Extreme &extreme, double sample_interval_s, uint32_t &index) {
    const double time_s = static_cast<double>(extreme.sample) * sample_interval_s;
    if (extreme.found) open_[open_count_++] = {time_s, &index};
  }

  void Run(const double *times_s, uint32_t first, uint32_t last) {
    for (uint64_t c = std::max(first, 2u); c <= last && open_count_ > 0; ++c) {
      for (int k = open_count_ - 1; k >= 0; --k) {
        if (!(open_[k].time_s < times_s[c])) continue;
        *open_[k].index = static_cast<uint32_t>(c - 1);
        open_[k] = open_[--open_count_];
      }
    }
  }

 private:
  struct Open {
    double time_s;
    uint32_t *index;
  };
  Open open_[4];
  int open_count_ = 0;
};

void ClearVoltages(VomoComplianceResults &results) {
  results.ulTransRailViolations = results.ulNonTransRailViolations = 0;
  results.fTransMinVoltage = results.fTransMaxVoltage = 0.0f;
  results.fNonTransMinVoltage = results.fNonTransMaxVoltage = 0.0f;
  results.ulTransMinIndex = results.ulTransMaxIndex = 0;
  results.ulNonTransMinIndex = results.ulNonTransMaxIndex = 0;
}

void FindVoltages(const VomoWaveform &waveform, const VomoCrossoverData &clock, uint32_t first,
                  uint32_t last, const VomoComplianceParams &params,
                  VomoComplianceResults &results) {
  const double interval_s = waveform.dSampleInterval;
  const uint32_t samples_per_ui = VomoToU32(results.dUnitInterval / interval_s + 0.5);
  const SampleRange range = SamplesOf(waveform, clock, first, last, samples_per_ui);
  BitVoltages transition{
      params.fTransitionHighVoltageRail, params.fTransitionLowVoltageRail, {}, {}};
  BitVoltages non_transition{
      params.fNonTransitionHighVoltageRail, params.NonTransitionLowVoltageRail, {}, {}};
  Scan(waveform, range, samples_per_ui, transition, non_transition);

  results.ulTransRailViolations = transition.violations;
  results.fTransMinVoltage = transition.lowest.volts;
  results.fTransMaxVoltage = transition.highest.volts;
  results.ulNonTransRailViolations = non_transition.violations;
  results.fNonTransMinVoltage = non_transition.lowest.volts;
  results.fNonTransMaxVoltage = non_transition.highest.volts;
  IntervalSearch search;
  search.Add(transition.lowest, interval_s, results.ulTransMinIndex);
  search.Add(transition.highest, interval_s, results.ulTransMaxIndex);
  search.Add(non_transition.lowest, interval_s, results.ulNonTransMinIndex);
  search.Add(non_transition.highest, interval_s, results.ulNonTransMaxIndex);
  search.Run(clock.pdTimes, first, last);
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_VOLTAGES(const VomoWaveform *psWaveform,
                                        const VomoCrossoverData *psClock, uint32_t ulFirstInterval,
                                        uint32_t ulLastInterval,
                                        const VomoComplianceParams *psParams,
                                        VomoComplianceResults *psResults) noexcept {
  if (psResults == nullptr) return Vomo_STATUS_SUCCESS;
  ClearVoltages(*psResults);
  const bool usable = HasSamples(psWaveform) && psWaveform->dSampleInterval > 0 &&
                      psClock != nullptr && psClock->pdTimes != nullptr &&
                      ulFirstInterval < psClock->ulCount && psParams != nullptr;
  if (!usable) return Vomo_STATUS_SUCCESS;
  const uint32_t last = std::min(ulLastInterval, psClock->ulCount - 1u);
  FindVoltages(*psWaveform, *psClock, ulFirstInterval, last, *psParams, *psResults);
  return Vomo_STATUS_SUCCESS;
}
