#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <regex>

#include "burst_settings.h"
#include "burst_signal.h"
#include "failure.h"
#include "program.h"

namespace app_test {
namespace {

using Json = nlohmann::ordered_json;

class Lf : public Program {
 protected:
  // Synthesises bursts and measures them; the arguments are those behind the file names.
  Json Measure(std::vector<std::string> synth, std::vector<std::string> lf, int exit_code = 0) {
    synth.insert(synth.begin(), {"synth", Path("bursts"), "--format", "bin"});
    const Outcome made = Run(synth);
    EXPECT_EQ(made.exit_code, 0) << made.err;
    truth_ = Json::parse(Contents(Path("bursts.truth.json")));
    lf.insert(lf.begin(), {"lf", Path("bursts"), "--json", "-"});
    return Result(lf, exit_code);
  }
  Json Result(const std::vector<std::string> &arguments, int exit_code = 0) {
    last_ = Run(arguments);
    EXPECT_EQ(last_.exit_code, exit_code) << last_.err;
    return Json::parse(last_.out, nullptr, false);
  }
  double Parameter(const char *name) const { return truth_["parameters"][name]["value"]; }

  Json truth_;
  Outcome last_;
};

void ExpectBoth(const Json &results, const std::string &name, double value, double tolerance) {
  EXPECT_NEAR(results[name + "Min"].get<double>(), value, tolerance) << name;
  EXPECT_NEAR(results[name + "Max"].get<double>(), value, tolerance) << name;
}

// Samples are floats of half a volt on ramps that are at least 50 mV steep a sample, so that a
// crossing is off by 2^-25 / 0.05 samples at most.
constexpr double kCrossing = 1e-6;  // samples

TEST_F(Lf, TrainsComeBackAsTheyWereMade) {
  const std::vector<std::vector<std::string>> trains = {
      {"--lf", "1"},
      {"--lf", "1", "--sample-interval", "0.37e-9", "--period", "30e-9", "--burst-time", "0.9e-6",
       "--duty-cycle", "44", "--bursts", "3", "--gap-time", "7e-6"},
      {"--lf", "1", "--high-level", "0.6", "--low-level", "-0.4", "--edge-time", "3e-9"},
  };
  for (const auto &train : trains) {
    const Json result = Measure(train, {"--kind", "1", "--set", "iBurstCount=9"});
    const double dt = Parameter("sample_interval"), edge = Parameter("edge_time");
    const double high = Parameter("high_level"), low = Parameter("low_level");
    const Json &r = result["results"];
    EXPECT_EQ(result["bursts"].size(), truth_["bursts"].size());
    EXPECT_NE(last_.err.find("of 9 bursts found"), std::string::npos) << last_.err;
    ExpectBoth(r, "dPeriod", Parameter("period"), 2 * kCrossing * dt);
    ExpectBoth(r, "dDutyCycle", Parameter("duty_cycle"), 100 * kCrossing);
    ExpectBoth(r, "dVoltagePP", high - low, 1e-6);
    ExpectBoth(r, "dRepeatTime", Parameter("burst_time") + Parameter("gap_time"), dt);
    // 20 % to 80 % of a straight ramp. The levels are means of float samples.
    EXPECT_NEAR(r["dRiseTimeMax"], 0.6 * edge, 1e-4 * dt);
    EXPECT_NEAR(r["dFallTimeMax"], 0.6 * edge, 1e-4 * dt);
    EXPECT_TRUE(r["dCommonModeMax"].is_null());
    // From the threshold of 0.1 V on the first ramp to that on the last one, and the quiet time;
    // three ends in whole samples.
    const double beyond = Parameter("burst_time") - edge * 0.1 * (1 / high - 1 / low);
    ExpectBoth(r, "dBurstTime", beyond + 100e-9, 3 * dt);
    for (size_t i = 0; i < truth_["bursts"].size(); ++i) {
      EXPECT_NEAR(result["bursts"][i]["start"], truth_["bursts"][i]["start"].get<double>(),
                  edge + dt);
    }
  }
}

TEST_F(Lf, CodedBurstsComeBackAsTheyWereMade) {
  const std::vector<std::vector<std::string>> signals = {
      {"--lf", "2", "--bursts", "2"},
      {"--lf", "2", "--bursts", "2", "--pulse-ratio", "2.5", "--period", "50e-9", "--pattern",
       "prbs9", "--prepare-time", "1.5e-6", "--high-level", "0.55", "--low-level", "-0.45"},
  };
  for (const auto &signal : signals) {
    for (const bool ratio : {true, false}) {
      const Json result = Measure(signal, {"--kind", "2", "--set", "iBurstCount=2", "--set",
                                           ratio ? "iUseTransmitRatio=1" : "iUseTransmitRatio=0"});
      const double dt = Parameter("sample_interval"), period = Parameter("period");
      const double high = Parameter("high_level"), low = Parameter("low_level");
      const double shorter = period / (1 + Parameter("pulse_ratio"));
      const Json &r = result["results"];
      EXPECT_EQ(last_.err, "");
      ExpectBoth(r, "dPeriod", period, 2 * kCrossing * dt);
      ExpectBoth(r, "dBitDuration", 1, 1e-6);
      if (ratio) {
        ExpectBoth(r, "dTransmitRatio", Parameter("pulse_ratio"), 1e-4);
        EXPECT_TRUE(r["dMinorDurationMin"].is_null());
      } else {
        ExpectBoth(r, "dMinorDuration", shorter, 2 * kCrossing * dt);
      }
      EXPECT_NEAR(r["dRiseTimeMax"], 0.6 * Parameter("edge_time"), 1e-4 * dt);
      // The lowest sample's magnitude of the first period is the minimum, its highest the maximum.
      EXPECT_NEAR(r["dAmplitudeMin"], -low, 1e-6);
      EXPECT_NEAR(r["dAmplitudeMax"], high, 1e-6);
      EXPECT_NEAR(r["dDiffDCMin"], std::min(high, -low), 1e-6);
      EXPECT_NEAR(r["dDiffDCMax"], std::max(high, -low), 1e-6);
      // The end of the phase is placed one sample early.
      ExpectBoth(r, "dPrepareTime", Parameter("prepare_time") - dt, 1e-3 * dt);
      for (size_t i = 0; i < 2; ++i) {
        const Json &burst = result["bursts"][i], &truth = truth_["bursts"][i];
        EXPECT_NEAR(burst["start"], truth["start"].get<double>(), 2 * dt);
        EXPECT_NEAR(burst["prepare_start"], truth["prepare_start"].get<double>(), 1e-3 * dt);
        const double stall = i == 0 ? 0 : truth_["bursts"][0]["end"].get<double>();
        EXPECT_NEAR(burst["stall_start"], stall, 1e-3 * dt);
      }
    }
  }
}

TEST_F(Lf, CommonModeOfAPair) {
  // Three whole periods of the ripple in a burst; a sample lies within half an interval of its
  // extremes, where it is flat to 1 - cos(2 pi 3e6 x 0.25e-9) = 1e-5 of its height.
  const Json result = Measure({"--lf", "1", "--combined", "--common-mode", "0.3",
                               "--common-mode-amplitude", "0.02", "--common-mode-frequency", "3e6"},
                              {"--kind", "1", "--combined"});
  EXPECT_NEAR(result["results"]["dCommonModeMax"], 0.04, 1e-6);
  ExpectBoth(result["results"], "dVoltagePP", 1, 1e-6);
  EXPECT_EQ(result["captures"].size(), 2u);
}

// Bursts that differ, so that each extreme has a burst of its own; written as text.
class DifferentBursts : public Lf, public testing::WithParamInterface<app::BurstKind> {
 protected:
  void Write(app::BurstKind kind) {
    app::BurstSpec spec;
    spec.kind = kind;
    spec.noise_rms = 2e-3;
    app::BurstSynth synth(spec, app::BurstView::kDifference);
    std::vector<float> samples(synth.sample_count());
    synth.Next(samples);
    const float scale[] = {1.0f, 0.95f, 1.0f, 1.1f, 1.05f};
    std::ofstream file(Path("capture.txt"));
    // Each burst with the second half of the gap before it and the first half of the one behind.
    const double cycle_s = app::TruthOf(spec, 1).start - app::TruthOf(spec, 0).start;
    for (size_t i = 0; i < samples.size(); ++i) {
      const double cycles = (static_cast<double>(i) * spec.sample_interval - 4.5e-6) / cycle_s;
      const size_t burst = cycles < 0 ? 0 : std::min<size_t>(4, static_cast<size_t>(cycles));
      // A gap is shorter by 1 us.
      const bool left_out = burst == 2 && cycles - 2 < 1e-6 / cycle_s;
      if (!left_out) file << scale[burst] * samples[i] << "\n";
    }
  }
};

TEST_P(DifferentBursts, EachExtremeHasItsBurst) {
  Write(GetParam());
  const bool train = GetParam() == app::BurstKind::kTrain;
  const Json result = Result({"lf", Path("capture.txt"), "--interval", "0.5e-9", "--kind",
                              train ? "1" : "2", "--json", "-"});
  // All bursts together give what they give one by one, but for the rounding of times.
  size_t measured = 0;
  for (const auto &[name, value] : result["results"].items()) {
    if (value.is_null()) continue;
    ++measured;
    double least = INFINITY, greatest = -INFINITY;
    for (const Json &burst : result["bursts"]) {
      if (burst["results"][name].is_null()) continue;
      least = std::min(least, burst["results"][name].get<double>());
      greatest = std::max(greatest, burst["results"][name].get<double>());
    }
    const double expected = name.ends_with("Min") ? least : greatest;
    EXPECT_NEAR(value, expected, 1e-6 * std::abs(expected)) << name;
  }
  EXPECT_EQ(measured, train ? 12u : 14u);
  for (const Json &row : result["rows"]) {
    const std::string quantity = row["quantity"];
    if (quantity == "Voltage, peak to peak" || quantity == "Amplitude" ||
        quantity == "Levels before it") {
      EXPECT_EQ(row["min"]["burst"], 2) << quantity;
      EXPECT_EQ(row["max"]["burst"], 4) << quantity;
    }
    if (quantity == "Repeat time") {
      EXPECT_EQ(row["min"]["burst"], 2);
    }
  }
}
INSTANTIATE_TEST_SUITE_P(Kinds, DifferentBursts,
                         testing::Values(app::BurstKind::kTrain, app::BurstKind::kPulseWidthCoded));

TEST_F(Lf, LimitsDecide) {
  const std::string capture = Path("bursts");
  ASSERT_EQ(Run({"synth", capture, "--format", "bin", "--lf", "1"}).exit_code, 0);
  const struct {
    const char *setting;
    int exit_code;
  } cases[] = {
      {"sLimits.dPeriodMin=41e-9", 1},  {"sLimits.dPeriodMax=39e-9", 1},
      {"sLimits.dRiseTimeMax=2e-9", 1}, {"sLimits.dPeriodMin=0", 0},
      {"sLimits.dAmplitudeMin=9", 0},   {"sLimits.dCommonModeMax=1e-9", 0},  // not measured
      {"sLimits.dVoltagePPMax=0.5", 1},
  };
  for (const auto &[setting, exit_code] : cases) {
    const Outcome outcome = Run({"lf", capture, "--kind", "1", "--set", setting});
    EXPECT_EQ(outcome.exit_code, exit_code) << setting;
    EXPECT_EQ(outcome.out.find("FAIL") != std::string::npos, exit_code == 1) << outcome.out;
    const Json json =
        Result({"lf", capture, "--kind", "1", "--set", setting, "--json", "-"}, exit_code);
    EXPECT_EQ(json["within_limits"], exit_code == 0) << setting;
  }
}

// The data of a report's chart.
Json ChartOf(const std::string &html, const std::string &id) {
  const std::string begin = "<script type=\"application/json\">";
  const size_t from = html.find(begin, html.find("<figure id=\"" + id + "\"")) + begin.size();
  return Json::parse(html.substr(from, html.find("</script>", from) - from));
}

TEST_F(Lf, ReportMarksBurstsPhasesEdgesAndLevels) {
  for (const bool coded : {false, true}) {
    const Json result =
        Measure({"--lf", coded ? "2" : "1", "--bursts", "3", "--low-level", "-0.45"},
                {"--kind", coded ? "2" : "1", "--report", Path("report.html"), "--set",
                 "iBurstCount=3", "--set", "sLimits.dPeriodMax=39e-9"},
                1);
    const std::string html = Contents(Path("report.html"));
    EXPECT_NE(html.find("outside its limits: Period<"), std::string::npos);
    const Json overview = ChartOf(html, "overview");
    ASSERT_EQ(overview["bands"].size(), 3u);
    ASSERT_EQ(overview["outlines"].size(), coded ? 6u : 0u);
    for (size_t i = 0; i < 3; ++i) {
      const Json &truth = truth_["bursts"][i];
      EXPECT_NEAR(overview["bands"][i][0], 1e6 * truth["start"].get<double>(), 0.002);
      if (!coded) continue;
      const Json &phase = overview["outlines"][2 * i + 1]["points"];  // us
      EXPECT_NEAR(phase[0][0], 1e6 * truth["prepare_start"].get<double>(), 0.001);
      EXPECT_NEAR(phase[1][0], 1e6 * truth["start"].get<double>(), 0.001);
    }
    // 25 periods; the edges from and to 0 V of a train don't cross it.
    const Json burst = ChartOf(html, "burst");
    EXPECT_EQ(burst["series"][1]["x"].size(), coded ? 51u : 49u);
    EXPECT_NEAR(burst["guides"][0]["value"], 500, 0.1);
    EXPECT_NEAR(burst["guides"][1]["value"], -450, 0.1);
    EXPECT_NEAR(burst["guides"][2]["value"], -450 + 0.2 * 950, 0.1);
    const Json periods = ChartOf(html, "periods");
    for (const Json &period : periods["series"][0]["y"]) {
      EXPECT_NEAR(period, 40, 1e-3);
    }
  }
}

TEST_F(Lf, CutAndEmptyCaptures) {
  const std::string capture = Path("bursts");
  for (const std::string kind : {"1", "2"}) {
    ASSERT_EQ(Run({"synth", capture, "--format", "bin", "--lf", kind}).exit_code, 0);
    // Into the middle of the third burst, into the quiet before the first one.
    const char *inside = kind == "1" ? "59000" : "71000";
    const Json cut =
        Result({"lf", capture, "--kind", kind, "--max-samples", inside, "--json", "-"});
    EXPECT_EQ(cut["bursts"].size(), 2u);
    EXPECT_NE(last_.err.find("ends inside the next one"), std::string::npos) << last_.err;
    const Outcome empty = Run({"lf", capture, "--kind", kind, "--max-samples", "17000"});
    EXPECT_EQ(empty.exit_code, 4);
    EXPECT_NE(empty.err.find("no burst found"), std::string::npos) << empty.err;
  }
}

TEST_F(Lf, Refusals) {
  const std::string capture = Path("bursts"), other = Path("other");
  ASSERT_EQ(Run({"synth", capture, "--format", "bin", "--lf", "1"}).exit_code, 0);
  const struct {
    std::vector<std::string> arguments;
    int exit_code;
    const char *message;
  } cases[] = {
      {{"lf", capture}, 2, "kind of bursts is not known"},
      {{"lf", capture, "--kind", "3"}, 2, "--kind"},
      {{"lf", capture, "--kind", "1", "--set", "eLFTestType=2"}, 2, "not the kind asked for"},
      {{"lf", capture, "--set", "eLFTestType=3"}, 2, "one of burst train, pulse-width coded"},
      {{"lf", capture, "--kind", "1", "--set", "iBurstsFound=1"}, 2, "unknown setting"},
      {{"lf", capture, "--kind", "1", "--set", "iBurstCount=0"}, 2, "from 1 up to"},
      {{"lf", capture, "--kind", "1", "--set", "fBurstThreshold=5"}, 2, "fBurstThreshold"},
      {{"lf", capture, capture, "--kind", "1", "--combined"}, 2, "takes one file"},
      {{"lf", other, "--kind", "1"}, 3, "other"},
      {{"lf", capture, "--kind", "1", "--set", "fTrimEnd=1.09e-6"}, 4, "measuring burst 1"},
      {{"lf", capture, "--kind", "1", "--set", "fBurstThreshold=2"}, 4, "500.0 mV"},
      {{"settings", "--lf", "1", "--rate", "8e9"}, 2, "--rate"},
      {{"synth", other, "--lf", "3"}, 2, "--lf"},
      {{"synth", other, "--lf", "1", "--rj-rms", "1e-12"}, 2, "--rj-rms"},
      {{"synth", other, "--gap-time", "1e-6"}, 2, "--lf"},
      {{"synth", other, "--lf", "1", "--prepare-time", "1e-6"}, 2, "--prepare-time"},
      {{"synth", other, "--lf", "1", "--common-mode", "1"}, 2, "--complement"},
      {{"synth", other, "--lf", "1", "--burst-time", "1.01e-6"}, 2, "whole number of periods"},
      {{"synth", other, "--common-mode", "1"}, 2, "--complement"},
      {{"synth", other, "--lf", "1", "--clock", "c"}, 2, "--clock"},
      {{"synth", other, "--lf", "2", "--edge-time", "7e-9"}, 2, "edge_time"},
      {{"synth", other, "--lf", "1", "--sample-interval", "1e-15"}, 2, "too many samples"},
  };
  for (const auto &[arguments, exit_code, message] : cases) {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << message << ": " << outcome.err;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
  }
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"bursts", "bursts.truth.json"}));
}

TEST_F(Lf, PrintedSettingsAreReadBackUnchanged) {
  for (const std::string kind : {"1", "2"}) {
    const Outcome printed = Run({"settings", "--lf", kind});
    ASSERT_EQ(printed.exit_code, 0) << printed.err;
    std::ofstream(Path("settings.json")) << printed.out;
    app::BurstSettingsRequest request;  // the kind follows from the file
    request.file = Path("settings.json");
    EXPECT_EQ(app::ResolveBurstSettings(request), Json::parse(printed.out));
    request.assignments = {"sLimits.dPeriodMax=5e-8", "iMinPeriods=7"};
    const app::BurstSettings changed = app::LoadBurstSettings(app::ResolveBurstSettings(request));
    EXPECT_EQ(changed.sLimits.dPeriodMax, 5e-8);
    EXPECT_EQ(changed.sLimits.dPeriodMin, 20e-9);
    EXPECT_EQ(changed.params.iMinPeriods, 7);
  }
}

}  // namespace
}  // namespace app_test
