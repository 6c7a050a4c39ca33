#include "compliance/parameter_dump.h"

#include <algorithm>
#include <span>
#include <string>
#include <type_traits>
#include <variant>

#include "core/text_output.h"

namespace vomo {
namespace {

using Names = std::span<const char *const>;

constexpr const char *kInterpolations[] = {"Vomo_INTERP_LINEAR", "Vomo_INTERP_SINC",
                                           "Vomo_INTERP_POLY", "Vomo_INTERP_NONE"};
constexpr const char *kFilterOrders[] = {"BRICK_WALL",  "FIRST_ORDER",  "SECOND_ORDER",
                                         "THIRD_ORDER", "FOURTH_ORDER", "FIFTH_ORDER",
                                         "SIXTH_ORDER", "SEVENTH_ORDER"};
constexpr const char *kCrossoverTypes[] = {"Vomo_CROSSOVERS_ALL",
                                           "Vomo_CROSSOVERS_RISING",
                                           "Vomo_CROSSOVERS_FALLING",
                                           "Vomo_CROSSOVERS_RISE_FALL",
                                           "INVALID (CROSSOVER_DEEMPH)",
                                           "INVALID (CROSSOVER_DEEMPH_RISE)",
                                           "INVALID (CROSSOVER_DEEMPH_FALL)",
                                           "INVALID (CROSSOVER_DEEMPH_RISE_FALL)",
                                           "INVALID (CROSSOVER_VIRTUAL)",
                                           "INVALID (CROSSOVER_VIRTUAL_RISE)",
                                           "INVALID (CROSSOVER_VIRTUAL_FALL)",
                                           "INVALID (CROSSOVER_VIRTUAL_RISE_FALL)",
                                           "INVALID (CROSSOVER_DEEMPH_VIRTUAL)",
                                           "INVALID (CROSSOVER_DEEMPH_VIRTUAL_RISE)",
                                           "INVALID (CROSSOVER_DEEMPH_VIRTUAL_FALL)",
                                           "INVALID (CROSSOVER_DEEMPH_VIRTUAL_RISE_FALL)",
                                           "INVALID (CROSSOVER_2PART)",
                                           "Vomo_CROSSOVER_2PART_RISING",
                                           "Vomo_CROSSOVER_2PART_FALLING",
                                           "Vomo_CROSSOVER_2PART_RISE_FALL"};
constexpr const char *kPatternResults[] = {"PATCHK_OK", "PATCHK_ZERO", "PATCHK_RATIO",
                                           "PATCHK_RATIO_ZERO"};
constexpr const char *kEyeOptima[] = {"OPT_EYE_WIDTH", "OPT_EYE_HEIGHT", "OPT_EYE_AREA",
                                      "OPT_EYE_RATIO"};
constexpr const char *kHeightTypes[] = {"Vomo_FIND_MIN", "Vomo_FIND_MAX", "Vomo_FIND_AVG"};
constexpr const char *kPhaseErrors[] = {"Vomo_PHASE_ERROR_MEAN", "Vomo_PHASE_ERROR_LEAST_SQUARES"};
constexpr const char *kMarginTypes[] = {"Vomo_CENTER_MIN", "Vomo_RANGE_MAX"};

constexpr int kMostTemplatePoints = 16;
constexpr int kPrintedSlopes = 6;
constexpr int kMostTaps = 16;
constexpr uint32_t kMostFrequencies = 2;

void PrintValue(TextOutput &out, double value) {
  out.Print("%.13lg\n", value);
}
void PrintValue(TextOutput &out, float value) {
  out.Print("%.7g\n", static_cast<double>(value));
}
void PrintValue(TextOutput &out, int32_t value) {
  out.Print("%d\n", value);
}
void PrintValue(TextOutput &out, uint32_t value) {
  out.Print("%u\n", value);
}
void PrintValue(TextOutput &out, uint16_t value) {
  out.Print("%u\n", uint32_t{value});
}

void PrintEnumerator(TextOutput &out, const std::string &name, uint32_t value, Names names) {
  if (value < names.size()) {
    out.Print("%s = %s\n", name.c_str(), names[value]);
  } else {
    out.Print("%s = UNKNOWN (%d)\n", name.c_str(), static_cast<int32_t>(value));
  }
}

// One line of a record, or a part of it with a shape of its own.
template <class Record>
struct Field {
  using Part = void (*)(TextOutput &out, const std::string &prefix, const Record &record);

