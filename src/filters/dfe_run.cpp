#include "filters/dfe_run.h"

#include <algorithm>
#include <cmath>

#include "core/numeric.h"
#include "filters/dfe_feedback.h"
#include "filters/dfe_walk.h"
#include "filters/sample_level.h"
#include "primitives/vec.h"

namespace vomo {
namespace {

constexpr float kNoHigh = 1e6f, kNoLow = -1e6f;

// Sums of levels by the sign of a bit and of the bit before it. Each bit counts as two, so that the
// means are halves.
class BitClasses {
 public:
  void Take(bool before, bool high, double level) {
    Class &c = classes_[2 * before + high];
    c.sum += level;
    c.count += 2.0;
  }
  bool HasRuns() const { return classes_[0].count > 0 && classes_[3].count > 0; }
  float FirstTap() const {
    const double high = classes_[3].Mean() - classes_[1].Mean();
    const double low = classes_[0].Mean() - classes_[2].Mean();
    return static_cast<float>((high - low) * 0.5);
  }

 private:
  struct Class {
    double sum = 0, count = 0;
    double Mean() const { return count > 0 ? sum / count : 0.0; }
  };
  Class classes_[4];
};

float EstimateFirstTap(const VomoWaveform &waveform, const VomoCrossoverData &clock,
                       uint32_t height_type) {
  if (clock.ulCount == 0) return 0.0f;
  const uint32_t first =
      std::min(VomoToU32(clock.pdTimes[0] / waveform.dSampleInterval), waveform.ulNumSamples - 1);
  bool before = waveform.pfSamples[first] > 0;
  BitClasses classes;
  for (uint32_t i = 0; i + 1 < clock.ulCount; ++i) {
    const double time_s = clock.pdTimes[i], span_s = clock.pdTimes[i + 1] - time_s;
    const double begin_s = time_s + 0.4 * span_s, end_s = time_s + 0.6 * span_s;
    const double level = VomoSampleLevel(waveform, begin_s, end_s, height_type);
    const double decision = (VomoSampleLevel(waveform, begin_s, height_type) +
                             VomoSampleLevel(waveform, end_s, height_type)) *
                            0.5;
    const bool high = decision > 0;
    classes.Take(before, high, level);
    before = high;
  }
  return classes.HasRuns() ? classes.FirstTap() : 0.0f;
}

void ClampTaps(VomoDFEParams &parameters) {
  const int32_t count = std::clamp(parameters.iDFETapCount, 0, kMostTaps);
  for (int32_t k = 0; k < count; ++k) {
    float &tap = parameters.afDFETapValues[k];
    if (tap < parameters.afTapMin[k]) {
      tap = parameters.afTapMin[k];
    } else if (tap > parameters.afTapMax[k]) {
      tap = parameters.afTapMax[k];
    }
  }
}

// One past the last sample of so many unit intervals.
uint32_t StopSample(const VomoWaveform &waveform, double unit_interval_s, int32_t ui_count) {
  if (ui_count == 0) {
    ui_count =
        VomoToI32(std::floor(waveform.ulNumSamples * waveform.dSampleInterval / unit_interval_s));
  }
  const double samples = std::ceil(ui_count * unit_interval_s / waveform.dSampleInterval);
  return static_cast<uint32_t>(
      std::min(uint64_t{VomoToU32(samples)} + 1, uint64_t{waveform.ulNumSamples} - 1));
}

void LeaveAllocated(Received<VomoCrossoverData> &list) {
  VomoCrossoverData *data = nullptr;
  VomoHandle handle = 0;
  list.Deliver(&data, &handle);
}

double MiddleOf(const VomoTwoPartCrossover &element) {
  return (element.dBegin + element.dEnd) * 0.5;
}

void OpenExtremes(VomoDFEResult &r, const VomoTwoPartCrossover &first, float level) {
  r.dMinUI = r.dMaxUI = first.dEnd - first.dBegin;
  r.dMinUITime = r.dMaxUITime = first.dBegin;
  r.dMinHighTime = r.dMaxLowTime = 0.0;
  r.fMinHigh = r.fMinTransHigh = r.fMinNonTransHigh = kNoHigh;
  r.fMaxLow = r.fMaxTransLow = r.fMaxNonTransLow = kNoLow;
  if (level >= 0) {
    r.fMinHigh = r.fMinTransHigh = level;
    r.dMinHighTime = MiddleOf(first);
  } else if (level < 0) {
    r.fMaxLow = r.fMaxTransLow = level;
    r.dMaxLowTime = MiddleOf(first);
  }
}

void TakeSpan(VomoDFEResult &r, const VomoTwoPartCrossover &element) {
  const double span_s = element.dEnd - element.dBegin;
  if (span_s < r.dMinUI) {
    r.dMinUI = span_s;
    r.dMinUITime = element.dBegin;
  } else if (span_s > r.dMaxUI) {
    r.dMaxUI = span_s;
    r.dMaxUITime = element.dBegin;
  }
}

void TakeLevel(VomoDFEResult &r, double middle_s, float before, float level) {
  if (level >= 0) {
    if (level < r.fMinHigh) {
      r.fMinHigh = level;
      r.dMinHighTime = middle_s;
    }
    float &extreme = before < 0 ? r.fMinTransHigh : r.fMinNonTransHigh;
    extreme = std::min(extreme, level);
  } else if (level < 0) {
    if (level > r.fMaxLow) {
      r.fMaxLow = level;
      r.dMaxLowTime = middle_s;
    }
    float &extreme = before >= 0 ? r.fMaxTransLow : r.fMaxNonTransLow;
    extreme = std::max(extreme, level);
  }
}

// The first element's level is the waveform's own; no feedback comes off it. Without any element
// the level is that at time 0.
void MeasureElements(const VomoWaveform &waveform, const VomoCrossoverData &clock,
                     uint32_t height_type, VomoDFEResult &r) {
  const VomoTwoPartCrossover *elements = clock.psTwoPartArray;
  const uint32_t count = clock.ulTwoPartCount;
  const VomoTwoPartCrossover first = count > 0 ? elements[0] : VomoTwoPartCrossover{};
  r.pfLevels[0] = static_cast<float>(VomoSampleLevel(waveform, MiddleOf(first), height_type));
  OpenExtremes(r, first, r.pfLevels[0]);
  for (uint32_t k = 1; k < count; ++k) {
    TakeSpan(r, elements[k]);
    const double middle_s = MiddleOf(elements[k]);
    const double level = VomoSampleLevel(waveform, middle_s, height_type);
    r.pfLevels[k] = static_cast<float>(level - double{elements[k].fEnterThresh});
    TakeLevel(r, middle_s, r.pfLevels[k - 1], r.pfLevels[k]);
  }
}

BlockOf<VomoDFEResult> MakeResult(const VomoWaveform &waveform, const VomoDFEParams &parameters,
                                  const VomoCrossoverData &clock) {
  const uint64_t level_count = std::max(clock.ulTwoPartCount, 1u);
  Block block = Block::Allocate(sizeof(VomoDFEResult) + level_count * sizeof(float), 1);
  auto *record = static_cast<VomoDFEResult *>(block.memory());
  record->psWaveform = &waveform;
  record->psClock = &clock;
  record->pfLevels = reinterpret_cast<float *>(record + 1);
  record->dUnitInterval = parameters.dUnitInterval;
  std::copy_n(parameters.afDFETapValues, kMostTaps, record->adTaps);
  MeasureElements(waveform, clock, parameters.eHeightType, *record);
  return BlockOf<VomoDFEResult>(record, block.Release());
}

}  // namespace

void VomoDfeEstimateFirstTap(const VomoWaveform &waveform, const VomoCrossoverData &clock,
                             int32_t count, uint32_t height_type, float *taps) {
  if (taps[0] == 0.0f) taps[0] = EstimateFirstTap(waveform, clock, height_type);
  std::fill(taps + 1, taps + count, 0.0f);
}

VomoStatus VomoDfeRun(const VomoWaveform &waveform, VomoDFEParams &parameters, int32_t ui_count,
                      Received<VomoCrossoverData> *crossovers, double *min_interval_s,
                      Received<VomoCrossoverData> &clock, BlockOf<VomoDFEResult> &result) {
  if (waveform.ulNumSamples == 0) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
  const double unit_interval_s = parameters.dUnitInterval;
  const uint32_t stop = StopSample(waveform, unit_interval_s, ui_count);
  const auto filter_count = static_cast<uint32_t>(parameters.iPtsAboveThresh);
  Received<VomoCrossoverData> edges;
  double smallest_spacing_s = 0;
  VomoStatus status = Vomo_FIND_CROSSOVERS_EX(
      &waveform, 0.0f, filter_count, 0, stop, unit_interval_s, Vomo_CROSSOVER_2PART_RISE_FALL,
      edges.pointer(), edges.handle_out(), nullptr, nullptr, &smallest_spacing_s);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (min_interval_s != nullptr) *min_interval_s = smallest_spacing_s;
  status = Vomo_CONVERT_CROSSOVER_TO_CLOCK(edges.get(), 0, edges->ulCount - 1, unit_interval_s,
                                           nullptr, clock.pointer(), clock.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (parameters.iDFEComputeTaps != 0) {
    VomoDfeEstimateFirstTap(waveform, *clock.get(), kMostTaps, parameters.eHeightType,
                            parameters.afDFETapValues);
  }
  ClampTaps(parameters);
  const DfeWalkSettings settings{
      filter_count, 0, stop, unit_interval_s, parameters.afDFETapValues, parameters.iDFETapCount};
  status = VomoDfeWalk(waveform, settings, *clock.get());
  if (Vomo_STATUS_IS_ERROR(status)) {
    LeaveAllocated(edges);
    LeaveAllocated(clock);
    return status;
  }
  if (crossovers != nullptr) {
    edges.Deliver(crossovers->pointer(), crossovers->handle_out());
  } else {
    edges.Free();
  }
  result = MakeResult(waveform, parameters, *clock.get());
  return status;
}

void VomoDfeSubtractFeedback(VomoWaveform &waveform, const VomoCrossoverData &clock,
                             VomoWaveform *out) {
  float *samples = waveform.pfSamples;
  if (out != nullptr) {
    out->dSampleInterval = waveform.dSampleInterval;
    out->ulNumSamples = std::min(out->ulNumSamples, waveform.ulNumSamples);
    std::copy_n(waveform.pfSamples, out->ulNumSamples, out->pfSamples);
    samples = out->pfSamples;
  }
  const int64_t last = int64_t{waveform.ulNumSamples} - 1;
  for (uint32_t k = 0; k < clock.ulTwoPartCount; ++k) {
    const VomoTwoPartCrossover &element = clock.psTwoPartArray[k];
    const double begin = std::ceil(element.dBegin / waveform.dSampleInterval);
    const double end = std::floor(element.dEnd / waveform.dSampleInterval);
    const int64_t from = std::max(TruncateSaturated<int64_t>(begin), int64_t{0});
    const int64_t to = std::min(TruncateSaturated<int64_t>(end), last);
    if (from > to) continue;
    VecSubConstInPlace_32f(element.fEnterThresh, samples + from,
                           static_cast<int32_t>(to - from + 1));
  }
}

}  // namespace vomo
