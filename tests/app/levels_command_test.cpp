#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using app_test::Contents;
using app_test::Outcome;
using app_test::Program;
using Json = nlohmann::json;

class Levels : public Program {
 protected:
  void Make(const std::string &name, std::vector<std::string> more,
            const std::string &pattern = "transmitter") {
    std::vector<std::string> arguments = {"synth", Path(name), "--format",  "bin",
                                          "--ui",  "20000",    "--pattern", pattern};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  }
  Json Measure(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--json", Path("json")});
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    return Json::parse(Contents(Path("json")));
  }
};

double ValueOf(const Json &json, const std::string &quantity) {
  for (const Json &row : json["rows"]) {
    if (row["quantity"] == quantity) return row["value"];
  }
  ADD_FAILURE() << "no " << quantity;
  return 0;
}

TEST_F(Levels, TrapezoidsComeBackByBothMethods) {
  const double steady = 0.4 * std::pow(10, -3.5 / 20);
  const struct {
    std::vector<std::string> signal, options;
    bool pair;
    double steady_v, decibels, edge_s;
  } cases[] = {
      // Edges of a whole UI leave one sample of each level behind an edge, an extreme by itself.
      {{"--samples-per-ui", "10", "--edge-time", "125e-12", "--deemphasis", "-3.5"},
       {},
       false,
       steady,
       -3.5,
       0.6 * 125e-12},
      // Wherever the samples fall on the edge.
      {{"--samples-per-ui", "32", "--edge-time", "40e-12", "--rj-rms", "1e-12"},
       {"--low", "0.1", "--high", "0.9"},
       true,
       0.4,
       0,
       0.8 * 40e-12},
  };
  for (const auto &[signal, options, pair, steady_v, decibels, edge_s] : cases) {
    std::vector<std::string> made = signal, arguments = options;
    arguments.insert(arguments.begin(), {"levels", Path("capture")});
    if (pair) {
      made.insert(made.end(), {"--complement", Path("negative")});
      arguments.insert(arguments.begin() + 2, Path("negative"));
    }
    Make("capture", made);
    const Json json = Measure(arguments);
    const Json truth = Json::parse(Contents(Path("capture.truth.json")));
    // Samples are floats, and so are the medians of them.
    EXPECT_NEAR(ValueOf(json, "Peak high"), 0.4, 1e-7);
    EXPECT_NEAR(ValueOf(json, "Peak low"), -0.4, 1e-7);
    EXPECT_NEAR(ValueOf(json, "Steady high"), steady_v, 1e-7);
    EXPECT_NEAR(ValueOf(json, "Steady low"), -steady_v, 1e-7);
    EXPECT_NEAR(ValueOf(json, "De-emphasis"), decibels, 1e-5);
    std::map<std::string, uint64_t> edges;
    ASSERT_EQ(json["edge_times"].size(), 8u);
    for (const Json &row : json["edge_times"]) {
      // Two samples, each rounded by 2^-25 of 0.4 V, against a swing over at least 5 samples; and
      // float levels and fractions.
      for (const char *key : {"min", "median", "mean", "max"}) {
        EXPECT_NEAR(row[key], edge_s, 1e-6 * edge_s) << row;
      }
      EXPECT_LT(row["standard_deviation"], 1e-6 * edge_s);
      edges[row["method"]] += row["count"].get<uint64_t>();
    }
    for (size_t kind = 0; kind < 4; ++kind) {
      const Json &histogram = json["histograms"][kind];
      EXPECT_EQ(histogram["outside"], 0);
      uint64_t counted = 0;
      for (const char *method : {"slope", "waveform"}) {
        for (const uint64_t count : histogram[method]) counted += count;
      }
      EXPECT_EQ(counted, 2 * json["edge_times"][2 * kind]["count"].get<uint64_t>());
    }
    // All but the first one, before which no run was seen.
    const uint64_t all =
        truth["rising_edges"].get<uint64_t>() + truth["falling_edges"].get<uint64_t>();
    EXPECT_EQ(edges["slope"], all - 1);
    EXPECT_EQ(edges["waveform"], all - 1);
  }
}

TEST_F(Levels, EdgesAreToldApartByTheRunBefore) {
  std::ofstream(Path("bits")) << "1111 0000 10101";
  ASSERT_EQ(Run({"synth", Path("capture"), "--format", "bin", "--ui", "13", "--bits", Path("bits")})
                .exit_code,
            0);
  std::map<std::string, int> counts;
  const Json json = Measure({"levels", Path("capture")});
  for (const Json &row : json["edge_times"]) {
    counts[row["edge"].get<std::string>() + " from " + row["from"].get<std::string>()] +=
        row["count"].get<int>();
  }
  // By two methods. The first edge falls behind a run whose beginning was not seen.
  EXPECT_EQ(counts, (std::map<std::string, int>{{"rising from steady", 2},
                                                {"falling from peak", 4},
                                                {"rising from peak", 4},
                                                {"falling from steady", 0}}));
  EXPECT_TRUE(json["edge_times"].back()["median"].is_null());
}