  const char *name;
  std::variant<double Record::*, float Record::*, int32_t Record::*, uint32_t Record::*,
               uint16_t Record::*, Part>
      place;
  Names names = {};         // of an enumerator
  const char *before = "";  // stands in front of the prefix

  void Print(TextOutput &out, const std::string &prefix, const Record &record) const {
    std::visit([&](auto where) { PrintAt(where, out, prefix, record); }, place);
  }

 private:
  template <class Place>
  void PrintAt(Place where, TextOutput &out, const std::string &prefix,
               const Record &record) const {
    const std::string full_name = before + prefix + name;
    if constexpr (std::is_same_v<Place, Part>) {
      where(out, prefix, record);
    } else {
      if constexpr (std::is_same_v<Place, uint32_t Record::*>) {
        if (!names.empty()) return PrintEnumerator(out, full_name, record.*where, names);
      }
      out.Print("%s = ", full_name.c_str());
      PrintValue(out, record.*where);
    }
  }
};

template <class Record>
void PrintFields(TextOutput &out, const std::string &prefix, const Record &record,
                 std::span<const Field<Record>> fields) {
  for (const Field<Record> &field : fields) field.Print(out, prefix, record);
}

// A record behind a pointer: its fields, or the one line that says that there is none.
template <class Record, size_t kCount>
void PrintBehind(TextOutput &out, const char *prefix, const Record *record,
                 const Field<Record> (&fields)[kCount]) {
  if (record == nullptr) {
    out.Print("%s = NULL\n", prefix);
  } else {
    PrintFields(out, prefix, *record, std::span<const Field<Record>>(fields));
  }
}

// The letter in front of the prefix and the doubled arrow below belong to the format.
constexpr Field<VomoFilterParams> kFilterFields[] = {
    {"dFc", &VomoFilterParams::dFc},
    {"dZ", &VomoFilterParams::dZ, {}, "s"},
    {"dFp", &VomoFilterParams::dFp},
    {"dDel", &VomoFilterParams::dDel},
};

constexpr Field<VomoSSCSquelchParams> kSquelchFields[] = {
    {"dSSC_min_freq", &VomoSSCSquelchParams::dSSC_min_freq},
    {"->dSSC_max_freq", &VomoSSCSquelchParams::dSSC_max_freq},
    {"dSSC_min_fund_mag", &VomoSSCSquelchParams::dSSC_min_fund_mag},
    {"dSSC_fund_squelch_range", &VomoSSCSquelchParams::dSSC_fund_squelch_range},
    {"dSSC_squelch_range", &VomoSSCSquelchParams::dSSC_squelch_range},
    {"dSSC_look_range", &VomoSSCSquelchParams::dSSC_look_range},
    {"iSSC_max_harmonic", &VomoSSCSquelchParams::iSSC_max_harmonic},
};

// A float that is printed to the digits of a double all the same.
void PrintMultiple(TextOutput &out, const std::string &prefix,
                   const VomoNoiseFloorAlgParams &record) {
  out.Print("%sfMultFromMedianToIgnore = %.13lg\n", prefix.c_str(),
            static_cast<double>(record.fMultFromMedianToIgnore));
}

constexpr Field<VomoNoiseFloorAlgParams> kNoiseFloorFields[] = {
    {"fNumStandardDeviations", &VomoNoiseFloorAlgParams::fNumStandardDeviations},
    {"", PrintMultiple},
    {"dNoiseFloorCutoff1", &VomoNoiseFloorAlgParams::dNoiseFloorCutoff1},
    {"dNoiseFloorCutoff2", &VomoNoiseFloorAlgParams::dNoiseFloorCutoff2},
    {"dNoiseFreqRange1", &VomoNoiseFloorAlgParams::dNoiseFreqRange1},
    {"dNoiseFreqRange2", &VomoNoiseFloorAlgParams::dNoiseFreqRange2},
    {"dNoiseFreqRange3", &VomoNoiseFloorAlgParams::dNoiseFreqRange3},
};

constexpr Field<VomoCrossoverLimits> kLimitFields[] = {
    {"dMinWidth", &VomoCrossoverLimits::dMinWidth},
    {"dMaxWidth", &VomoCrossoverLimits::dMaxWidth},
    {"ulMinLimit", &VomoCrossoverLimits::ulMinLimit},
    {"ulMaxLimit", &VomoCrossoverLimits::ulMaxLimit},
};

void PrintDefinitions(TextOutput &out, const std::string &prefix, const VomoPatChkData &record) {
  const std::string name = prefix + "psPatDefArray";
  if (record.psPatDefArray == nullptr) {
    out.Print("%s = NULL\n", name.c_str());
    return;
  }
  for (uint32_t i = 0; i < record.ulPatDefCount; ++i) {
    const VomoPatDef &definition = record.psPatDefArray[i];
    out.Print("%s[%u].ulPatDefLength = %u\n", name.c_str(), i, definition.ulPatDefLength);
    for (uint64_t k = 0; definition.pdPatDefCounts != nullptr && k <= definition.ulPatDefLength;
         ++k) {
      out.Print("\t%6.4g", definition.pdPatDefCounts[k]);
    }
    out.Print("\n");
  }
}

void PrintEdgeDensity(TextOutput &out, const std::string &prefix, const VomoPatChkData &record) {
  out.Print("%sdEdgeDensity = %6.4lg\n", prefix.c_str(), record.dEdgeDensity);
}

constexpr Field<VomoPatChkData> kPatternFields[] = {
    {"ulPatChkCount", &VomoPatChkData::ulPatChkCount},
    {"ulPatDefCount", &VomoPatChkData::ulPatDefCount},
    {"dPatRatioMax", &VomoPatChkData::dPatRatioMax},
    {"", PrintDefinitions},
    {"", PrintEdgeDensity},
    {"ePatChkResult", &VomoPatChkData::ePatChkResult, kPatternResults},
};

constexpr Field<VomoCTLEParams> kCtleFields[] = {
    {"fAdc", &VomoCTLEParams::fAdc},
    {"fFz", &VomoCTLEParams::fFz},
    {"fFp1", &VomoCTLEParams::fFp1},
    {"fFp2", &VomoCTLEParams::fFp2},
};

void PrintCtleFamily(TextOutput &out, const std::string &, const VomoComplianceParams &record) {
  const VomoCTLEParams *family = record.psCTLEFilterParams;
  const int32_t count = record.iCTLEFilterParamsCount;
  if (family == nullptr || count <= 1) {
    PrintBehind(out, "psCTLEFilterParams->", family, kCtleFields);
    return;
  }
  for (int32_t i = 0; i < count; ++i) {
    const std::string prefix = "psCTLEFilterParams[" + std::to_string(i) + "].";
    PrintBehind(out, prefix.c_str(), family + i, kCtleFields);
  }
}

void PrintTaps(TextOutput &out, const std::string &name, const float (&taps)[16], int32_t count) {
  out.Print("%s = [", name.c_str());
  for (int i = 0; i < std::clamp(count, 0, kMostTaps); ++i) {
    out.Print("%s%.7g", i == 0 ? "" : ", ", static_cast<double>(taps[i]));
  }
  out.Print("]\n");
}

void PrintTapArrays(TextOutput &out, const std::string &prefix, const VomoDFEParams &record) {
  PrintTaps(out, prefix + "afTapMin", record.afTapMin, record.iDFETapCount);
  PrintTaps(out, prefix + "afTapMax", record.afTapMax, record.iDFETapCount);
  PrintTaps(out, prefix + "afDFETapValues", record.afDFETapValues, record.iDFETapCount);
  PrintTaps(out, prefix + "afTemplateTapValues", record.afTemplateTapValues, record.iDFETapCount);
}

constexpr Field<VomoDFEParams> kDfeFields[] = {
    {"iDFETapCount", &VomoDFEParams::iDFETapCount},
    {"dUnitInterval", &VomoDFEParams::dUnitInterval},
    {"", PrintTapArrays},
    {"iDFEComputeTaps", &VomoDFEParams::iDFEComputeTaps},
    {"iDFENumStepsUsed", &VomoDFEParams::iDFENumStepsUsed},
    {"fStepSize", &VomoDFEParams::fStepSize},
    {"iPtsAboveThresh", &VomoDFEParams::iPtsAboveThresh},
    {"iUICount", &VomoDFEParams::iUICount},
    {"iRunLength", &VomoDFEParams::iRunLength},
    {"iStepCnt", &VomoDFEParams::iStepCnt},
    {"eOptValue", &VomoDFEParams::eOptValue, kEyeOptima},
    {"eHeightType", &VomoDFEParams::eHeightType, kHeightTypes},
};

void PrintPoints(TextOutput &out, const std::string &prefix, const VomoTemplate &record) {
  if (record.aulIntervalIdxArray == nullptr) {
    out.Print("%saulIntervalIdxArray = NULL\n", prefix.c_str());
  }
  const bool has_points = record.adXArray != nullptr && record.afYArray != nullptr;
  const uint32_t count =
      has_points ? std::min<uint32_t>(record.ulArrayLength, kMostTemplatePoints) : 0;
  for (uint32_t i = 0; i < count; ++i) {
    out.Print("\t%.13lg, %.7g", record.adXArray[i], static_cast<double>(record.afYArray[i]));
    if (record.aulIntervalIdxArray != nullptr) out.Print(" (%u)", record.aulIntervalIdxArray[i]);
  }
  out.Print("\n");
}

constexpr Field<VomoTemplate> kTemplateFields[] = {
    {"ulArrayLength", &VomoTemplate::ulArrayLength},
    {"", PrintPoints},
    {"dXMargin", &VomoTemplate::dXMargin},
    {"fYMargin", &VomoTemplate::fYMargin},
};

void PrintSlopes(TextOutput &out, const std::string &prefix, const VomoPassFailInfo &record) {
  out.Print("%sadSlopes", prefix.c_str());
  for (int i = 0; i < kPrintedSlopes; ++i) out.Print("\t%.13lg", record.adSlopes[i]);
  out.Print("\n");
}

constexpr Field<VomoPassFailInfo> kPassFailFields[] = {
    {"fEyeYMin", &VomoPassFailInfo::fEyeYMin},
    {"fEyeYMax", &VomoPassFailInfo::fEyeYMax},
    {"dEyeXMin", &VomoPassFailInfo::dEyeXMin},
    {"dEyeXMax", &VomoPassFailInfo::dEyeXMax},
    {"", PrintSlopes},
};

// Frequency k stands beside the matrix of element k - 1.
void PrintMatrix(TextOutput &out, const std::string &prefix, uint32_t k,
                 const VomoComplexFloat (&matrix)[4][4]) {
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      out.Print("\t%spspSArray[%u][%d][%d] = (%.7g, %.7g), ", prefix.c_str(), k, i, j,
                static_cast<double>(matrix[i][j].fRe), static_cast<double>(matrix[i][j].fIm));
    }
    out.Print("\n");
  }
  out.Print("\n");
}

