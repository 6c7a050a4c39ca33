#include "filters/ctle_search.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/boundary.h"
#include "core/numeric.h"
#include "core/waveform.h"
#include "filters/ctle.h"

namespace vomo {
namespace {

// What makes a setting the best one.
struct Judge {
  double unit_interval_s;
  uint32_t filter_count;
  float window_begin, window_end;
  uint32_t eye_option;
  VomoDFEParams *dfe;  // NULL to judge without

  // With a DFE the score is that of its eye, 0 where that can't be measured, and no failure. Its
  // taps change on the way.
  VomoStatus Score(const VomoWaveform &waveform, double *score) const {
    if (dfe != nullptr) {
      EyeOpening eye{};
      VomoFIND_DFE_TAP(&waveform, dfe, &eye.min_interval_s, &eye.max_interval_s, &eye.high,
                       &eye.low, nullptr, nullptr, nullptr, nullptr, score);
      return Vomo_STATUS_SUCCESS;
    }
    EyeOpening eye{};
    const VomoStatus status =
        VomoEyeForCTLE(waveform, filter_count, unit_interval_s, window_begin, window_end, &eye);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    *score = VomoEyeScore(eye_option, true, unit_interval_s, eye.min_interval_s, eye.max_interval_s,
                          eye.levels);
    return status;
  }
};

// One search over a family of settings, on a short copy of the waveform.
class Search {
 public:
  explicit Search(const Judge &judge) : judge_(judge) {}

  // The best setting so far, counted from 1; 0 is the signal as it is.
  int32_t best() const { return best_; }
  void RestoreTaps() const {
    if (judge_.dfe != nullptr) std::ranges::copy(taps_, judge_.dfe->afDFETapValues);
  }

  // Lets the signal compete as it is. Judged without a DFE it stays beatable by any first setting.
  VomoStatus TryUnequalised(const VomoWaveform &trial) {
    const VomoStatus status = judge_.Score(trial, &best_score_);
    if (judge_.dfe != nullptr) first_wins_ = false;
    return status;
  }

  VomoStatus Try(VomoWaveform &trial, const VomoCTLEParams &setting, int32_t number) {
    if (!IsUsable(setting)) return Vomo_STATUS_PARAM_OUT_OF_RANGE;
    if (!stage_.result()) {
      const VomoStatus status = stage_.Prepare(trial);
      if (Vomo_STATUS_IS_ERROR(status)) return status;
    }
    VomoStatus status = stage_.Apply(setting);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    double score = 0;
    status = judge_.Score(*stage_.result(), &score);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    if (score > best_score_ || first_wins_) {
      first_wins_ = false;
      best_ = number;
      best_score_ = score;
      if (judge_.dfe != nullptr) std::ranges::copy(judge_.dfe->afDFETapValues, taps_.begin());
    }
    return status;
  }