TEST_F(Levels, CommonModeToneComesThroughTheFilters) {
  const double tone_hz = 100e6, amplitude_v = 0.02;
  // 20000 UI of 8 Gb/s are 250 whole periods, of 800 samples each: extremes of the filtered tone
  // are met to 1 - cos(pi / 800), 8e-6 of it. Halves of 0.6 V and their sum are rounded to floats.
  const auto near = [](double peak_peak_v) { return 8e-6 * peak_peak_v + 1e-7; };
  const std::vector<std::string> tone = {
      "--samples-per-ui",        "10",  "--common-mode", "0.15", "--common-mode-amplitude", "0.02",
      "--common-mode-frequency", "1e8", "--noise-rms",   "0.01"};
  const struct {
    std::vector<std::string> options;
    double high_pass_hz, band_low_pass_hz, low_pass_hz;
    bool combined;
  } cases[] = {
      {{}, 30e3, 500e6, 4e9, false},
      {{"--rate", "1e9"}, 30e3, 500e6, 500e6, true},
      {{"--high-pass", "50e6", "--band-low-pass", "80e6", "--low-pass", "2e8", "--guard", "0.1"},
       50e6,
       80e6,
       200e6,
       false},
  };
  for (const auto &[options, high_pass_hz, band_low_pass_hz, low_pass_hz, combined] : cases) {
    std::vector<std::string> made = tone, arguments = options;
    const auto files = combined ? std::vector<std::string>{"--combined"}
                                : std::vector<std::string>{"--complement", Path("n")};
    made.insert(made.end(), files.begin(), files.end());
    Make("p", made, "prbs7");
    arguments.insert(arguments.begin(), {"common-mode", Path("p"), files.back()});
    const Json json = Measure(arguments);
    EXPECT_NEAR(ValueOf(json, "DC, mean"), 0.15, 1e-7);
    EXPECT_NEAR(ValueOf(json, "Highest"), 0.17, near(0));
    EXPECT_NEAR(ValueOf(json, "Lowest"), 0.13, near(0));
    const auto low_pass = [](double f) { return 1 / std::sqrt(1 + f * f); };
    const double band =
        2 * amplitude_v * low_pass(tone_hz / band_low_pass_hz) * low_pass(high_pass_hz / tone_hz);
    const double wide = 2 * amplitude_v * low_pass(tone_hz / low_pass_hz);
    EXPECT_NEAR(ValueOf(json, "AC in the band, peak to peak"), band, near(band));
    EXPECT_NEAR(ValueOf(json, "AC below the corner, peak to peak"), wide, near(wide));
  }
}

TEST_F(Levels, ReportsShowWhatWasMeasured) {
  Make("p", {"--complement", Path("n"), "--common-mode-amplitude", "0.02",
             "--common-mode-frequency", "1e8"});
  Measure({"levels", Path("p"), Path("n"), "--report", Path("levels.html")});
  Measure({"common-mode", Path("p"), Path("n"), "--report", Path("common.html")});
  for (const char *shown : {"Rise times, from the steady level", "Fall times, from the peak level",
                            "Signal and levels", "22.50 ps"}) {
    EXPECT_NE(Contents(Path("levels.html")).find(shown), std::string::npos) << shown;
  }
  for (const char *shown : {"Spectrum of the common mode", "band, high pass", "40.00 mV"}) {
    EXPECT_NE(Contents(Path("common.html")).find(shown), std::string::npos) << shown;
  }
}

TEST_F(Levels, RefusalsSayWhatToDo) {
  Make("p", {"--complement", Path("n"), "--samples-per-ui", "4"});
  Make("clock", {}, "clock");
  const struct {
    std::vector<std::string> arguments;
    int exit_code;
    std::string message;
  } cases[] = {
      {{"levels", Path("p"), "--low", "0.8", "--high", "0.2"}, 2, "--low 0.8 is not below"},
      {{"levels", Path("p"), "--high", "1.2"}, 2, "--high"},
      {{"levels", Path("none")}, 3, "none"},
      {{"levels", Path("clock")}, 4, "runs of 4 equal bits"},
      {{"levels", Path("p"), "--rate", "4e10"}, 4, "samples in a unit interval"},
      {{"levels", Path("p"), "--rate", "1e8"}, 4, "runs of 4 equal bits"},
      // Long runs are flat even so, but there is no room for the edges.
      {{"levels", Path("p"), "--rate", "1e9"}, 0, "more than 1.25 edges"},
      {{"levels", Path("p"), "--json", Path("no/such/folder")}, 2, "no/such/folder"},
      {{"common-mode", Path("p")}, 2, "both halves"},
      {{"common-mode", Path("p"), Path("n"), "--combined"}, 2, "--combined takes one file"},
      {{"common-mode", Path("p"), Path("n"), "--high-pass", "5e8"}, 2, "is not below"},
      {{"common-mode", Path("p"), Path("n"), "--guard", "0.5"}, 2, "--guard"},
      {{"common-mode", Path("p"), Path("clock")}, 3, "does not match"},
      {{"common-mode", Path("p"), Path("n"), "--high-pass", "1e3"}, 0, "less than a period"},
  };
  for (const auto &[arguments, exit_code, message] : cases) {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << message << outcome.err;
    EXPECT_NE(outcome.err.find(message), std::string::npos) << message << outcome.err;
  }
}

}  // namespace