void PrintSArray(TextOutput &out, const std::string &prefix, const VomoSparamData &record) {
  const uint32_t count = std::min(kMostFrequencies, record.ulSArrayLength);
  if (count == 0) return;
  const char *const name = prefix.c_str();
  if (record.pdSfreq == nullptr) {
    out.Print("%spdSfreq = NULL\n", name);
  } else {
    out.Print("%spdSfreq[0] = %.13lg\n", name, record.pdSfreq[0]);
  }
  if (record.pspSArray == nullptr) {
    out.Print("pspSArray = NULL\n");
    return;
  }
  for (uint32_t k = 1; k <= count; ++k) {
    if (record.pdSfreq != nullptr)
      out.Print("%spdSfreq[%u] = %.13lg\n", name, k, record.pdSfreq[k]);
    PrintMatrix(out, prefix, k, record.pspSArray[k - 1]);
  }
}

void PrintFlags(TextOutput &out, const std::string &prefix, const VomoSparamData &record) {
  out.Print("%siFlags = 0x%X\n", prefix.c_str(), static_cast<uint32_t>(record.iFlags));
}

constexpr Field<VomoSparamData> kSparamFields[] = {
    {"ulSArrayLength", &VomoSparamData::ulSArrayLength},
    {"", PrintSArray},
    {"dFLowPass", &VomoSparamData::dFLowPass},
    {"dPercentToTrim", &VomoSparamData::dPercentToTrim},
    {"", PrintFlags},
};

