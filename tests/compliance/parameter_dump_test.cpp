#include "compliance/parameter_dump.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

class ParameterDump : public testing::Test {
 protected:
  ParameterDump() : path_(testing::TempDir() + "vomo_parameter_dump_test.txt") {
    std::filesystem::remove(path_);
    parameters_.pcParameterDumpFile = path_.c_str();
  }
  ~ParameterDump() override { std::filesystem::remove(path_); }

  std::string Dump() {
    std::filesystem::remove(path_);
    vomo::Vomo_DumpParameters(parameters_);
    return Text();
  }
  std::string Text() const {
    std::ifstream file(path_);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
  }
  // The lines of the dump that hold the word.
  std::vector<std::string> Lines(const std::string &word) {
    std::istringstream text(Dump());
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
      if (line.find(word) != std::string::npos) lines.push_back(line);
    }
    return lines;
  }

  std::string path_;
  VomoComplianceParams parameters_{};
};

using Texts = std::vector<std::string>;

TEST_F(ParameterDump, WholeRecordToTheLetter) {
  VomoSSCSquelchParams squelch{30e3, 33e3, 0.5, 1e3, 2e3, 3e3, 9};
  const double counts[] = {0, 0.125, 16384};
  const VomoPatDef definitions[] = {{2, counts}, {0, counts}};
  VomoPatChkData check{7, 2, 0.1, definitions, 0.5, 2};
  VomoDFEParams dfe{};
  dfe.dUnitInterval = 125e-12;
  dfe.iDFETapCount = 2;
  dfe.afTapMin[0] = -0.1f;
  dfe.afTapMax[1] = 0.25f;
  dfe.iStepCnt = -3;
  dfe.eOptValue = OPT_EYE_AREA;
  dfe.eHeightType = 7;
  double x[] = {0.1, 0.9};
  float y[] = {0.1f, -0.25f};
  uint32_t index[] = {11, 12};
  VomoComplianceParams &p = parameters_;
  p.dTargetUI = 1.25e-10;
  p.eInterpMethod = Vomo_INTERP_POLY;
  p.eFilterOrder = 9;
  p.sFilterParams = {1e6, 0.707, 3, 4e-9};
  p.iSSCSquelch = -1;
  p.psSSCSquelchParams = &squelch;
  p.sNoiseFloorAlgParams = {3.1f, 5.1f, 1e6, 2e6, 3e6, 4e6, 5e6};
  p.eCrossoverTypes = 17;
  p.psPatChkData = &check;
  p.psDFEFilterParams = &dfe;
  p.eVoltageMarginType = 1;
  p.NonTransitionLowVoltageRail = -0.6f;
  p.sNonTransTemplate = {2, x, y, index, 0.02, 0.05f};
  p.sTransTemplate = {2, x, y, nullptr, 0, 0};
  p.sTransPassFailInfo.adSlopes[5] = 1.0 / 3;
  p.dDjDeltaDeltaJitterLimit = 3e-12;
  p.dTargetBERQVal = -7.034484;
  p.usIndividualPointInfo = 1;
  EXPECT_EQ(Dump(),
            "dTargetUI = 1.25e-10\n"
            "dSettlingTime = 0\n"
            "eInterpMethod = Vomo_INTERP_POLY\n"
            "eFilterOrder = UNKNOWN (9)\n"
            "sFilterParams.dFc = 1000000\n"
            "ssFilterParams.dZ = 0.707\n"
            "sFilterParams.dFp = 3\n"
            "sFilterParams.dDel = 4e-09\n"
            "iSSCSquelch = -1\n"
            "psSSCSquelchParams->dSSC_min_freq = 30000\n"
            "psSSCSquelchParams->->dSSC_max_freq = 33000\n"
            "psSSCSquelchParams->dSSC_min_fund_mag = 0.5\n"
            "psSSCSquelchParams->dSSC_fund_squelch_range = 1000\n"
            "psSSCSquelchParams->dSSC_squelch_range = 2000\n"
            "psSSCSquelchParams->dSSC_look_range = 3000\n"
            "psSSCSquelchParams->iSSC_max_harmonic = 9\n"
            "sNoiseFloorAlgParams.fNumStandardDeviations = 3.1\n"
            "sNoiseFloorAlgParams.fMultFromMedianToIgnore = 5.099999904633\n"
            "sNoiseFloorAlgParams.dNoiseFloorCutoff1 = 1000000\n"
            "sNoiseFloorAlgParams.dNoiseFloorCutoff2 = 2000000\n"
            "sNoiseFloorAlgParams.dNoiseFreqRange1 = 3000000\n"
            "sNoiseFloorAlgParams.dNoiseFreqRange2 = 4000000\n"
            "sNoiseFloorAlgParams.dNoiseFreqRange3 = 5000000\n"
            "dBrickFloor = 0\n"
            "sCrossoverLimits.dMinWidth = 0\n"
            "sCrossoverLimits.dMaxWidth = 0\n"
            "sCrossoverLimits.ulMinLimit = 0\n"
            "sCrossoverLimits.ulMaxLimit = 0\n"
            "eCrossoverTypes = Vomo_CROSSOVER_2PART_RISING\n"
            "psPatChkData->ulPatChkCount = 7\n"
            "psPatChkData->ulPatDefCount = 2\n"
            "psPatChkData->dPatRatioMax = 0.1\n"
            "psPatChkData->psPatDefArray[0].ulPatDefLength = 2\n"
            "\t     0\t 0.125\t1.638e+04\n"
            "psPatChkData->psPatDefArray[1].ulPatDefLength = 0\n"
            "\t     0\n"
            "psPatChkData->dEdgeDensity =    0.5\n"
            "psPatChkData->ePatChkResult = PATCHK_RATIO\n"
            "iCTLEFilterParamsCount = 0\n"
            "psCTLEFilterParams-> = NULL\n"
            "iCTLEUICount = 0\n"
            "eCTLEOpt = OPT_EYE_WIDTH\n"
            "fCTLEBeginSampleWindow = 0\n"
            "fCTLEEndSampleWindow = 0\n"
            "iAllowNoCTLE = 0\n"
            "iCombineCTLE_DFE_Optimize = 0\n"
            "psDFEFilterParams->iDFETapCount = 2\n"
            "psDFEFilterParams->dUnitInterval = 1.25e-10\n"
            "psDFEFilterParams->afTapMin = [-0.1, 0]\n"
            "psDFEFilterParams->afTapMax = [0, 0.25]\n"
            "psDFEFilterParams->afDFETapValues = [0, 0]\n"
            "psDFEFilterParams->afTemplateTapValues = [0, 0]\n"
            "psDFEFilterParams->iDFEComputeTaps = 0\n"
            "psDFEFilterParams->iDFENumStepsUsed = 0\n"
            "psDFEFilterParams->fStepSize = 0\n"
            "psDFEFilterParams->iPtsAboveThresh = 0\n"
            "psDFEFilterParams->iUICount = 0\n"
            "psDFEFilterParams->iRunLength = 0\n"
            "psDFEFilterParams->iStepCnt = -3\n"
            "psDFEFilterParams->eOptValue = OPT_EYE_AREA\n"
            "psDFEFilterParams->eHeightType = UNKNOWN (7)\n"
            "ulMinUIForOfficialTest = 0\n"
            "ePhaseErrorIntervalType = Vomo_PHASE_ERROR_MEAN\n"
            "eVoltageMarginType = Vomo_RANGE_MAX\n"
            "fVoltageHistBinSize = 0\n"
            "iVoltageHistTrimCount = 0\n"
            "dVoltageHistTrimFactor = 0\n"
            "fTransitionHighVoltageRail = 0\n"
            "fTransitionLowVoltageRail = 0\n"
            "sNonTransTemplate.ulArrayLength = 2\n"
            "\t0.1, 0.1 (11)\t0.9, -0.25 (12)\n"
            "sNonTransTemplate.dXMargin = 0.02\n"
            "sNonTransTemplate.fYMargin = 0.05\n"
            "sNonTransPassFailInfo.fEyeYMin = 0\n"
            "sNonTransPassFailInfo.fEyeYMax = 0\n"
            "sNonTransPassFailInfo.dEyeXMin = 0\n"
            "sNonTransPassFailInfo.dEyeXMax = 0\n"
            "sNonTransPassFailInfo.adSlopes\t0\t0\t0\t0\t0\t0\n"
            "fNonTransitionHighVoltageRail = 0\n"
            "NonTransitionLowVoltageRail = -0.6\n"
            "sTransTemplate.ulArrayLength = 2\n"
            "sTransTemplate.aulIntervalIdxArray = NULL\n"
            "\t0.1, 0.1\t0.9, -0.25\n"
            "sTransTemplate.dXMargin = 0\n"
            "sTransTemplate.fYMargin = 0\n"
            "sTransPassFailInfo.fEyeYMin = 0\n"
            "sTransPassFailInfo.fEyeYMax = 0\n"
            "sTransPassFailInfo.dEyeXMin = 0\n"
            "sTransPassFailInfo.dEyeXMax = 0\n"
            "sTransPassFailInfo.adSlopes\t0\t0\t0\t0\t0\t0.3333333333333\n"
            "dEyePlotWrapLeftValue = 0\n"
            "dEyePlotWrapRightValue = 0\n"
            "ulEyeDiagramOffset = 0\n"
            "dPeakPeakJitterLimit = 0\n"
            "dTjPeakPeakJitterLimit = 0\n"
            "dDjDeltaDeltaJitterLimit = 3e-12\n"
            "dDjDeltaDeltaJitterLimit = 3e-12\n"
            "dRjRMSMaxJitterLimit = 0\n"
            "dPointsToTrimPercent = 0\n"
            "dPDFBinSize = 0\n"
            "dTargetBERQVal = -7.034484\n"
            "dRjRMSInput = 0\n"
            "ulRemoveBinsNumPoints = 0\n"
            "ulNumPointsToUseInCdfFit = 0\n"
            "ulHistogramBinSizeUI = 0\n"
            "usIndividualPointInfo = 1\n"
            "usGetJitterHistogramData = 0\n"
            "usDerateDeemphasisJitter = 0\n"
            "psGen3BaseCompParameters-> = NULL\n"
            "psSparamData-> = NULL\n");
}

