#include "settings.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <regex>

#include "engineering.h"
#include "failure.h"
#include "run_records.h"

namespace app {
namespace {

SettingsRequest Request(std::vector<std::string> assignments) {
  SettingsRequest request;
  request.rate = 8e9;
  request.assignments = std::move(assignments);
  return request;
}

TEST(Settings, RefusalsNameTheKeyAndWhatWasExpected) {
  const struct {
    const char *assignment;
    const char *message;  // regular expression
  } cases[] = {
      {"dTargetUI=abc", "dTargetUI: .*number above 0.*\\(s\\).*\"abc\""},
      {"dTargetUI=0", "dTargetUI: .*above 0.*found 0"},
      {"dTargetUI=true", "dTargetUI: .*found true"},
      {"dTargetUI=[1e-10]", "dTargetUI: .*number"},
      {"dTargetUi=1e-10", "unknown setting dTargetUi"},
      {"sFilterParams.dFcc=1", "unknown setting sFilterParams\\.dFcc"},
      {"sFilterParams=5", "sFilterParams: .*an object.*found 5"},
      {"sFilterParams.dFc=-1", "sFilterParams\\.dFc: .*above 0.*\\(Hz\\)"},
      {"eFilterOrder=NINTH_ORDER", "eFilterOrder: .*BRICK_WALL, FIRST_ORDER.*NINTH_ORDER"},
      {"eFilterOrder=8", "eFilterOrder: .*SEVENTH_ORDER.*found 8"},
      {"ulMinUIForOfficialTest=1.5",
       "ulMinUIForOfficialTest: .*whole number from 0 up to 4294967295"},
      {"ulMinUIForOfficialTest=4294967296", "ulMinUIForOfficialTest: .*found 4294967296"},
      {"ulRemoveBinsNumPoints=-1", "ulRemoveBinsNumPoints: .*from 0"},
      {"iVoltageHistTrimCount=-2147483649", "iVoltageHistTrimCount: .*from -2147483648"},
      {"usIndividualPointInfo=65536", "usIndividualPointInfo: .*65535"},
      {"fVoltageHistBinSize=1e39", "fVoltageHistBinSize"},
      {"dPointsToTrimPercent=0.5", "dPointsToTrimPercent: .*up to 0\\.49"},
      {"sTransTemplate.adXArray=[0.2,0.8]", "sTransTemplate\\.afYArray: .*\\(2\\), found 6"},
      {"sTransTemplate={\"adXArray\":[0.2,0.8],\"afYArray\":[0,0]}",
       "sTransTemplate: .*3 to 24 vertices, found 2"},
      // A diamond from the left by its bottom.
      {"sNonTransTemplate={\"adXArray\":[0.2,0.5,0.8,0.5],\"afYArray\":[0,-0.1,0,0.1]}",
       "sNonTransTemplate: .*turns left at vertex 1"},
      {"sTransTemplate.adXArray=[0.2,\"a\",0,0,0,0]", "sTransTemplate\\.adXArray\\[1\\]: .*\"a\""},
      {"psCTLEFilterParams=[{\"fAdc\":0.5}]", "psCTLEFilterParams\\[0\\]\\.fFz: .*above 0"},
      {"psDFEFilterParams={\"iDFETapCount\":1}", "psDFEFilterParams\\.dUnitInterval: .*above 0"},
      {"psDFEFilterParams.afTapMin=[1,2]", "afTapMin: .*list of 16"},
      {"psPatChkData.psPatDefArray=[{\"pdPatDefCounts\":[]}]", "psPatDefArray\\[0\\]\\.pdPat"},
      {"psGen3BaseCompParameters={\"ulEIEOSFirst\":1}", "ulPS21ShortRun: .*found 0"},
      {"pcParameterDumpFile=5", "pcParameterDumpFile: .*a text"},
      {"dTargetUI", "KEY=VALUE"},
      {"=1", "KEY=VALUE"},
  };
  for (const auto &[assignment, message] : cases) {
    try {
      ResolveSettings(Request({assignment}));
      ADD_FAILURE() << assignment << " was accepted";
    } catch (const Failure &failure) {
      EXPECT_EQ(failure.code(), ExitCode::kWrongUsage);
      EXPECT_TRUE(std::regex_search(failure.what(), std::regex(message)))
          << assignment << ": " << failure.what();
    }
  }
}

TEST(Settings, AssignmentsReachTheRecord) {
  const RunSettings settings(ResolveSettings(Request({
      "dTargetUI=125.5e-12",
      "eFilterOrder=SECOND_ORDER",
      "ePhaseErrorIntervalType=1",
      "sFilterParams.dFc=10e6",
      "sNoiseFloorAlgParams.fNumStandardDeviations=2.5",
      "ulRemoveBinsNumPoints=4294967295",
      "iVoltageHistTrimCount=-7",
      "usDerateDeemphasisJitter=65535",
      "sTransTemplate={\"adXArray\":[0.25,0.5,0.75,0.5],\"afYArray\":[0,0.1,0,-0.1]}",
      "psCTLEFilterParams=[{\"fAdc\":0.5,\"fFz\":1e9,\"fFp1\":2e9,\"fFp2\":8e9},"
      "{\"fAdc\":0.7,\"fFz\":2e9,\"fFp1\":4e9,\"fFp2\":8e9}]",
      "psDFEFilterParams={\"dUnitInterval\":125e-12,\"iDFETapCount\":2}",
      "psPatChkData={\"psPatDefArray\":[{\"pdPatDefCounts\":[0,1,2]},{\"pdPatDefCounts\":[7]}]}",
      "pcParameterDumpFile=run.txt",
  })));
  const VomoComplianceParams &params = settings.params();
  EXPECT_EQ(params.dTargetUI, 125.5e-12);
  EXPECT_EQ(params.eFilterOrder, static_cast<uint32_t>(SECOND_ORDER));
  EXPECT_EQ(params.ePhaseErrorIntervalType, static_cast<uint32_t>(Vomo_PHASE_ERROR_LEAST_SQUARES));
  EXPECT_EQ(params.sFilterParams.dFc, 10e6);
  EXPECT_EQ(params.sFilterParams.dZ, 0.707);  // what isn't named stays as the built-in set has it
  EXPECT_EQ(params.sNoiseFloorAlgParams.fNumStandardDeviations, 2.5f);
  EXPECT_EQ(params.ulRemoveBinsNumPoints, 0xFFFFFFFFu);
  EXPECT_EQ(params.iVoltageHistTrimCount, -7);
  EXPECT_EQ(params.usDerateDeemphasisJitter, 65535);
  ASSERT_EQ(params.sTransTemplate.ulArrayLength, 4u);
  EXPECT_EQ(params.sTransTemplate.adXArray[2], 0.75);
  EXPECT_EQ(params.sTransTemplate.afYArray[3], -0.1f);
  EXPECT_EQ(params.sNonTransTemplate.ulArrayLength, 6u);
  ASSERT_EQ(params.iCTLEFilterParamsCount, 2);
  EXPECT_EQ(params.psCTLEFilterParams[0].fAdc, 0.5f);
  EXPECT_EQ(params.psCTLEFilterParams[1].fFp1, 4e9f);
  EXPECT_EQ(params.psDFEFilterParams->iDFETapCount, 2);
  ASSERT_EQ(params.psPatChkData->ulPatDefCount, 2u);
  EXPECT_EQ(params.psPatChkData->psPatDefArray[0].ulPatDefLength, 2u);
  EXPECT_EQ(params.psPatChkData->psPatDefArray[0].pdPatDefCounts[2], 2);
  EXPECT_EQ(params.psPatChkData->psPatDefArray[1].ulPatDefLength, 0u);
  EXPECT_EQ(params.psPatChkData->dPatRatioMax, 0.1);
  EXPECT_STREQ(params.pcParameterDumpFile, "run.txt");
}

TEST(Settings, APrintedSetIsReadBackUnchanged) {
  const std::string path = testing::TempDir() + "vomo_settings_test.json";
  for (const double rate : {2.5e9, 5e9, 8e9}) {
    const Json document = BuiltInSettings(rate);
    std::ofstream(path) << "// a comment may stand here\n" << document.dump(2);
    SettingsRequest request;  // the rate follows from the file's dTargetUI
    request.file = path;
    EXPECT_EQ(ResolveSettings(request), document);
    EXPECT_EQ(document["dTargetUI"].get<double>(), 1 / rate);
  }
  // A file may hold a part of the fields, single fields go on top of it, null takes a record away.
  std::ofstream(path) << R"({"dTargetUI": 2e-10, "sFilterParams": {"dFc": 1e6}})";
  SettingsRequest request;
  request.file = path;
  request.assignments = {"sFilterParams.dFc=2e6", "psPatChkData=null"};
  const Json document = ResolveSettings(request);
  EXPECT_EQ(document["sFilterParams"]["dFc"], 2e6);
  EXPECT_EQ(document["ulMinUIForOfficialTest"], BuiltInSettings(5e9)["ulMinUIForOfficialTest"]);
  EXPECT_TRUE(document["psPatChkData"].is_null());
  std::filesystem::remove(path);
}

TEST(RecordFields, ResultsBecomeJsonWithUnits) {
  VomoComplianceResults results = {};
  double curve[] = {0.25, std::numeric_limits<double>::infinity(), -1};
  results.dRjRMS = 1.5e-12;
  results.dTjPeakPeak = std::nan("");
  results.fTransMaxVoltage = 0.1f;
  results.ePatChkResult = PATCHK_RATIO;
  results.sJitterQ.ulFitCount = 3;
  results.sJitterQ.pdQFromLeft = curve;
  const Json json = RecordToJson(kComplianceResultsType, &results);
  EXPECT_EQ(json["dRjRMS"], 1.5e-12);
  EXPECT_TRUE(json["dTjPeakPeak"].is_null());
  EXPECT_EQ(json["fTransMaxVoltage"].dump(), "0.1");  // a float's own digits
  EXPECT_EQ(json["ePatChkResult"], "PATCHK_RATIO");
  EXPECT_EQ(json["sJitterQ"]["pdQFromLeft"].dump(), "[0.25,null,-1.0]");
  EXPECT_TRUE(json["sJitterQ"]["pdQFromRight"].is_null());
  EXPECT_EQ(json["sTransMargins"]["afUpperMargin"].size(), 100u);
  EXPECT_TRUE(json["psGen3Results"].is_null());
  const Json units = RecordUnits(kComplianceResultsType);
  EXPECT_EQ(units["dRjRMS"], "s");
  EXPECT_EQ(units["sJitterSpectrum"]["dBinSpacing"], "Hz");
  EXPECT_FALSE(units.contains("ulPointsUsed"));
}

TEST(Engineering, DigitsAndPrefixes) {
  const struct {
    double value;
    const char *unit;
    int digits;
    const char *text;
  } cases[] = {
      {1.25e-10, "s", 4, "125.0 ps"},
      {9.9996e-10, "s", 4, "1.000 ns"},
      {-4.2e-15, "s", 4, "-4.200 fs"},
      {0, "s", 4, "0.000 s"},
      {8.0000008e9, "bit/s", 7, "8.000001 Gbit/s"},
      {0.4, "V", 4, "400.0 mV"},
      {123.456, "ppm", 4, "123.5 ppm"},
      {0.503937, "1/UI", 4, "0.5039 1/UI"},
      {3e-20, "s", 4, "0.03000 as"},
      {std::nan(""), "s", 4, "none"},
  };
  for (const auto &[value, unit, digits, text] : cases) {
    EXPECT_EQ(Engineering(value, unit, digits), text);
  }
}

}  // namespace
}  // namespace app