// What stands behind the Gen3 pointer is not printed, only that there is nothing.
constexpr Field<VomoGen3BaseCompParameters> kGen3Fields[] = {
    {"", [](TextOutput &, const std::string &, const VomoGen3BaseCompParameters &) {}},
};

using Params = VomoComplianceParams;

// The part of a record held by value or behind a pointer, as a part of the whole.
template <auto kMember, const auto &kFields, const char *kPrefix>
void PrintMember(TextOutput &out, const std::string &, const Params &record) {
  if constexpr (std::is_pointer_v<std::decay_t<decltype(record.*kMember)>>) {
    PrintBehind(out, kPrefix, record.*kMember, kFields);
  } else {
    PrintBehind(out, kPrefix, &(record.*kMember), kFields);
  }
}

constexpr char kFilterPrefix[] = "sFilterParams.";
constexpr char kSquelchPrefix[] = "psSSCSquelchParams->";
constexpr char kNoiseFloorPrefix[] = "sNoiseFloorAlgParams.";
constexpr char kLimitPrefix[] = "sCrossoverLimits.";
constexpr char kPatternPrefix[] = "psPatChkData->";
constexpr char kDfePrefix[] = "psDFEFilterParams->";
constexpr char kNonTransTemplatePrefix[] = "sNonTransTemplate.";
constexpr char kNonTransPassFailPrefix[] = "sNonTransPassFailInfo.";
constexpr char kTransTemplatePrefix[] = "sTransTemplate.";
constexpr char kTransPassFailPrefix[] = "sTransPassFailInfo.";
constexpr char kGen3Prefix[] = "psGen3BaseCompParameters->";
constexpr char kSparamPrefix[] = "psSparamData->";

