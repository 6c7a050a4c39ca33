#include "run_records.h"

#include <vomo.h>

#include <algorithm>
#include <array>

namespace app {
namespace {

constexpr Choice kInterpMethods[] = {{Vomo_INTERP_LINEAR, "Vomo_INTERP_LINEAR"},
                                     {Vomo_INTERP_SINC, "Vomo_INTERP_SINC"},
                                     {Vomo_INTERP_POLY, "Vomo_INTERP_POLY"},
                                     {Vomo_INTERP_NONE, "Vomo_INTERP_NONE"}};
constexpr Choice kFilterOrders[] = {
    {BRICK_WALL, "BRICK_WALL"},   {FIRST_ORDER, "FIRST_ORDER"},    {SECOND_ORDER, "SECOND_ORDER"},
    {THIRD_ORDER, "THIRD_ORDER"}, {FOURTH_ORDER, "FOURTH_ORDER"},  {FIFTH_ORDER, "FIFTH_ORDER"},
    {SIXTH_ORDER, "SIXTH_ORDER"}, {SEVENTH_ORDER, "SEVENTH_ORDER"}};
constexpr Choice kCrossoverTypes[] = {
    {Vomo_CROSSOVERS_ALL, "Vomo_CROSSOVERS_ALL"},
    {Vomo_CROSSOVERS_RISING, "Vomo_CROSSOVERS_RISING"},
    {Vomo_CROSSOVERS_FALLING, "Vomo_CROSSOVERS_FALLING"},
    {Vomo_CROSSOVERS_RISE_FALL, "Vomo_CROSSOVERS_RISE_FALL"},
    {Vomo_CROSSOVER_2PART_RISING, "Vomo_CROSSOVER_2PART_RISING"},
    {Vomo_CROSSOVER_2PART_FALLING, "Vomo_CROSSOVER_2PART_FALLING"},
    {Vomo_CROSSOVER_2PART_RISE_FALL, "Vomo_CROSSOVER_2PART_RISE_FALL"}};
constexpr Choice kPatternResults[] = {{PATCHK_OK, "PATCHK_OK"},
                                      {PATCHK_ZERO, "PATCHK_ZERO"},
                                      {PATCHK_RATIO, "PATCHK_RATIO"},
                                      {PATCHK_RATIO_ZERO, "PATCHK_RATIO_ZERO"}};
constexpr Choice kOptimisations[] = {{OPT_EYE_WIDTH, "OPT_EYE_WIDTH"},
                                     {OPT_EYE_HEIGHT, "OPT_EYE_HEIGHT"},
                                     {OPT_EYE_AREA, "OPT_EYE_AREA"},
                                     {OPT_EYE_RATIO, "OPT_EYE_RATIO"}};
constexpr Choice kHeightTypes[] = {{Vomo_FIND_MIN, "Vomo_FIND_MIN"},
                                   {Vomo_FIND_MAX, "Vomo_FIND_MAX"},
                                   {Vomo_FIND_AVG, "Vomo_FIND_AVG"}};
constexpr Choice kPhaseErrorTypes[] = {
    {Vomo_PHASE_ERROR_MEAN, "Vomo_PHASE_ERROR_MEAN"},
    {Vomo_PHASE_ERROR_LEAST_SQUARES, "Vomo_PHASE_ERROR_LEAST_SQUARES"}};
constexpr Choice kMarginTypes[] = {{Vomo_CENTER_MIN, "Vomo_CENTER_MIN"},
                                   {Vomo_RANGE_MAX, "Vomo_RANGE_MAX"}};

#define FIELD(member) APP_FIELD(Record, member)

// ---- Settings ----

namespace filter_params {
using Record = VomoFilterParams;
constexpr Field kFields[] = {
    FIELD(dFc).In("Hz").Above(0),
    FIELD(dZ).From(0),
    FIELD(dFp).In("Hz"),
    FIELD(dDel).In("s"),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace filter_params

namespace squelch_params {
using Record = VomoSSCSquelchParams;
constexpr Field kFields[] = {
    FIELD(dSSC_min_freq).In("Hz").From(0),      FIELD(dSSC_max_freq).In("Hz").From(0),
    FIELD(dSSC_min_fund_mag).From(0),           FIELD(dSSC_fund_squelch_range).In("Hz").From(0),
    FIELD(dSSC_squelch_range).In("Hz").From(0), FIELD(dSSC_look_range).In("Hz").From(0),
    FIELD(iSSC_max_harmonic).From(0),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace squelch_params

namespace noise_floor_params {
using Record = VomoNoiseFloorAlgParams;
constexpr Field kFields[] = {
    FIELD(fNumStandardDeviations),
    FIELD(fMultFromMedianToIgnore).From(0),
    FIELD(dNoiseFloorCutoff1).In("Hz").From(0),
    FIELD(dNoiseFloorCutoff2).In("Hz").From(0),
    FIELD(dNoiseFreqRange1).In("Hz").From(0),
    FIELD(dNoiseFreqRange2).In("Hz").From(0),
    FIELD(dNoiseFreqRange3).In("Hz").From(0),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace noise_floor_params

namespace crossover_limits {
using Record = VomoCrossoverLimits;
constexpr Field kFields[] = {
    FIELD(dMinWidth).In("s"),
    FIELD(dMaxWidth).In("s"),
    FIELD(ulMinLimit),
    FIELD(ulMaxLimit),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace crossover_limits

namespace pattern_definition {
using Record = VomoPatDef;
constexpr Field kFields[] = {
    FIELD(pdPatDefCounts).From(0).CountedBy(offsetof(Record, ulPatDefLength), 1),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace pattern_definition

namespace pattern_check {
using Record = VomoPatChkData;
constexpr Field kFields[] = {
    FIELD(ulPatChkCount),
    FIELD(dPatRatioMax).From(0),
    FIELD(psPatDefArray)
        .Holding(pattern_definition::kType)
        .CountedBy(offsetof(Record, ulPatDefCount)),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace pattern_check

namespace ctle_params {
using Record = VomoCTLEParams;
constexpr Field kFields[] = {
    FIELD(fAdc).Above(0),
    FIELD(fFz).In("Hz").Above(0),
    FIELD(fFp1).In("Hz").Above(0),
    FIELD(fFp2).In("Hz").Above(0),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace ctle_params

namespace dfe_params {
using Record = VomoDFEParams;
constexpr Field kFields[] = {
    FIELD(dUnitInterval).In("s").Above(0),
    FIELD(afTapMin).In("V"),
    FIELD(afTapMax).In("V"),
    FIELD(afDFETapValues).In("V"),
    FIELD(afTemplateTapValues),
    FIELD(iDFETapCount).From(0).To(16),
    FIELD(iDFEComputeTaps),
    FIELD(iDFENumStepsUsed),
    FIELD(fStepSize),
    FIELD(iPtsAboveThresh).From(0),
    FIELD(iUICount).From(0),
    FIELD(iRunLength),
    FIELD(iStepCnt),
    FIELD(eOptValue).OneOf(kOptimisations),
    FIELD(eHeightType).OneOf(kHeightTypes),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace dfe_params

namespace eye_template {
using Record = VomoTemplate;
constexpr Field kFields[] = {
    FIELD(adXArray).In("UI").CountedBy(offsetof(Record, ulArrayLength)),
    FIELD(afYArray).In("V").CountedBy(offsetof(Record, ulArrayLength)),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace eye_template

namespace gen3_params {
using Record = VomoGen3BaseCompParameters;
constexpr Field kFields[] = {
    FIELD(ulEIEOSFirst),
    FIELD(ulEIEOSLast).To(8),
    FIELD(ulPS21ShortRun).From(1),
    FIELD(ulPS21ShortRunMax),
    FIELD(ulPS21ShortFirst),
    FIELD(ulPS21ShortLast),
    FIELD(ulPS21LongRun).From(32),
    FIELD(ulPS21LongFirst),
    FIELD(ulPS21LongLast),
    FIELD(ulTargetRunMax),
    FIELD(ulTargetRunLength).From(2),
    FIELD(ulTargetFirst).From(2),
    FIELD(ulTargetLast),
    FIELD(dTargetFraction).From(0.0001).To(1),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace gen3_params

namespace compliance_params {
using Record = VomoComplianceParams;
constexpr Field kFields[] = {
    FIELD(dTargetUI).In("s").Above(0).To(1e-3),
    FIELD(dSettlingTime).In("s").From(0),
    FIELD(eInterpMethod).OneOf(kInterpMethods),
    FIELD(eFilterOrder).OneOf(kFilterOrders),
    FIELD(sFilterParams).Holding(filter_params::kType),
    FIELD(iSSCSquelch),
    FIELD(psSSCSquelchParams).Holding(squelch_params::kType),
    FIELD(sNoiseFloorAlgParams).Holding(noise_floor_params::kType),
    FIELD(dBrickFloor),
    FIELD(sCrossoverLimits).Holding(crossover_limits::kType),
    FIELD(eCrossoverTypes).OneOf(kCrossoverTypes),
    FIELD(psPatChkData).Holding(pattern_check::kType),
    FIELD(psCTLEFilterParams)
        .Holding(ctle_params::kType)
        .CountedBy(offsetof(Record, iCTLEFilterParamsCount)),
    FIELD(iCTLEUICount).From(0),
    FIELD(eCTLEOpt).OneOf(kOptimisations),
    FIELD(fCTLEBeginSampleWindow).In("UI").From(0).To(1),
    FIELD(fCTLEEndSampleWindow).In("UI").From(0).To(1),
    FIELD(iAllowNoCTLE),
    FIELD(iCombineCTLE_DFE_Optimize),
    FIELD(psDFEFilterParams).Holding(dfe_params::kType),
    FIELD(ulMinUIForOfficialTest),
    FIELD(ePhaseErrorIntervalType).OneOf(kPhaseErrorTypes),
    FIELD(eVoltageMarginType).OneOf(kMarginTypes),
    FIELD(fVoltageHistBinSize).In("V").Above(0),
    FIELD(iVoltageHistTrimCount),
    FIELD(dVoltageHistTrimFactor).From(0).To(1),
    FIELD(fTransitionHighVoltageRail).In("V"),
    FIELD(fTransitionLowVoltageRail).In("V"),
    FIELD(sNonTransTemplate).Holding(eye_template::kType),
    FIELD(fNonTransitionHighVoltageRail).In("V"),
    FIELD(NonTransitionLowVoltageRail).In("V"),
    FIELD(sTransTemplate).Holding(eye_template::kType),
    FIELD(dEyePlotWrapLeftValue).In("UI").From(0).To(1),
    FIELD(dEyePlotWrapRightValue).In("UI").From(0).To(1),
    FIELD(ulEyeDiagramOffset),
    FIELD(dPeakPeakJitterLimit).In("s").From(0),
    FIELD(dTjPeakPeakJitterLimit).In("s").From(0),
    FIELD(dDjDeltaDeltaJitterLimit).In("s").From(0),
    FIELD(dRjRMSMaxJitterLimit).In("s").From(0),
    FIELD(dPointsToTrimPercent).From(0).To(0.49),
    FIELD(dPDFBinSize).In("s").Above(0),
    FIELD(dTargetBERQVal).From(-40).To(0),
    FIELD(dRjRMSInput).In("s").From(0),
    FIELD(ulRemoveBinsNumPoints),
    FIELD(ulNumPointsToUseInCdfFit).From(1),
    FIELD(ulHistogramBinSizeUI).In("UI"),
    FIELD(usIndividualPointInfo),
    FIELD(usGetJitterHistogramData),
    FIELD(usDerateDeemphasisJitter),
    FIELD(psGen3BaseCompParameters).Holding(gen3_params::kType),
    FIELD(pcParameterDumpFile),
};
}  // namespace compliance_params

namespace dual_port_params {
using Record = VomoDualPortParams;
constexpr Field kFields[] = {
    FIELD(dClockTargetUI).In("s").Above(0).To(1e-3),
    FIELD(dClockSettlingTime).In("s").From(0),
    FIELD(iClockFilterEnable),
    FIELD(iUseClockCrossovers),
    FIELD(eClockCrossoverTypes).OneOf(kCrossoverTypes),
    FIELD(ulClockDataOffsetUI).In("UI"),
    FIELD(psPLLFilterParams)
        .Holding(filter_params::kType)
        .CountedBy(offsetof(Record, iPLLFilterCount)),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace dual_port_params

// ---- Results ----

namespace margins {
using Record = VomoTemplateMargins;
constexpr Field kFields[] = {
    FIELD(usCollectMargins),      FIELD(dMarginBinWidth).In("UI"), FIELD(afUpperMargin).In("V"),
    FIELD(afLowerMargin).In("V"), FIELD(ulHighMarginCount),        FIELD(fHighMargin).In("V"),
    FIELD(ulHighMarginInterval),  FIELD(ulLowMarginCount),         FIELD(fLowMargin).In("V"),
    FIELD(ulLowMarginInterval),   FIELD(dMarginX).In("UI"),        FIELD(fHighLevel).In("V"),
    FIELD(fLowLevel).In("V"),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace margins

namespace jitter_pdf {
using Record = VomoJitterPdfRecord;
constexpr Field kFields[] = {
    FIELD(dFirstBinValue).In("s"),
    FIELD(dPDFBinSize).In("s"),
    FIELD(ulBinCount),
    FIELD(pdPDF).CountedBy(offsetof(Record, ulBinCount)),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace jitter_pdf

namespace jitter_q {
using Record = VomoJitterQRecord;
constexpr Field kFields[] = {
    FIELD(dFirstBinValue).In("s"),
    FIELD(dPDFBinSize).In("s"),
    FIELD(ulFitCount),
    FIELD(dLeftLineX0).In("s"),
    FIELD(dLeftLineX1).In("s"),
    FIELD(dRightLineX0).In("s"),
    FIELD(dRightLineX1).In("s"),
    FIELD(dLeftLineY0),
    FIELD(dLeftLineY1),
    FIELD(dRightLineY0),
    FIELD(dRightLineY1),
    FIELD(pdQFromRight).CountedBy(offsetof(Record, ulFitCount)),
    FIELD(pdQFromLeft).CountedBy(offsetof(Record, ulFitCount)),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace jitter_q

namespace jitter_spectrum {
using Record = VomoJitterSpectrumRecord;
constexpr Field kFields[] = {
    FIELD(ulBinCount),
    FIELD(dBinSpacing).In("Hz"),
    FIELD(pdRawMagnitude).CountedBy(offsetof(Record, ulBinCount)),
    FIELD(pdFilteredMagnitude).CountedBy(offsetof(Record, ulBinCount)),
    FIELD(ulDiffBinCount),
    FIELD(dDiffBinSpacing).In("Hz"),
    FIELD(pdDiffMagnitude).CountedBy(offsetof(Record, ulDiffBinCount)),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace jitter_spectrum

namespace gen3_check {
using Record = VomoGen3CheckData;
constexpr Field kFields[] = {
    FIELD(ucEnable),
    FIELD(ucFirstValue),
    FIELD(ucSecondValue),
    FIELD(ucBlockCount),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace gen3_check

namespace pattern_ddj {
using Record = VomoPatternDDjResult;
constexpr Field kFields[] = {
    FIELD(fPeakPeak).In("s"),
    FIELD(ulRepeats),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace pattern_ddj

namespace gen3_results {
using Record = VomoGen3Results;
constexpr Field kFields[] = {
    FIELD(ulPatternRepeats),
    FIELD(ulPatternLengthUI).In("UI"),
    FIELD(ulPatternRuns),
    FIELD(fFOver2Dj).In("s"),
    FIELD(fEIEOSVoltage1).In("V"),
    FIELD(fEIEOSVoltage2).In("V"),
    FIELD(ulEIEOSFound),
    FIELD(fPS21Ratio).In("dB"),
    FIELD(ulPS21Found),
    FIELD(fTargetVoltage1).In("V"),
    FIELD(fTargetVoltage2).In("V"),
    FIELD(fTargetVoltage3),
    FIELD(ucTargetFound),
    FIELD(psPatternDDj).Holding(pattern_ddj::kType),
    FIELD(dTj).In("s"),
    FIELD(dDj).In("s"),
    FIELD(dRj).In("s"),
};
constexpr RecordType kType = {sizeof(Record), kFields};
}  // namespace gen3_results

namespace compliance_results {
using Record = VomoComplianceResults;
constexpr Field kFields[] = {
    FIELD(dFirstCrossoverTime).In("s"),
    FIELD(dTIEPeakPeak).In("s"),
    FIELD(dPeakPeakJitter).In("s"),
    FIELD(ulMaxJitterIndex),
    FIELD(ulMinJitterIndex),
    FIELD(ulFirstValidIndex),
    FIELD(ulLastValidIndex),
    FIELD(ulFirstIndex),
    FIELD(ulLastIndex),
    FIELD(dTjPeakPeak).In("s"),
    FIELD(dDualDiracLeft).In("s"),
    FIELD(dDualDiracRight).In("s"),
    FIELD(dDjDeltaDelta).In("s"),
    FIELD(dMinCrossoverInterval).In("s"),
    FIELD(dRjRMS).In("s"),
    FIELD(dRjStdDev).In("s"),
    FIELD(dUnitInterval).In("s"),
    FIELD(ulPointsUsed),
    FIELD(ulDataIntervalCount),
    FIELD(iPLLFilterIndex),
    FIELD(iClockDataOffsetUI).In("UI"),
    FIELD(iCTLEIndexUsed),
    FIELD(iDFEApplied),
    FIELD(dEdgeDensity).In("1/UI"),
    FIELD(ePatChkResult).OneOf(kPatternResults),
    FIELD(ulTransRailViolations),
    FIELD(fTransMinVoltage).In("V"),
    FIELD(ulTransMinIndex),
    FIELD(fTransMaxVoltage).In("V"),
    FIELD(ulTransMaxIndex),
    FIELD(ulNonTransRailViolations),
    FIELD(fNonTransMinVoltage).In("V"),
    FIELD(ulNonTransMinIndex),
    FIELD(fNonTransMaxVoltage).In("V"),
    FIELD(ulNonTransMaxIndex),
    FIELD(sTransMargins).Holding(margins::kType),
    FIELD(sNonTransMargins).Holding(margins::kType),
    FIELD(sJitterPdf).Holding(jitter_pdf::kType),
    FIELD(sJitterQ).Holding(jitter_q::kType),
    FIELD(sJitterSpectrum).Holding(jitter_spectrum::kType),
    FIELD(sGen3CheckData).Holding(gen3_check::kType),
    FIELD(psGen3Results).Holding(gen3_results::kType),
};
}  // namespace compliance_results

// The parameters of a run and, behind them, what only some kinds of run need.
namespace run_settings {
using Record = RunSettingsRecord;
static_assert(offsetof(Record, params) == 0);
constexpr auto kFields = [] {
  constexpr size_t kCount = std::size(compliance_params::kFields);
  std::array<Field, kCount + 1> fields{};
  std::copy_n(compliance_params::kFields, kCount, fields.begin());
  fields[kCount] = FIELD(sDualPort).Holding(dual_port_params::kType);
  return fields;
}();
}  // namespace run_settings

namespace dual_port_clock {
using Record = VomoDualPortClockResults;
constexpr Field kFields[] = {
    FIELD(dMinCrossoverInterval).In("s"),
    FIELD(ulIntervalCount),
    FIELD(dUnitInterval).In("s"),
};
}  // namespace dual_port_clock

namespace dual_port_trial {
using Record = VomoDualPortTrial;
constexpr Field kFields[] = {
    FIELD(iPLLFilterIndex),     FIELD(iClockDataOffsetUI).In("UI"),
    FIELD(dTjPeakPeak).In("s"), FIELD(dDjDeltaDelta).In("s"),
    FIELD(dRjRMS).In("s"),
};
}  // namespace dual_port_trial

#undef FIELD

}  // namespace

const RecordType kComplianceParamsType = {sizeof(VomoComplianceParams), compliance_params::kFields};
const RecordType kCtleParamsType = ctle_params::kType;
const RecordType kComplianceResultsType = {sizeof(VomoComplianceResults),
                                           compliance_results::kFields};
const RecordType kRunSettingsType = {sizeof(RunSettingsRecord), run_settings::kFields};
const RecordType kDualPortClockType = {sizeof(VomoDualPortClockResults), dual_port_clock::kFields};
const RecordType kDualPortTrialType = {sizeof(VomoDualPortTrial), dual_port_trial::kFields};

}  // namespace app
