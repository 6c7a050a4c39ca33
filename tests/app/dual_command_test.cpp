#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using app_test::Contents;
using app_test::Outcome;
using app_test::Program;
using Json = nlohmann::json;

class Dual : public Program {
 protected:
  // 8 Gb/s data with a sinusoid of 10 ps, and a clock of 100 MHz that has a part of it.
  void MakeCaptures(const std::string &shared) {
    const Outcome outcome = Run({"synth",
                                 Path("data.bin"),
                                 "--format",
                                 "bin",
                                 "--ui",
                                 "100000",
                                 "--samples-per-ui",
                                 "8",
                                 "--rj-rms",
                                 "0.3e-12",
                                 "--sj-amplitude",
                                 "10e-12",
                                 "--sj-frequency",
                                 "8e6",
                                 "--clock",
                                 Path("clock.bin"),
                                 "--clock-shared",
                                 shared,
                                 "--clock-rj-rms",
                                 "0.1e-12"});
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  }
  Json Measure(const std::vector<std::string> &more = {}) {
    std::vector<std::string> arguments = {"dual", Path("data.bin"), Path("clock.bin"), "--rate",
                                          "8e9",  "--json",         Path("json")};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    EXPECT_LE(outcome.exit_code, 1) << outcome.err;
    table_ = outcome.out;
    return Json::parse(Contents(Path("json")));
  }
  std::string table_;
};

TEST_F(Dual, WhatTheClockSharesCancels) {
  // A loop of 400 MHz passes all of the tone. Trials 0 and aligned: data and clock begin within a
  // period of the clock, at most 80 UI, which turns the tone's phase by at most 0.5 rad.
  const std::vector<std::string> wide = {"--set",
                                         "sDualPort.psPLLFilterParams=[{\"dFc\":4e8,\"dZ\":2}]",
                                         "--set", "sDualPort.ulClockDataOffsetUI=0"};
  MakeCaptures("0");
  const double alone = Measure(wide)["results"]["dPeakPeakJitter"];
  MakeCaptures("1");
  const double shared = Measure(wide)["results"]["dPeakPeakJitter"];
  // The high pass at 4.8 MHz leaves 0.857 of the tone at 8 MHz. Noise adds five deviations of both
  // on either side.
  const double tone = 0.857 * 20e-12, noise = 10 * 0.4e-12;
  EXPECT_NEAR(alone, tone, noise);
  EXPECT_LT(shared, 0.5 * tone + noise);
}

TEST_F(Dual, TableJsonAndTruthAgree) {
  MakeCaptures("0.5");
  const Json truth = Json::parse(Contents(Path("data.bin.truth.json")));
  EXPECT_EQ(truth["clock"]["shared"], 0.5);
  const Json clock_truth = Json::parse(Contents(Path("clock.bin.truth.json")));
  EXPECT_EQ(clock_truth["parameters"]["sj_amplitude"]["value"], 5e-12);
  const Json json = Measure();
  EXPECT_EQ(json["schema"], "vomo.dual");
  ASSERT_EQ(json["trials"].size(), 12u);
  int worst = 0;
  for (const Json &trial : json["trials"]) {
    EXPECT_LE(trial["dTjPeakPeak"], json["results"]["dTjPeakPeak"]);
    if (!trial["worst"]) continue;
    ++worst;
    EXPECT_EQ(trial["dTjPeakPeak"], json["results"]["dTjPeakPeak"]);
    EXPECT_EQ(trial["iPLLFilterIndex"], json["results"]["iPLLFilterIndex"]);
  }
  EXPECT_EQ(worst, 1);
  EXPECT_NEAR(json["clock_results"]["dUnitInterval"], 125e-12, 1e-15);
  EXPECT_NE(table_.find("clock ahead by 96 UI"), std::string::npos);
  EXPECT_NE(table_.find("  worst\n"), std::string::npos);
}

TEST_F(Dual, ADumpRepeatsTheRun) {
  MakeCaptures("1");
  const std::vector<std::string> changed = {
      "--set",
      "dPDFBinSize=1e-13",
      "--set",
      "eFilterOrder=SECOND_ORDER",
      "--set",
      "sTransTemplate={\"adXArray\":[0.25,0.5,0.75],\"afYArray\":[0,0.1,-0.1]}",
      "--set",
      "psSSCSquelchParams={\"iSSC_max_harmonic\":3}",
      "--set",
      "psPatChkData.psPatDefArray=[{\"pdPatDefCounts\":[0,0.5]},"
      "{\"pdPatDefCounts\":[1]}]",
      "--set",
      "psCTLEFilterParams=null"};
  // Records are appended: the last one counts.
  Measure({"--dump", Path("dump")});
  std::vector<std::string> arguments = changed;
  arguments.insert(arguments.end(), {"--dump", Path("dump")});
  const Json first = Measure(arguments);
  const Outcome read = Run({"settings", "--dual", "--from-dump", Path("dump")});
  ASSERT_EQ(read.exit_code, 0) << read.err;
  EXPECT_NE(read.err.find("pattern counts"), std::string::npos) << read.err;
  std::ofstream(Path("again.json")) << read.out;
  const Json again = Measure({"--settings", Path("again.json")});
  Json expected = first["settings"];
  expected["pcParameterDumpFile"] = nullptr;
  EXPECT_EQ(again["settings"], expected);
  EXPECT_EQ(again["results"], first["results"]);
  // What a dump leaves out is said, and what is no dump is refused.
  std::ofstream(Path("network")) << "dTargetUI = 1e-10\npsSparamData->ulSArrayLength = 400\n"
                                    "\tnonsense\nsTransTemplate.ulArrayLength = 17\n\n"
                                    "psCTLEFilterParams[7].fAdc = 1\neFilterOrder = UNKNOWN (1)\n";
  const Outcome lossy = Run({"settings", "--from-dump", Path("network")});
  EXPECT_EQ(lossy.exit_code, 0) << lossy.err;
  for (const char *lost : {"four-port", "psGen3BaseCompParameters", "points beyond 16"}) {
    EXPECT_NE(lossy.err.find(lost), std::string::npos) << lossy.err;
  }
  EXPECT_EQ(Json::parse(lossy.out)["eFilterOrder"], "FIRST_ORDER");
  EXPECT_EQ(Run({"settings", "--from-dump", Path("again.json")}).exit_code, 2);
}

TEST_F(Dual, RefusalsSayWhatToDo) {
  MakeCaptures("1");
  const struct {
    std::vector<std::string> more;
    int exit_code;
    std::string message;
  } cases[] = {
      {{"--set", "sDualPort.psPLLFilterParams=[]"}, 2, "at least one PLL"},
      {{"--set", "sDualPort=null"}, 2, "at least one PLL"},
      {{"--set", "sDualPort.dClockTargetUI=1e-12"}, 2, "dClockTargetUI"},
      {{"--set", "sDualPort.ulClockDataOffsetUI=1000000"}, 4, "ulClockDataOffsetUI"},
      {{"--set", "ulMinUIForOfficialTest=1000000"}, 4, "longer captures"},
      {{"--dump", Path("no/such/folder")}, 2, "cannot write the dump"},
      {{"--json", Path("no/such/folder")}, 2, "no/such/folder"},
  };
  for (const auto &[more, exit_code, message] : cases) {
    std::vector<std::string> arguments = {"dual", Path("data.bin"), Path("clock.bin"), "--rate",
                                          "8e9"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << outcome.err;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
  }
}

}  // namespace