// The whole record in the order of its lines. The Dj limit is printed twice.
constexpr Field<Params> kParameterFields[] = {
    {"dTargetUI", &Params::dTargetUI},
    {"dSettlingTime", &Params::dSettlingTime},
    {"eInterpMethod", &Params::eInterpMethod, kInterpolations},
    {"eFilterOrder", &Params::eFilterOrder, kFilterOrders},
    {"", PrintMember<&Params::sFilterParams, kFilterFields, kFilterPrefix>},
    {"iSSCSquelch", &Params::iSSCSquelch},
    {"", PrintMember<&Params::psSSCSquelchParams, kSquelchFields, kSquelchPrefix>},
    {"", PrintMember<&Params::sNoiseFloorAlgParams, kNoiseFloorFields, kNoiseFloorPrefix>},
    {"dBrickFloor", &Params::dBrickFloor},
    {"", PrintMember<&Params::sCrossoverLimits, kLimitFields, kLimitPrefix>},
    {"eCrossoverTypes", &Params::eCrossoverTypes, kCrossoverTypes},
    {"", PrintMember<&Params::psPatChkData, kPatternFields, kPatternPrefix>},
    {"iCTLEFilterParamsCount", &Params::iCTLEFilterParamsCount},
    {"", PrintCtleFamily},
    {"iCTLEUICount", &Params::iCTLEUICount},
    {"eCTLEOpt", &Params::eCTLEOpt, kEyeOptima},
    {"fCTLEBeginSampleWindow", &Params::fCTLEBeginSampleWindow},
    {"fCTLEEndSampleWindow", &Params::fCTLEEndSampleWindow},
    {"iAllowNoCTLE", &Params::iAllowNoCTLE},
    {"iCombineCTLE_DFE_Optimize", &Params::iCombineCTLE_DFE_Optimize},
    {"", PrintMember<&Params::psDFEFilterParams, kDfeFields, kDfePrefix>},
    {"ulMinUIForOfficialTest", &Params::ulMinUIForOfficialTest},
    {"ePhaseErrorIntervalType", &Params::ePhaseErrorIntervalType, kPhaseErrors},
    {"eVoltageMarginType", &Params::eVoltageMarginType, kMarginTypes},
    {"fVoltageHistBinSize", &Params::fVoltageHistBinSize},
    {"iVoltageHistTrimCount", &Params::iVoltageHistTrimCount},
    {"dVoltageHistTrimFactor", &Params::dVoltageHistTrimFactor},
    {"fTransitionHighVoltageRail", &Params::fTransitionHighVoltageRail},
    {"fTransitionLowVoltageRail", &Params::fTransitionLowVoltageRail},
    {"", PrintMember<&Params::sNonTransTemplate, kTemplateFields, kNonTransTemplatePrefix>},
    {"", PrintMember<&Params::sNonTransPassFailInfo, kPassFailFields, kNonTransPassFailPrefix>},
    {"fNonTransitionHighVoltageRail", &Params::fNonTransitionHighVoltageRail},
    {"NonTransitionLowVoltageRail", &Params::NonTransitionLowVoltageRail},
    {"", PrintMember<&Params::sTransTemplate, kTemplateFields, kTransTemplatePrefix>},
    {"", PrintMember<&Params::sTransPassFailInfo, kPassFailFields, kTransPassFailPrefix>},
    {"dEyePlotWrapLeftValue", &Params::dEyePlotWrapLeftValue},
    {"dEyePlotWrapRightValue", &Params::dEyePlotWrapRightValue},
    {"ulEyeDiagramOffset", &Params::ulEyeDiagramOffset},
    {"dPeakPeakJitterLimit", &Params::dPeakPeakJitterLimit},
    {"dTjPeakPeakJitterLimit", &Params::dTjPeakPeakJitterLimit},
    {"dDjDeltaDeltaJitterLimit", &Params::dDjDeltaDeltaJitterLimit},
    {"dDjDeltaDeltaJitterLimit", &Params::dDjDeltaDeltaJitterLimit},
    {"dRjRMSMaxJitterLimit", &Params::dRjRMSMaxJitterLimit},
    {"dPointsToTrimPercent", &Params::dPointsToTrimPercent},
    {"dPDFBinSize", &Params::dPDFBinSize},
    {"dTargetBERQVal", &Params::dTargetBERQVal},
    {"dRjRMSInput", &Params::dRjRMSInput},
    {"ulRemoveBinsNumPoints", &Params::ulRemoveBinsNumPoints},
    {"ulNumPointsToUseInCdfFit", &Params::ulNumPointsToUseInCdfFit},
    {"ulHistogramBinSizeUI", &Params::ulHistogramBinSizeUI},
    {"usIndividualPointInfo", &Params::usIndividualPointInfo},
    {"usGetJitterHistogramData", &Params::usGetJitterHistogramData},
    {"usDerateDeemphasisJitter", &Params::usDerateDeemphasisJitter},
    {"", PrintMember<&Params::psGen3BaseCompParameters, kGen3Fields, kGen3Prefix>},
    {"", PrintMember<&Params::psSparamData, kSparamFields, kSparamPrefix>},
};

}  // namespace

void Vomo_DumpParameters(const VomoComplianceParams &parameters) {
  TextOutput out(parameters.pcParameterDumpFile, "a");
  if (!out) return;
  PrintFields(out, "", parameters, std::span<const Field<Params>>(kParameterFields));
}

}  // namespace vomo
