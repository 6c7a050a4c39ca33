#include "equaliser.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "capture_reader.h"
#include "engineering.h"
#include "recovered_clock.h"
#include "run_records.h"
#include "terminal.h"

namespace app {
namespace {

// By the value of OPT_EYE_WIDTH and so on.
struct Criterion {
  const char *name, *unit;
};
constexpr Criterion kCriteria[] = {
    {"eye width", "s"}, {"eye height", "V"}, {"eye area", "Vs"}, {"ratio of eye openings", ""}};

const Criterion &CriterionOf(uint32_t value) {
  return kCriteria[std::min<size_t>(value, std::size(kCriteria) - 1)];
}

// The trial is as long as the one that the choice is made on.
VomoWaveform TrialOf(const VomoWaveform &signal, const VomoComplianceParams &params) {
  VomoWaveform trial = signal;
  const double wanted =
      std::ceil(params.dTargetUI / signal.dSampleInterval * (params.iCTLEUICount * 1.02));
  trial.ulNumSamples = static_cast<uint32_t>(std::min<double>(signal.ulNumSamples, wanted));
  trial.ulTrimFront = trial.ulTrimBack = 0;
  return trial;
}

// Judges eyes as the choice of the CTLE does.
class Judge {
 public:
  Judge(const VomoComplianceParams &params, bool behind_dfe, double sample_interval_s)
      : behind_dfe_(behind_dfe), criterion_(params.eCTLEOpt) {
    if (behind_dfe) {
      dfe_ = *params.psDFEFilterParams;  // whose taps go from trial to trial
      criterion_ = dfe_.eOptValue;
      return;
    }
    // Without taps the DFE decides at 0 V, and so sees the signal's own eye.
    dfe_.dUnitInterval = params.dTargetUI;
    dfe_.eOptValue = criterion_ == OPT_EYE_RATIO ? uint32_t{OPT_EYE_HEIGHT} : criterion_;
    dfe_.iPtsAboveThresh = params.psDFEFilterParams != nullptr
                               ? params.psDFEFilterParams->iPtsAboveThresh
                               : static_cast<int32_t>(std::min(
                                     SettlingSamples(params, sample_interval_s), 2147483647.0));
  }

  uint32_t criterion() const { return criterion_; }

  std::optional<double> Score(const VomoWaveform &waveform) {
    double shortest_s = 0, longest_s = 0, score = 0;
    float high = 0, low = 0, change_high = 0, change_low = 0, same_high = 0, same_low = 0;
    const VomoStatus status =
        VomoFIND_DFE_TAP(&waveform, &dfe_, &shortest_s, &longest_s, &high, &low, &change_high,
                         &change_low, &same_high, &same_low, &score);
    if (Vomo_STATUS_IS_ERROR(status)) return std::nullopt;
    if (behind_dfe_ || criterion_ != OPT_EYE_RATIO) return score;
    const auto [smaller, larger] = std::minmax(
        {double{change_high} - double{change_low}, double{same_high} - double{same_low}});
    return larger > 0 ? smaller / larger : 0;
  }

 private:
  bool behind_dfe_;
  uint32_t criterion_;
  VomoDFEParams dfe_ = {};
};

OwnedWaveform ApplyCtle(VomoWaveform waveform, const VomoCTLEParams &setting) {
  OwnedWaveform result;
  const VomoStatus status =
      VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(&waveform, setting.fAdc, setting.fFz, setting.fFp1,
                                        setting.fFp2, result.pointer(), result.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "applying a CTLE to", "the signal",
                        "a capture of more samples");
  }
  return result;
}

}  // namespace

bool UsesCtle(const VomoComplianceParams &params) {
  return params.iCTLEFilterParamsCount > 0 && params.psGen3BaseCompParameters == nullptr;
}

bool UsesDfe(const VomoComplianceParams &params) {
  return params.psDFEFilterParams != nullptr && params.psGen3BaseCompParameters == nullptr;
}

VomoComplianceParams WithoutEqualisers(const VomoComplianceParams &params) {
  VomoComplianceParams plain = params;
  plain.iCTLEFilterParamsCount = 0;
  plain.psDFEFilterParams = nullptr;
  return plain;
}

const CtleTrial *CtleTable::Find(int32_t number) const {
  const auto found =
      std::ranges::find_if(trials, [=](const CtleTrial &t) { return t.number == number; });
  return found == trials.end() ? nullptr : &*found;
}