 private:
  const Judge &judge_;
  CtleStage stage_;  // one transform for all settings
  bool first_wins_ = true;
  int32_t best_ = 0;
  double best_score_ = 0;
  std::array<float, 16> taps_{};
};

// The beginning of the waveform, 2 percent longer than the unit intervals asked for.
VomoStatus MakeTrial(const VomoWaveform &waveform, double unit_interval_s, int32_t ui_count,
                     Received<VomoWaveform> &trial) {
  const double wanted = std::ceil(unit_interval_s / waveform.dSampleInterval * (ui_count * 1.02));
  const double count = std::min<double>(waveform.ulNumSamples, wanted);
  const VomoStatus status =
      Vomo_Get_Waveform(VomoToU32(count), waveform.pfSamples, waveform.dSampleInterval,
                        trial.pointer(), trial.handle_out());
  return Vomo_STATUS_IS_ERROR(status) ? Vomo_STATUS_MEMORY_ALLOCATION_FAILED : status;
}

struct Family {
  const VomoCTLEParams *settings;
  int32_t count;
};

// Leaves the number of the best setting, and in the judge's DFE the taps that went with it.
VomoStatus FindBest(const VomoWaveform &waveform, const Family &family, const Judge &judge,
                    int32_t ui_count, bool allow_none, int32_t *best) {
  Received<VomoWaveform> trial;
  VomoStatus status = MakeTrial(waveform, judge.unit_interval_s, ui_count, trial);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  Search search(judge);
  if (allow_none) status = search.TryUnequalised(*trial.get());
  for (int32_t i = 0; i < family.count && !Vomo_STATUS_IS_ERROR(status); ++i) {
    status = search.Try(*trial.get(), family.settings[i], i + 1);
  }
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  *best = search.best();
  if (*best != 0) search.RestoreTaps();
  return Vomo_STATUS_SUCCESS;
}

}  // namespace

VomoStatus VomoEyeForCTLE(const VomoWaveform &waveform, uint32_t filter_count,
                          double unit_interval_s, float begin, float end, EyeOpening *opening) {
  Received<VomoCrossoverData> crossovers, clock;
  double smallest_spacing_s = 0;
  VomoStatus status = Vomo_FIND_CROSSOVERS_FILT(
      &waveform, 0.0f, filter_count, nullptr, 0, waveform.ulNumSamples - 1, unit_interval_s,
      Vomo_CROSSOVERS_RISE_FALL, crossovers.pointer(), crossovers.handle_out(), nullptr, nullptr,
      &smallest_spacing_s);
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  status =
      Vomo_CONVERT_CROSSOVER_TO_CLOCK(crossovers.get(), 0, crossovers->ulCount - 1, unit_interval_s,
                                      nullptr, clock.pointer(), clock.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) return status;
  return VomoEyeWindow(waveform, *clock.get(), begin, end, PhaseChoice::kSmallestHeight, opening);
}

}  // namespace vomo

using namespace vomo;

extern "C" VomoStatus VomoAPPLY_MULTIPLE_CTLE_FILTERS_TO_WAVEFORM(
    VomoWaveform *psWaveform, int32_t iCTLEFilterParamsCount,
    const VomoCTLEParams *psCTLEFilterParams, VomoDFEParams *psDFEFilterParams,
    double dUnitInterval, uint32_t ulFilterCount, int32_t iCTLEUICount,
    float fCTLEBeginSampleWindow, float fCTLEEndSampleWindow, uint32_t eCTLEOpt,
    int32_t iAllowNoCTLE, int32_t *piBestCTLE, VomoWaveform **ppsFiltered,
    VomoHandle *phFiltered) noexcept {
  if (!IsReadable(psWaveform) || ppsFiltered == nullptr || phFiltered == nullptr ||
      (iCTLEFilterParamsCount > 0 && psCTLEFilterParams == nullptr)) {
    return Vomo_STATUS_PARAM_NOT_VALID;
  }
  return Guarded([&] {
    const Judge judge{dUnitInterval,        ulFilterCount, fCTLEBeginSampleWindow,
                      fCTLEEndSampleWindow, eCTLEOpt,      psDFEFilterParams};
    int32_t best = 0;
    VomoStatus status = FindBest(*psWaveform, {psCTLEFilterParams, iCTLEFilterParamsCount}, judge,
                                 iCTLEUICount, iAllowNoCTLE != 0, &best);
    if (Vomo_STATUS_IS_ERROR(status)) return status;
    if (best == 0) {
      CopyOfStored(*psWaveform).Deliver(ppsFiltered, phFiltered);
    } else {
      const VomoCTLEParams &winner = psCTLEFilterParams[best - 1];
      status = VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(psWaveform, winner.fAdc, winner.fFz, winner.fFp1,
                                                 winner.fFp2, ppsFiltered, phFiltered);
    }
    if (!Vomo_STATUS_IS_ERROR(status) && piBestCTLE != nullptr) *piBestCTLE = best;
    return status;
  });
}
