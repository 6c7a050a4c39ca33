// Decision feedback equalisation: the eye that a set of taps opens, and the waveform behind them.
#include <algorithm>
#include <cmath>

#include "core/boundary.h"
#include "core/numeric.h"
#include "core/waveform.h"
#include "filters/dfe_run.h"
#include "filters/eye_window.h"

namespace vomo {
namespace {

constexpr float kWindowBegin = 0.4f, kWindowEnd = 0.6f;

// Opening and score stay 0 on a failure.
VomoStatus MeasureTaps(const VomoWaveform &waveform, VomoDFEParams &parameters,
                       EyeOpening &opening) {
  Received<VomoCrossoverData> clock;
  BlockOf<VomoDFEResult> result;
  VomoStatus status =
      VomoDfeRun(waveform, parameters, parameters.iUICount, nullptr, nullptr, clock, result);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  // The clock's entries become the bounds of the elements, in an array of their own: there may be
  // one more of them than the clock has room for.
  const uint32_t count = std::min(clock->ulTwoPartCount, clock->ulCount);
  const Scratch<double> bounds(uint64_t{count} + 1);
  if (count > 0) bounds[0] = clock->psTwoPartArray[0].dBegin;
  for (uint32_t i = 0; i < count; ++i) bounds[i + 1] = clock->psTwoPartArray[i].dEnd;
  clock->pdTimes = bounds.get();
  clock->ulCount = count + 1;
  const bool by_ratio = parameters.eOptValue == OPT_EYE_RATIO;
  status =
      VomoEyeWindow(waveform, *clock.get(), kWindowBegin, kWindowEnd,
                    by_ratio ? PhaseChoice::kBestScore : PhaseChoice::kSmallestHeight, &opening);
  clock.Free();
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  if (!by_ratio) {
    opening.score = VomoEyeScore(parameters.eOptValue, true, result->dUnitInterval,
                                 opening.min_interval_s, opening.max_interval_s, opening.levels);
  }
  return status;
}

template <class T, class U>
void WriteIfWanted(T *output, U value) {
  if (output != nullptr) *output = value;
}

// Lets a trial on the waveform's beginning settle the taps; what else it finds is of no interest.
VomoStatus FindTaps(const VomoWaveform &waveform, VomoDFEParams &parameters) {
  const double wanted =
      std::ceil(parameters.iUICount * 1.02 * (parameters.dUnitInterval / waveform.dSampleInterval));
  Received<VomoWaveform> trial;
  const VomoStatus status = Vomo_Get_Waveform(
      VomoToU32(std::min<double>(waveform.ulNumSamples, wanted)), waveform.pfSamples,
      waveform.dSampleInterval, trial.pointer(), trial.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  EyeOpening opening{};
  Guarded([&] { return MeasureTaps(*trial.get(), parameters, opening); });
  return Vomo_STATUS_SUCCESS;
}

// Room for what becomes of the visible samples; the hidden ones are 0.
BlockOf<VomoWaveform> NewOutput(const VomoWaveform &waveform) {
  auto output = NewStoredLike(waveform);
  std::fill_n(FirstStoredSample(*output), output->ulTrimFront, 0.0f);
  std::fill_n(output->pfSamples + output->ulNumSamples, output->ulTrimBack, 0.0f);
  return output;
}

}  // namespace
}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoFIND_DFE_TAP(const VomoWaveform *psWaveform, VomoDFEParams *psDFEParams,
                                       double *pdMinInterval, double *pdMaxInterval,
                                       float *pfEyeHigh, float *pfEyeLow, float *pfTransHigh,
                                       float *pfTransLow, float *pfNonTransHigh,
                                       float *pfNonTransLow, double *pdScore) noexcept {
  if (!IsReadable(psWaveform) || psDFEParams == nullptr || pdMinInterval == nullptr ||
      pdMaxInterval == nullptr || pfEyeHigh == nullptr || pfEyeLow == nullptr) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  EyeOpening opening{};
  const VomoStatus status =
      Guarded([&] { return MeasureTaps(*psWaveform, *psDFEParams, opening); });
  *pdMinInterval = opening.min_interval_s;
  *pdMaxInterval = opening.max_interval_s;
  *pfEyeHigh = opening.high;
  *pfEyeLow = opening.low;
  WriteIfWanted(pfTransHigh, opening.levels.transition_high);
  WriteIfWanted(pfTransLow, opening.levels.transition_low);
  WriteIfWanted(pfNonTransHigh, opening.levels.non_transition_high);
  WriteIfWanted(pfNonTransLow, opening.levels.non_transition_low);
  WriteIfWanted(pdScore, opening.score);
  return status;
}

extern "C" VomoStatus VomoAPPLY_DFE_FILTER_TO_WAVEFORM(
    VomoWaveform *psWaveform, VomoDFEParams *psDFEParams, int32_t iFindTaps,
    VomoCrossoverData **ppsCrossovers, VomoHandle *phCrossovers, double *pdMinInterval,
    const VomoPatChkData * /*psReserved*/, VomoCrossoverData **ppsClock, VomoHandle *phClock,
    VomoWaveform **ppsFiltered, VomoHandle *phFiltered) noexcept {
  if (!IsReadable(psWaveform) || psDFEParams == nullptr) return Vomo_STATUS_PARAM_NOT_VALID;
  const bool want_crossovers = ppsCrossovers != nullptr && phCrossovers != nullptr;
  const bool want_clock = ppsClock != nullptr && phClock != nullptr;
  const bool in_place = ppsFiltered == nullptr || phFiltered == nullptr;
  return Guarded([&] {
    VomoStatus status = Vomo_STATUS_SUCCESS;
    if (iFindTaps != 0) status = FindTaps(*psWaveform, *psDFEParams);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    BlockOf<VomoWaveform> filtered;
    if (!in_place) filtered = NewOutput(*psWaveform);
    Received<VomoCrossoverData> crossovers, clock;
    BlockOf<VomoDFEResult> result;
    double min_interval_s = 0;
    status = VomoDfeRun(*psWaveform, *psDFEParams, 0, want_crossovers ? &crossovers : nullptr,
                        &min_interval_s, clock, result);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    VomoDfeSubtractFeedback(*psWaveform, *clock.get(), filtered.get());
    if (want_crossovers) crossovers.Deliver(ppsCrossovers, phCrossovers);
    if (want_clock) clock.Deliver(ppsClock, phClock);
    if (!in_place) filtered.Deliver(ppsFiltered, phFiltered);
    WriteIfWanted(pdMinInterval, min_interval_s);
    return status;
  });
}