TEST_F(ParameterDump, CtleFamilyByItsCount) {
  const VomoCTLEParams family[] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
  parameters_.psCTLEFilterParams = family;
  for (const int32_t count : {-5, 0, 1}) {
    parameters_.iCTLEFilterParamsCount = count;
    EXPECT_EQ(Lines("fAdc"), (Texts{"psCTLEFilterParams->fAdc = 1"})) << count;
  }
  parameters_.iCTLEFilterParamsCount = 2;
  EXPECT_EQ(Lines("fFp2"),
            (Texts{"psCTLEFilterParams[0].fFp2 = 4", "psCTLEFilterParams[1].fFp2 = 8"}));
  parameters_.psCTLEFilterParams = nullptr;
  EXPECT_EQ(Lines("psCTLE"), (Texts{"psCTLEFilterParams-> = NULL"}));
}

TEST_F(ParameterDump, FourPortMatricesStandOneBesideTheirFrequency) {
  VomoComplexFloat matrices[3][4][4] = {};
  matrices[0][0][1] = {0.5f, -0.25f};
  matrices[1][3][3] = {2, 0};
  double frequencies[] = {0, 10e6, 20e6, 30e6};
  VomoSparamData data{3, matrices, frequencies, 1e9, 0.1, -1};
  parameters_.psSparamData = &data;
  EXPECT_EQ(Lines("pdSfreq"),
            (Texts{"psSparamData->pdSfreq[0] = 0", "psSparamData->pdSfreq[1] = 10000000",
                   "psSparamData->pdSfreq[2] = 20000000"}));
  const Texts rows = Lines("pspSArray");
  ASSERT_EQ(rows.size(), 8u);
  EXPECT_EQ(
      rows[0],
      "\tpsSparamData->pspSArray[1][0][0] = (0, 0), \tpsSparamData->pspSArray[1][0][1] = (0.5, "
      "-0.25), "
      "\tpsSparamData->pspSArray[1][0][2] = (0, 0), \tpsSparamData->pspSArray[1][0][3] = (0, 0), ");
  EXPECT_NE(rows[7].find("pspSArray[2][3][3] = (2, 0), "), std::string::npos);
  EXPECT_EQ(Lines("iFlags"), (Texts{"psSparamData->iFlags = 0xFFFFFFFF"}));
  data.ulSArrayLength = 1;
  EXPECT_EQ(Lines("pdSfreq").size(), 2u);
  EXPECT_EQ(Lines("pspSArray").size(), 4u);
  data.pspSArray = nullptr;
  data.pdSfreq = nullptr;
  EXPECT_EQ(Lines("pspSArray"), (Texts{"pspSArray = NULL"}));
  EXPECT_EQ(Lines("pdSfreq"), (Texts{"psSparamData->pdSfreq = NULL"}));
  data.ulSArrayLength = 0;
  EXPECT_TRUE(Lines("pspSArray").empty());
}

