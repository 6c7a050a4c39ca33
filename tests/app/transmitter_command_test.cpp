#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using app_test::Contents;
using app_test::Outcome;
using app_test::Program;
using Json = nlohmann::json;

class Transmitter : public Program {
 protected:
  void Make(const std::string &name, const std::string &ui, std::vector<std::string> more) {
    std::vector<std::string> arguments = {
        "synth",     Path(name),    "--format",         "bin", "--ui", ui,
        "--pattern", "transmitter", "--samples-per-ui", "10"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  }
  Json Result() const { return Json::parse(Contents(Path("json"))); }
};

double ValueOf(const Json &json, const std::string &quantity) {
  for (const Json &row : json["rows"]) {
    if (row["quantity"] == quantity) return row["value"];
  }
  ADD_FAILURE() << "no " << quantity;
  return 0;
}

TEST_F(Transmitter, WhatWasPutInComesBack) {
  Make("tx.bin", "100000",
       {"--rj-rms", "0.5e-12", "--f2-jitter", "2e-12", "--pattern-jitter", "4e-12"});
  const Outcome outcome = Run(
      {"tx", Path("tx.bin"), "--rate", "8e9", "--json", Path("json"), "--report", Path("html")});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  const Json json = Result();
  EXPECT_EQ(json["schema"], "vomo.tx");
  const Json &gen3 = json["results"]["psGen3Results"];
  EXPECT_EQ(gen3["ulPatternLengthUI"], 832);
  EXPECT_EQ(gen3["ulPatternRepeats"], 120);
  // Means over 64 and more single bits in each of 120 repeats: five deviations of 0.5 ps x sqrt 2
  // over sqrt(3800) of either class.
  EXPECT_NEAR(ValueOf(json, "F/2 jitter"), 2e-12, 0.09e-12);
  // Even-odd jitter belongs to a pattern of even length too: 4 ps behind long runs and 1 ps between
  // even and odd. The extremes of 338 means of 0.5 ps / sqrt 120 add 3.5 deviations at either end,
  // the summing of differences a little more.
  EXPECT_NEAR(ValueOf(json, "Pattern jitter DDj"), 5e-12, 0.5e-12);
  EXPECT_NEAR(ValueOf(json, "Bit to bit Rj, rms"), 0.5e-12 * std::sqrt(2.0), 0.05e-12);
  EXPECT_NEAR(ValueOf(json, "EIEOS swing"), 0.8, 1e-6);
  EXPECT_NEAR(ValueOf(json, "PS21 ratio"), 0, 1e-5);
  EXPECT_NEAR(ValueOf(json, "Flat high"), 0.4, 1e-6);
  EXPECT_NE(outcome.out.find("338 runs, 120 repeats"), std::string::npos) << outcome.out;
  EXPECT_NE(Contents(Path("html")).find("Averaged pattern"), std::string::npos);
  // Its settings are no use to the general measurement, nor is a pattern that never repeats.
  EXPECT_EQ(Run({"measure", Path("tx.bin"), "--rate", "8e9", "--set",
                 "psGen3BaseCompParameters={\"ulEIEOSFirst\":3,\"ulPS21ShortRun\":64,"
                 "\"ulPS21LongRun\":64,\"ulTargetRunLength\":64,\"ulTargetFirst\":3,"
                 "\"dTargetFraction\":0.1}"})
                .exit_code,
            2);
  MakeCapture("random.txt", {}, "prbs31");
  EXPECT_EQ(Run({"tx", Path("random.txt"), "--rate", "8e9", "--spui", "10"}).exit_code, 4);
}

TEST_F(Transmitter, DeemphasisIsThePatternsRatio) {
  Make("tx.bin", "20000", {"--deemphasis", "-3.5", "--edge-time", "20e-12", "--rj-rms", "0.5e-12"});
  ASSERT_EQ(Run({"tx", Path("tx.bin"), "--rate", "8e9", "--json", Path("json")}).exit_code, 0);
  // Float samples and a float ratio.
  EXPECT_NEAR(ValueOf(Result(), "PS21 ratio"), 3.5, 1e-4);
}

TEST_F(Transmitter, PresetsAreJudgedByTheirDecibels) {
  Make("p0", "5000", {"--deemphasis", "-6"});
  Make("p4", "5000", {});
  Make("p9", "5000", {"--preshoot", "3.5"});
  const Outcome good = Run({"presets", "P0=" + Path("p0"), "P4=" + Path("p4"), "P9=" + Path("p9"),
                            "--json", Path("json"), "--report", Path("html")});
  EXPECT_EQ(good.exit_code, 0) << good.err;
  const Json json = Result();
  EXPECT_NEAR(json["presets"][0]["de-emphasis"]["value"], -6, 1e-5);
  EXPECT_NEAR(json["presets"][9]["preshoot"]["value"], 3.5, 1e-5);
  EXPECT_EQ(json["presets"][4]["state"], "pass");
  EXPECT_EQ(json["presets"][1]["state"], "not measured");
  EXPECT_NE(Contents(Path("html")).find("de-emphasis"), std::string::npos);
  const struct {
    std::vector<std::string> captures;
    int exit_code;
    std::string message;
  } cases[] = {
      {{"P1=" + Path("p0"), "P4=" + Path("p4")}, 1, "FAIL"},
      {{"P0=" + Path("p0")}, 0, "P4 missing"},
      {{"P10=" + Path("p0"), "P4=" + Path("p4")}, 0, "pass"},
      {{"P10=" + Path("p0"), "P4=" + Path("p4"), "--reduced-swing"}, 1, "FAIL"},
      {{"P11=" + Path("p0")}, 2, "expected P0=FILE to P10=FILE"},
      {{Path("p0")}, 2, "expected P0=FILE"},
      {{"P4="}, 2, "expected P0=FILE"},
      {{"P4=" + Path("p4"), "P4=" + Path("p4")}, 2, "given twice"},
      {{"P4=" + Path("none")}, 3, "none"},
      {{"P4=" + Path("p4"), "--run-min", "60", "--run-max", "63"}, 4, "measuring P4"},
      {{"P4=" + Path("p4"), "--window", "62", "57"}, 4, "measuring P4"},
  };
  for (const auto &[captures, exit_code, message] : cases) {
    std::vector<std::string> arguments = captures;
    arguments.insert(arguments.begin(), "presets");
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << message << outcome.out;
    EXPECT_NE((outcome.out + outcome.err).find(message), std::string::npos)
        << message << outcome.out << outcome.err;
  }
}

}  // namespace
