/* Vomo: signal analysis for high-speed serial links. */
#ifndef VOMO_H
#define VOMO_H

#include <stdint.h>

#define VOMO_VERSION "0.1.0"

#if defined(_WIN32)
#if defined(VOMO_BUILDING)
#define VOMO_API __declspec(dllexport)
#else
#define VOMO_API __declspec(dllimport)
#endif
#else
#define VOMO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#define VOMO_NOEXCEPT noexcept
extern "C" {
#else
#define VOMO_NOEXCEPT
#endif

typedef uint32_t VomoStatus;
typedef uint32_t VomoHandle;
typedef struct VomoComplexDouble {
  double dRe, dIm;
} VomoComplexDouble;
typedef struct VomoComplexFloat {
  float fRe, fIm;
} VomoComplexFloat;
#define Vomo_STATUS_SUCCESS 0x00000000u
#define Vomo_STATUS_CROSSOVER_MEMORY_LIMIT 0x20000000u
#define Vomo_STATUS_LF_FEWER_BURSTS 0x20000001u
#define Vomo_STATUS_NOT_IMPLEMENTED 0xA0000000u
#define Vomo_STATUS_UNEXPECTED_EOF 0xA0000001u
#define Vomo_STATUS_FILE_READ_ERROR 0xA0000002u
#define Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS 0xA0000003u
#define Vomo_STATUS_NOT_ENOUGH_WAVEFORMS 0xA0000004u
#define Vomo_STATUS_PARAM_OUT_OF_RANGE 0xA0000005u
#define Vomo_STATUS_PARAM_NOT_VALID 0xA0000006u
#define Vomo_STATUS_FFT_DESCRIPTOR_ERROR 0xA0000007u
#define Vomo_STATUS_FFT_COMPUTE_ERROR 0xA0000008u
#define Vomo_STATUS_COMPUTATION_ERROR 0xA0000009u
#define Vomo_STATUS_INVALID_INTERVAL 0xA000000Au
#define Vomo_STATUS_NOT_ENOUGH_UI 0xA000000Bu
#define Vomo_STATUS_PATTERN_NOT_FOUND 0xA000000Cu
#define Vomo_STATUS_DFE_SEARCH_FAILED 0xA000000Fu
#define Vomo_STATUS_MEMORY_ALLOCATION_FAILED 0xA0020000u
#define Vomo_STATUS_HANDLES_EXHAUSTED 0xA0020001u
#define Vomo_STATUS_IS_ERROR(status) (((status)&0xA0000000u) == 0xA0000000u)
/* Enumerators are plain constants; every enum field or argument is uint32_t. */
enum {
  Vomo_CROSSOVERS_ALL = 0,
  Vomo_CROSSOVERS_RISING = 1,
  Vomo_CROSSOVERS_FALLING = 2,
  Vomo_CROSSOVERS_RISE_FALL = 3,
  Vomo_CROSSOVER_2PART_RISING = 17,
  Vomo_CROSSOVER_2PART_FALLING = 18,
  Vomo_CROSSOVER_2PART_RISE_FALL = 19
};
enum {
  CROSSOVER_RISE = 1,
  CROSSOVER_FALL = 2,
  CROSSOVER_DEEMPH = 4,
  CROSSOVER_VIRTUAL = 8,
  CROSSOVER_2PART = 16
};
enum { Vomo_INTERP_LINEAR, Vomo_INTERP_SINC, Vomo_INTERP_POLY, Vomo_INTERP_NONE };
enum { PATCHK_OK, PATCHK_ZERO, PATCHK_RATIO, PATCHK_RATIO_ZERO };
enum { Vomo_PHASE_ERROR_MEAN, Vomo_PHASE_ERROR_LEAST_SQUARES };
typedef struct VomoWaveform {
  uint32_t ulNumSamples;
  double dSampleInterval;
  float *pfSamples;
  uint32_t ulTrimFront, ulTrimBack;
} VomoWaveform;
typedef struct VomoSparamData {
  uint32_t ulSArrayLength;
  VomoComplexFloat (*pspSArray)[4][4];
  double *pdSfreq;
  double dFLowPass, dPercentToTrim;
  int32_t iFlags;
} VomoSparamData;
typedef struct VomoCrossoverLimits {
  double dMinWidth, dMaxWidth;
  uint32_t ulMinLimit, ulMaxLimit;
} VomoCrossoverLimits;
typedef struct VomoTwoPartCrossover {
  double dBegin, dEnd;
  float fEnterThresh;
  uint32_t ulRunLeft;
  int8_t cLevel;
} VomoTwoPartCrossover;
typedef struct VomoPatDef {
  uint32_t ulPatDefLength;
  const double *pdPatDefCounts;
} VomoPatDef;
typedef struct VomoPatChkData {
  uint32_t ulPatChkCount, ulPatDefCount;
  double dPatRatioMax;
  const VomoPatDef *psPatDefArray;
  double dEdgeDensity;
  uint32_t ePatChkResult;
} VomoPatChkData;
typedef struct VomoCrossoverData {
  uint32_t ulCount;
  double *pdTimes;
  uint8_t *pucFlags;
  VomoTwoPartCrossover *psTwoPartArray;
  uint32_t ulTwoPartCount;
  VomoPatChkData *psPatChkData;
} VomoCrossoverData;
typedef struct VomoGen3CheckData {
  uint8_t ucEnable, ucFirstValue, ucSecondValue, ucBlockCount;
  uint8_t *pucBlocks;
  VomoHandle hBlocks;
} VomoGen3CheckData;
typedef struct VomoJitterPdfRecord {
  double dFirstBinValue, dReserved1, dPDFBinSize;
  uint32_t ulBinCount;
  double *pdPDF;
  uint64_t ulReserved2;
} VomoJitterPdfRecord;
typedef struct VomoJitterQRecord {
  double dFirstBinValue, dReserved1, dPDFBinSize;
  uint32_t ulFitCount;
  uint8_t aucReserved2[20];
  double dLeftLineX0, dLeftLineX1, dRightLineX0, dRightLineX1, dLeftLineY0, dLeftLineY1,
      dRightLineY0, dRightLineY1;
  double *pdQFromRight, *pdQFromLeft;
  uint8_t aucReserved3[8];
} VomoJitterQRecord;
typedef struct VomoNoiseFloorAlgParams {
  float fNumStandardDeviations, fMultFromMedianToIgnore;
  double dNoiseFloorCutoff1, dNoiseFloorCutoff2, dNoiseFreqRange1, dNoiseFreqRange2,
      dNoiseFreqRange3;
} VomoNoiseFloorAlgParams;
typedef struct VomoSSCSquelchParams {
  double dSSC_min_freq, dSSC_max_freq, dSSC_min_fund_mag, dSSC_fund_squelch_range,
      dSSC_squelch_range, dSSC_look_range;
  int32_t iSSC_max_harmonic;
} VomoSSCSquelchParams;
typedef struct VomoComplianceParams VomoComplianceParams;
typedef struct VomoComplianceResults VomoComplianceResults;
enum {
  BRICK_WALL,
  FIRST_ORDER,
  SECOND_ORDER,
  THIRD_ORDER,
  FOURTH_ORDER,
  FIFTH_ORDER,
  SIXTH_ORDER,
  SEVENTH_ORDER
};
enum { OPT_EYE_WIDTH, OPT_EYE_HEIGHT, OPT_EYE_AREA, OPT_EYE_RATIO };
enum { Vomo_FIND_MIN, Vomo_FIND_MAX, Vomo_FIND_AVG };
enum { Vomo_CENTER_MIN, Vomo_RANGE_MAX };
typedef struct VomoFilterParams {
  double dFc, dZ, dFp, dDel;
} VomoFilterParams;
typedef struct VomoCTLEParams {
  float fAdc, fFz, fFp1, fFp2;
} VomoCTLEParams;
typedef struct VomoDFEParams {
  double dUnitInterval;
  float afTapMin[16], afTapMax[16], afDFETapValues[16], afTemplateTapValues[16];
  int32_t iDFETapCount, iDFEComputeTaps, iDFENumStepsUsed;
  float fStepSize;
  int32_t iPtsAboveThresh, iUICount, iRunLength, iStepCnt;
  uint32_t eOptValue, eHeightType;
} VomoDFEParams;
typedef struct VomoTemplate {
  uint32_t ulArrayLength;
  double *adXArray;
  float *afYArray;
  uint32_t *aulIntervalIdxArray;
  double dXMargin;
  float fYMargin;
} VomoTemplate;
typedef struct VomoPassFailInfo {
  float fEyeYMin, fEyeYMax;
  double dEyeXMin, dEyeXMax;
  double adSlopes[24];
} VomoPassFailInfo;
typedef struct VomoTemplateMargins {
  uint16_t usCollectMargins;
  double dMarginBinWidth;
  float afUpperMargin[100], afLowerMargin[100];
  uint32_t ulHighMarginCount;
  float fHighMargin;
  uint32_t ulHighMarginInterval;
  uint32_t ulLowMarginCount;
  float fLowMargin;
  uint32_t ulLowMarginInterval;
  double dMarginX;
  float fHighLevel, fLowLevel;
} VomoTemplateMargins;
typedef struct VomoHistogramData { /* each ulHistogramBins doubles, in the stage's block */
  double *pdFirst, *pdSecond, *pdThird;
} VomoHistogramData;
typedef struct VomoJitterSpectrumRecord {
  uint32_t ulBinCount;
  double dBinSpacing;
  double *pdRawMagnitude, *pdFilteredMagnitude;
  uint32_t ulDiffBinCount;
  double dDiffBinSpacing;
  double *pdDiffMagnitude;
} VomoJitterSpectrumRecord;
typedef struct VomoPatternDDjResult {
  float fPeakPeak;
  uint32_t ulRepeats;
} VomoPatternDDjResult;
typedef struct VomoGen3BaseCompParameters {
  uint32_t ulEIEOSFirst, ulEIEOSLast, ulPS21ShortRun, ulPS21ShortRunMax, ulPS21ShortFirst,
      ulPS21ShortLast, ulPS21LongRun, ulPS21LongFirst, ulPS21LongLast, ulTargetRunMax,
      ulTargetRunLength, ulTargetFirst, ulTargetLast;
  double dTargetFraction;
} VomoGen3BaseCompParameters;
typedef struct VomoGen3Results {
  uint32_t ulPatternRepeats, ulPatternLengthUI, ulPatternRuns;
  float fFOver2Dj;
  float fEIEOSVoltage1, fEIEOSVoltage2;
  uint32_t ulEIEOSFound;
  float fPS21Ratio;
  uint32_t ulPS21Found;
  float fTargetVoltage1, fTargetVoltage2, fTargetVoltage3;
  uint8_t ucTargetFound;
  VomoPatternDDjResult *psPatternDDj;
  double dTj, dDj, dRj;
  VomoCrossoverData *psClock;
  int16_t *psRunLengths;
  uint32_t ulRunLengthCount;
} VomoGen3Results;
struct VomoComplianceParams {
  double dTargetUI, dSettlingTime;
  uint32_t eInterpMethod, eFilterOrder;
  VomoFilterParams sFilterParams;
  int32_t iSSCSquelch;
  const VomoSSCSquelchParams *psSSCSquelchParams;
  VomoNoiseFloorAlgParams sNoiseFloorAlgParams;
  double dBrickFloor;
  VomoCrossoverLimits sCrossoverLimits;
  uint32_t eCrossoverTypes;
  VomoPatChkData *psPatChkData;
  int32_t iCTLEFilterParamsCount;
  const VomoCTLEParams *psCTLEFilterParams;
  int32_t iCTLEUICount;
  uint32_t eCTLEOpt;
  float fCTLEBeginSampleWindow, fCTLEEndSampleWindow;
  int32_t iAllowNoCTLE, iCombineCTLE_DFE_Optimize;
  VomoDFEParams *psDFEFilterParams;
  uint32_t ulMinUIForOfficialTest, ePhaseErrorIntervalType, eVoltageMarginType;
  float fVoltageHistBinSize;
  int32_t iVoltageHistTrimCount;
  double dVoltageHistTrimFactor;
  float fTransitionHighVoltageRail, fTransitionLowVoltageRail;
  VomoTemplate sNonTransTemplate;
  VomoPassFailInfo sNonTransPassFailInfo;
  float fNonTransitionHighVoltageRail, NonTransitionLowVoltageRail;
  VomoTemplate sTransTemplate;
  VomoPassFailInfo sTransPassFailInfo;
  double dEyePlotWrapLeftValue, dEyePlotWrapRightValue;
  uint32_t ulEyeDiagramOffset;
  double dPeakPeakJitterLimit, dTjPeakPeakJitterLimit, dDjDeltaDeltaJitterLimit,
      dRjRMSMaxJitterLimit, dPointsToTrimPercent, dPDFBinSize, dTargetBERQVal, dRjRMSInput;
  uint32_t ulRemoveBinsNumPoints, ulNumPointsToUseInCdfFit, ulHistogramBinSizeUI;
  uint16_t usIndividualPointInfo, usGetJitterHistogramData, usDerateDeemphasisJitter;
  const VomoGen3BaseCompParameters *psGen3BaseCompParameters;
  const VomoSparamData *psSparamData;
  const char *pcParameterDumpFile;
};
struct VomoComplianceResults {
  double dFirstCrossoverTime, dTIEPeakPeak, dPeakPeakJitter;
  uint32_t ulMaxJitterIndex, ulMinJitterIndex, ulFirstValidIndex, ulLastValidIndex, ulFirstIndex,
      ulLastIndex;
  double dTjPeakPeak, dDualDiracLeft, dDualDiracRight, dDjDeltaDelta, dMinCrossoverInterval, dRjRMS,
      dRjStdDev, dUnitInterval;
  uint32_t ulPointsUsed, ulDataIntervalCount;
  int32_t iPLLFilterIndex, iClockDataOffsetUI, iCTLEIndexUsed, iDFEApplied;
  double dEdgeDensity;
  uint32_t ePatChkResult;
  uint32_t ulTransRailViolations;
  float fTransMinVoltage;
  uint32_t ulTransMinIndex;
  float fTransMaxVoltage;
  uint32_t ulTransMaxIndex;
  uint32_t ulNonTransRailViolations;
  float fNonTransMinVoltage;
  uint32_t ulNonTransMinIndex;
  float fNonTransMaxVoltage;
  uint32_t ulNonTransMaxIndex;
  VomoTemplateMargins sTransMargins, sNonTransMargins;
  VomoJitterPdfRecord sJitterPdf;
  VomoJitterQRecord sJitterQ;
  VomoJitterSpectrumRecord sJitterSpectrum;
  VomoGen3CheckData sGen3CheckData;
  VomoGen3Results *psGen3Results;
};
typedef struct VomoDualPortParams {
  double dClockTargetUI, dClockSettlingTime;
  int32_t iClockFilterEnable, iUseClockCrossovers;
  uint32_t eClockCrossoverTypes, ulClockDataOffsetUI;
  int32_t iPLLFilterCount;
  const VomoFilterParams *psPLLFilterParams;
} VomoDualPortParams;
typedef struct VomoDualPortClockResults {
  double dMinCrossoverInterval;
  uint32_t ulIntervalCount;
  double dUnitInterval;
} VomoDualPortClockResults;
typedef struct VomoPreset {
  double dVb, dPreshootDB, dDeemphasisDB;
  uint32_t ulState;
  VomoGen3CheckData sGen3CheckBuf;
  VomoHandle ulClockHandle;
  double dPreshootMax, dPreshootMin, dDeemphasisMax, dDeemphasisMin;
  uint32_t ulDeemphasisRef, ulPreshootRef;
} VomoPreset;
typedef struct VomoLFTestParams {
  int32_t eLFTestType, iBurstCount, iBurstsFound, iFirstEdgeRising, iPolaritySampleOffset,
      iEdgeSearchSamples, iUseTransmitRatio, iMinPeriods, iAveragePeriods, eBurstPolarity;
  uint32_t ulFilterCount;
  uint32_t aulBurstBounds[10];
  float fBurstThreshold, fTrimStart, fTrimEnd, fLowLevelFraction, fHighLevelFraction;
  double dMeanPeriod, dIdleTime, dUnitInterval;
} VomoLFTestParams;
typedef struct VomoLFTestResults {
  double dRiseTimeMax, dFallTimeMax, dPeriodMin, dPeriodMax, dVoltagePPMin, dVoltagePPMax,
      dAmplitudeMin, dAmplitudeMax, dBurstTimeMin, dBurstTimeMax, dRepeatTimeMin, dRepeatTimeMax,
      dDutyCycleMin, dDutyCycleMax, dCommonModeMax, dBitDurationMin, dBitDurationMax,
      dTransmitRatioMin, dTransmitRatioMax, dMinorDurationMin, dMinorDurationMax, dDiffDCMin,
      dDiffDCMax, dPrepareTimeMin, dPrepareTimeMax;
} VomoLFTestResults;

/* ==== Status words and memory ==== */

VOMO_API const char *Vomo_Status_Message(VomoStatus status) VOMO_NOEXCEPT;

VOMO_API VomoHandle Vomo_Handle_and_Memory_Allocate(int32_t iSizeInBytes,
                                                    void **ppMemory) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_HANDLE_FREE(VomoHandle hHandle) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Handle_Free_All(void) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Handles_Initialize(void) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Get_Waveform(uint32_t ulNumSamples, const float *pfSource,
                                      double dSampleInterval, VomoWaveform **ppsWaveform,
                                      VomoHandle *phWaveform) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_CREATE_TIME_DATA(uint32_t ulNumSamples, double dSampleInterval,
                                          double **ppdTime, VomoHandle *phTime) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_ESTIMATE_NUMBER_UI(const VomoWaveform *psWaveform, uint32_t ulBeginIndex,
                                            uint32_t ulEndIndex, double dUnitInterval,
                                            uint32_t *pulNumberUI) VOMO_NOEXCEPT;

/* ==== Arrays ==== */

VOMO_API VomoStatus VomoACCUMULATE_ARRAY(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                         double **ppOut, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoADD_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                 const VomoComplexDouble *pB, uint32_t ulBegin,
                                                 uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                 VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoADD_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                const VomoComplexFloat *pB, uint32_t ulBegin,
                                                uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoSUBTRACT_ARRAYS(const double *pA, const double *pB, uint32_t ulBegin,
                                        uint32_t ulEnd, double **ppOut,
                                        VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoSUBTRACT_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                      const VomoComplexDouble *pB, uint32_t ulBegin,
                                                      uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                      VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoSUBTRACT_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                     const VomoComplexFloat *pB, uint32_t ulBegin,
                                                     uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                     VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                      const VomoComplexDouble *pB, uint32_t ulBegin,
                                                      uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                      VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                     const VomoComplexFloat *pB, uint32_t ulBegin,
                                                     uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                     VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoLOG10_DOUBLE_ARRAY(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                           double **ppOut, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoLOG10_FLOAT_ARRAY(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                          float **ppOut, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE(VomoComplexDouble *pA,
                                                              const VomoComplexDouble *pB,
                                                              uint32_t ulBegin,
                                                              uint32_t ulEnd) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_FLOAT_ARRAY_INPLACE(VomoComplexFloat *pA,
                                                             const VomoComplexFloat *pB,
                                                             uint32_t ulBegin,
                                                             uint32_t ulEnd) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_MEAN_DOUBLE(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                         double *pdMean) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_MEAN_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                        float *pfMean) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_MIN_MAX_DOUBLE(const double *pdSource, uint32_t ulBegin,
                                            uint32_t ulEnd, double *pdMin, uint32_t *pulMinIndex,
                                            double *pdMax, uint32_t *pulMaxIndex) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_MIN_MAX_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                           float *pfMin, uint32_t *pulMinIndex, float *pfMax,
                                           uint32_t *pulMaxIndex) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_STD_DEV_DOUBLE(const double *pdSource, uint32_t ulBegin,
                                            uint32_t ulEnd, double *pdStdDev) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_STD_DEV_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                           float *pfStdDev) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_MEDIAN_DOUBLE(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                       double *pdMedian) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_MEDIAN_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                      float *pfMedian) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGET_MAGNITUDE(const VomoComplexDouble *pComplexSource, uint32_t ulCount,
                                      double **ppdOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* ==== Transforms ==== */

VOMO_API VomoStatus VomoFFT_COMPLEX_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                           uint32_t ulMax, double dStep, VomoComplexDouble **ppOut,
                                           double *pdStep, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFFT_COMPLEX_FLOAT(const VomoComplexFloat *pSource, uint32_t ulMin,
                                          uint32_t ulMax, double dStep, double *pdStep,
                                          VomoComplexFloat **ppOut,
                                          VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoIFFT_COMPLEX_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                            uint32_t ulMax, double dStep, VomoComplexDouble **ppOut,
                                            double *pdStep, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoIFFT_COMPLEX_FLOAT(const VomoComplexFloat *pSource, uint32_t ulMin,
                                           uint32_t ulMax, double dStep, VomoComplexFloat **ppOut,
                                           double *pdStep, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFFT_REAL_DOUBLE(const double *pSource, uint32_t ulMin, uint32_t ulMax,
                                        double dSampleInterval, uint32_t *pulOutCount,
                                        VomoComplexDouble **ppOut, double *pdFrequencyStep,
                                        uint32_t *pulOddFlag, VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoIFFT_REAL_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                         uint32_t ulMax, double dFrequencyStep, uint32_t ulOddFlag,
                                         uint32_t *pulOutCount, double **ppOut, double *pdTimeStep,
                                         VomoHandle *phOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_DFT_OF_WAVEFORM_IN_DB(const VomoWaveform *psWaveform, uint32_t ulMin,
                                               uint32_t ulMax, uint32_t *pulOutCount,
                                               float **ppfOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* ==== Capture files ==== */

VOMO_API VomoStatus Vomo_Read_Text_File(const char *pcFileName, uint32_t ulLinesToSkip,
                                        double dSampleInterval, uint32_t *pulNumSamples,
                                        VomoWaveform **ppsWaveform,
                                        VomoHandle *phWaveform) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Read_Spice_File(const char *pcFileName, const double *pdSampleInterval,
                                         uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                         VomoHandle *phWaveform) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Read_Combined_Spice_File(
    const char *pcFileName, const double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveform1, VomoHandle *phWaveform1, VomoWaveform **ppsWaveform2,
    VomoHandle *phWaveform2) VOMO_NOEXCEPT;

/* ==== Timing: crossovers, clock, intervals, pattern ==== */

VOMO_API VomoStatus Vomo_FIND_CROSSOVERS(const VomoWaveform *psWaveform, uint32_t ulStartIdx,
                                         uint32_t ulStopIdx, double dUnitInterval,
                                         uint32_t eCrossoverTypes,
                                         VomoCrossoverData **ppsCrossovers,
                                         VomoHandle *phCrossovers, double **ppdSlopes,
                                         VomoHandle *phSlopes, double *pdMinInterval) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_FIND_CROSSOVERS_EX(
    const VomoWaveform *psWaveform, float fThreshold, uint32_t ulFilterCount, uint32_t ulStartIdx,
    uint32_t ulStopIdx, double dUnitInterval, uint32_t eCrossoverTypes,
    VomoCrossoverData **ppsCrossovers, VomoHandle *phCrossovers, double **ppdSlopes,
    VomoHandle *phSlopes, double *pdMinInterval) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_FIND_CROSSOVERS_FILT(
    const VomoWaveform *psWaveform, float fThreshold, uint32_t ulFilterCount,
    const VomoCrossoverLimits *psCrossoverLimits, uint32_t ulStartIdx, uint32_t ulStopIdx,
    double dUnitInterval, uint32_t eCrossoverTypes, VomoCrossoverData **ppsCrossovers,
    VomoHandle *phCrossovers, double **ppdSlopes, VomoHandle *phSlopes,
    double *pdMinInterval) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_CONVERT_CROSSOVER_TO_CLOCK(const VomoCrossoverData *psCrossovers,
                                                    uint32_t ulStartIdx, uint32_t ulStopIdx,
                                                    double dUnitInterval,
                                                    const int16_t *psRunLengths,
                                                    VomoCrossoverData **ppsClock,
                                                    VomoHandle *phClock) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_CONVERT_CROSSOVER_TO_INTERVAL(const VomoCrossoverData *psCrossovers,
                                                       uint32_t ulStartIdx, uint32_t ulStopIdx,
                                                       uint32_t *pulIntervalCount,
                                                       double **ppdIntervals,
                                                       VomoHandle *phIntervals) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_FIND_INTERVAL_ERROR(uint32_t ulIntervalCount, const double *pdIntervals,
                                             uint32_t ulStartIdx, uint32_t ulStopIdx,
                                             uint32_t *pulErrorCount, double **ppdErrors,
                                             VomoHandle *phErrors) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_RUN_LENGTHS(const VomoCrossoverData *psCrossovers,
                                         double dUnitInterval, int16_t **ppsRunLengths,
                                         VomoHandle *phRunLengths) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Gen3Check(const VomoCrossoverData *psCrossovers, double dUnitInterval,
                                   VomoGen3CheckData *psGen3Check) VOMO_NOEXCEPT;

/* ==== Jitter statistics ==== */

VOMO_API VomoStatus VomoCREATE_PDF_CDF(const double *pdValues, uint32_t ulValueCount,
                                       double dBinSize, uint32_t ulTrimCount,
                                       double *pdFirstBinValue, uint32_t *pulBinCount,
                                       double **ppdPDF, double **ppdCDFFromRight,
                                       double **ppdCDFFromLeft, VomoHandle *pHandle) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoCREATE_QSCALE_FROM_CDF(const double *pdCDFFromRight,
                                               const double *pdCDFFromLeft, double dBinSize,
                                               double dFirstBinValue, uint32_t ulCount,
                                               double **ppdQFromRight, double **ppdQFromLeft,
                                               VomoHandle *pHandle) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_Find_Linear_Fit(const double *pdX, const double *pdY, uint32_t ulCount,
                                         uint32_t ulFirst, uint32_t ulLast, double *pdSlope,
                                         double *pdIntercept, double *pdGoodness) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIT_CDF(const uint32_t *pulCount, const double *pdQ, double dStep,
                                double dFirstX, double dSlope, double dTargetQ,
                                uint32_t ulNumPoints, double *pdTargetX, double *pdSlopeOut,
                                double *pdInterceptOut) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIT_DUAL_DIRAC(const double *pdJitter, uint32_t ulCount,
                                       uint32_t ulTrimCount, VomoComplianceParams sParameters,
                                       double *pdRjRMS, VomoComplianceResults *psResults,
                                       double *pdDj, double *pdTj) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_NOISE_FLOOR(const VomoComplexDouble *pcSpectrum, uint32_t ulCount,
                                         VomoNoiseFloorAlgParams sNoiseFloorAlgParams,
                                         double dTimeStep, double **ppdFloor,
                                         VomoHandle *pHandle) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(const VomoComplexDouble *pcSpectrum,
                                                      const double *pdFloor, uint32_t ulCount,
                                                      double dFloorOffset,
                                                      VomoComplexDouble **ppcResult,
                                                      VomoHandle *pHandle) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoFIND_POSITIVE_AND_NEGATIVE_VALUES(
    const double *pdValues, uint32_t ulFirst, uint32_t ulLast, uint32_t *pulPositiveCount,
    double **ppdPositive, uint32_t *pulNegativeCount, double **ppdNegative,
    VomoHandle *pHandle) VOMO_NOEXCEPT;

/* ==== Filter generators ==== */

VOMO_API VomoStatus VomoGENERATE_FIRST_ORDER_FILTER(double dDeltaF, uint32_t ulCount,
                                                    int32_t iHighPass, double dFc,
                                                    VomoComplexDouble **ppsFilter,
                                                    VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGENERATE_SECOND_ORDER_FILTER(double dDeltaF, uint32_t ulCount,
                                                     int32_t iHighPass, double dFc, double dZ,
                                                     VomoComplexDouble **ppsFilter,
                                                     VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGENERATE_SECOND_ORDER_H3_FILTER(double dDeltaF, uint32_t ulCount,
                                                        double dFc, float fZ,
                                                        VomoComplexDouble **ppsFilter,
                                                        VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGENERATE_PLL_FILTER(double dDeltaF, uint32_t ulCount, double dFc, float fZ,
                                            VomoComplexDouble **ppsFilter,
                                            VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGENERATE_PLL_FILTER_WITH_DELAY(double dDeltaF, uint32_t ulCount, double dFc,
                                                       float fZ, float fDel,
                                                       VomoComplexDouble **ppsFilter,
                                                       VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGENERATE_SIMPLE_FILTER(double dDeltaF, uint32_t ulCount, int32_t iHighPass,
                                               uint32_t eFilterOrder, float fBrickFloor, double dFc,
                                               float fZ, VomoComplexDouble **ppsFilter,
                                               VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoGENERATE_CLOCK_ANALYSIS_FILTER(double dDeltaF, uint32_t ulCount, double dFc,
                                                       float fZ, VomoComplexDouble **ppsFilter,
                                                       VomoHandle *phFilter) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoADD_PLL_FILTER_DELAY(const VomoComplexDouble *psFilter, double dDeltaF,
                                             uint32_t ulCount, float fDel,
                                             VomoComplexDouble **ppsFilter,
                                             VomoHandle *phFilter) VOMO_NOEXCEPT;

/* ==== Compliance drivers ==== */

VOMO_API VomoStatus Vomo_GENERAL_COMPLIANCE(VomoWaveform *psWaveform, VomoWaveform *psComplement,
                                            VomoComplianceParams sParameters,
                                            VomoComplianceResults *psResults, void *pvPassThrough,
                                            uint8_t **ppbyPointStatus, VomoTemplate *psPlots,
                                            VomoTemplate *psTransPlots,
                                            VomoHistogramData *psHistogramData, VomoHandle *pHandle,
                                            uint32_t *pulJitterCount, double **ppdJitter,
                                            VomoHandle *phJitter) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_GENERAL_COMPLIANCE_NO_EYE(VomoWaveform *psWaveform,
                                                   VomoWaveform *psComplement,
                                                   VomoComplianceParams sParameters,
                                                   VomoComplianceResults *psResults,
                                                   void *pvPassThrough) VOMO_NOEXCEPT;

VOMO_API VomoStatus Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
    const double *pdSequence, uint32_t ulCount, VomoComplianceParams sParameters,
    VomoComplianceResults *psResults, uint32_t *pulCount, double **ppdSequence,
    VomoHandle *phSequence) VOMO_NOEXCEPT;

/* ==== Transmitter measurements ==== */

VOMO_API int32_t Meas_Tx_Dj_FOver2(const double *pdTimes, const uint16_t *pusRunLengths,
                                   uint32_t ulOffset, uint32_t ulCount, uint16_t usRunLength,
                                   float *pfDj, float *pfEvenMean, float *pfOddMean,
                                   float *pfMean) VOMO_NOEXCEPT;

VOMO_API VomoStatus VomoF_OVER2_Dj(const VomoCrossoverData *psClock, uint32_t ulFirst,
                                   uint32_t ulLast, const uint16_t *pusRunLengths,
                                   float *pfDj) VOMO_NOEXCEPT;

VOMO_API int32_t Modify_Dj_FOver2_Inplace_AllUIFrontTimes(double *pdTimes, uint32_t ulCount,
                                                          float fDj) VOMO_NOEXCEPT;

VOMO_API int32_t Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(double *pdTimes,
                                                      const uint16_t *pusRunLengths,
                                                      uint32_t ulOffset, uint32_t ulCount,
                                                      uint16_t usRunLength,
                                                      float fDj) VOMO_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