TEST_F(ParameterDump, LimitsWhatItPrints) {
  std::vector<double> x(20, 0.5);
  std::vector<float> y(20, 0.25f);
  parameters_.sTransTemplate = {20, x.data(), y.data(), nullptr, 0, 0};
  EXPECT_EQ(Lines("sTransTemplate.ulArrayLength"), (Texts{"sTransTemplate.ulArrayLength = 20"}));
  EXPECT_EQ(Lines("0.5, 0.25")[0].size(), 16 * std::string("\t0.5, 0.25").size());
  parameters_.sTransTemplate.afYArray = nullptr;
  EXPECT_TRUE(Lines("0.5, 0.25").empty());
  VomoDFEParams dfe{};
  parameters_.psDFEFilterParams = &dfe;
  dfe.iDFETapCount = -1;
  EXPECT_EQ(Lines("afTapMin"), (Texts{"psDFEFilterParams->afTapMin = []"}));
  dfe.iDFETapCount = 1000;
  EXPECT_EQ(Lines("afTapMax")[0].size(),
            std::string("psDFEFilterParams->afTapMax = []").size() + 16 + 30);
  parameters_.eCrossoverTypes = 0xFFFFFFFFu;
  EXPECT_EQ(Lines("eCrossoverTypes"), (Texts{"eCrossoverTypes = UNKNOWN (-1)"}));
}

TEST_F(ParameterDump, AppendsAndNeverFails) {
  const std::string once = Dump();
  vomo::Vomo_DumpParameters(parameters_);
  EXPECT_EQ(Text(), once + once);
  parameters_.pcParameterDumpFile = nullptr;
  vomo::Vomo_DumpParameters(parameters_);
  parameters_.pcParameterDumpFile = "/nonexistent/folder/dump.txt";
  vomo::Vomo_DumpParameters(parameters_);
  EXPECT_EQ(Text(), once + once);
}

}  // namespace