const char *CtleTable::unit() const {
  return CriterionOf(criterion).unit;
}

const char *CtleTable::criterion_name() const {
  return CriterionOf(criterion).name;
}

std::optional<CtleTable> TryCtleSettings(const VomoWaveform &signal,
                                         const VomoComplianceParams &params) {
  const int32_t count = params.iCTLEFilterParamsCount;
  const VomoWaveform trial = TrialOf(signal, params);
  if (count <= 0 || trial.ulNumSamples == 0) return std::nullopt;
  const bool behind_dfe =
      count > 1 && params.iCombineCTLE_DFE_Optimize != 0 && params.psDFEFilterParams != nullptr;
  const auto new_judge = [&] { return Judge(params, behind_dfe, signal.dSampleInterval); };
  Judge judge = new_judge();
  CtleTable table{judge.criterion(), behind_dfe, 0, {}};
  table.trial_ui = trial.ulNumSamples * trial.dSampleInterval / params.dTargetUI;
  const bool competes = count > 1 && params.iAllowNoCTLE != 0;
  // Out of the competition it must not leave its taps to the others.
  Judge aside = new_judge();
  table.trials.push_back({0, {}, competes, (competes ? judge : aside).Score(trial)});
  for (int32_t i = 0; i < count; ++i) {
    const ProgressLine progress(fmt::format("CTLE setting {} of {}", i + 1, count));
    const VomoCTLEParams &setting = params.psCTLEFilterParams[i];
    const OwnedWaveform equalised = ApplyCtle(trial, setting);
    table.trials.push_back({i + 1, setting, true, judge.Score(*equalised.get())});
  }
  return table;
}

std::string DescribeCtle(const VomoCTLEParams &setting) {
  return fmt::format(
      "{:.1f} dB at DC, zero {}, poles {} and {}", 20 * std::log10(double{setting.fAdc}),
      Engineering(double{setting.fFz}, "Hz", 3), Engineering(double{setting.fFp1}, "Hz", 3),
      Engineering(double{setting.fFp2}, "Hz", 3));
}

OwnedWaveform Equalise(const VomoWaveform &signal, const VomoComplianceParams &params,
                       int32_t ctle_index) {
  OwnedWaveform equalised;
  if (ctle_index > 0) {
    equalised = ApplyCtle(signal, params.psCTLEFilterParams[ctle_index - 1]);
  }
  if (params.psDFEFilterParams == nullptr) return equalised;
  VomoWaveform input = equalised ? *equalised.get() : signal;
  VomoDFEParams dfe = *params.psDFEFilterParams;
  OwnedWaveform decided;
  const VomoStatus status =
      VomoAPPLY_DFE_FILTER_TO_WAVEFORM(&input, &dfe, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr, decided.pointer(), decided.handle_out());
  if (Vomo_STATUS_IS_ERROR(status)) {
    throw StatusFailure(ExitCode::kNotMeasurable, status, "applying the DFE to", "the signal",
                        "smaller taps, or a CTLE before them");
  }
  return decided;
}

Json EqualiserJson(const std::optional<CtleTable> &table, const VomoComplianceParams &params,
                   const VomoComplianceResults &results) {
  Json json = {{"ctle", nullptr}, {"dfe", nullptr}};
  if (table) {
    Json &ctle = json["ctle"];
    ctle = {{"chosen", results.iCTLEIndexUsed},
            {"criterion", table->criterion_name()},
            {"unit", table->unit()},
            {"behind_dfe", table->behind_dfe},
            {"trial_ui", table->trial_ui}};
    for (const CtleTrial &trial : table->trials) {
      Json row = {{"setting", trial.number}, {"competes", trial.competes}};
      if (trial.number > 0) row.update(RecordToJson(kCtleParamsType, &trial.setting));
      row["score"] = trial.score ? NumberOrNull(*trial.score) : Json(nullptr);
      ctle["settings"].push_back(row);
    }
  }
  if (params.psDFEFilterParams != nullptr) {
    const VomoDFEParams &dfe = *params.psDFEFilterParams;
    const std::vector<double> taps(dfe.afDFETapValues, dfe.afDFETapValues + dfe.iDFETapCount);
    json["dfe"] = {{"taps", taps}, {"unit", "V"}};
  }
  return json;
}

}  // namespace app
