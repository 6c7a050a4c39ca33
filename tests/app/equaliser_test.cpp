// Channels and equalisers from the command line: what they do to a signal whose truth is known.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <nlohmann/json.hpp>
#include <numbers>

#include "program.h"
#include "support/fir_channel.h"

namespace {

using namespace app_test;
using Json = nlohmann::json;
using Complex = std::complex<double>;

constexpr double kTwoPi = 2 * std::numbers::pi;
constexpr double kPole = 1.5e9;

Complex OnePole(double frequency) {
  return 1.0 / Complex(1, frequency / kPole);
}

class Equaliser : public Program {
 protected:
  // An entry of a network by its row and column, counted from 0, and the frequency in hertz.
  using Entry = std::function<Complex(int row, int column, double frequency)>;

  void PutFourPort(const std::string &name, const Entry &entry, int points = 2000,
                   double step_hz = 20e6) {
    std::ofstream file(Path(name));
    file.precision(9);
    file << "# Hz S RI R 50\n";
    for (int k = 1; k <= points; ++k) {
      for (int row = 0; row < 4; ++row) {
        if (row == 0) file << k * step_hz;
        for (int column = 0; column < 4; ++column) {
          const Complex value = entry(row, column, k * step_hz);
          file << ' ' << value.real() << ' ' << value.imag();
        }
        file << '\n';
      }
    }
  }
  // From 1 to 2 and from 3 to 4 and back, and nothing else.
  void PutThrough(const std::string &name, Complex (*response)(double)) {
    PutFourPort(name, [=](int row, int column, double f) {
      return row / 2 == column / 2 && row != column ? response(f) : Complex(0);
    });
  }
  void PutSamples(const std::string &name, const std::vector<float> &samples) {
    std::ofstream file(Path(name));
    file.precision(9);
    for (const float sample : samples) file << sample << '\n';
  }
  std::vector<double> Samples(const std::string &name) {
    std::ifstream file(Path(name));
    std::vector<double> samples;
    for (double sample; file >> sample;) samples.push_back(sample);
    return samples;
  }
  Json Measured(std::vector<std::string> more) {
    std::vector<std::string> arguments = {"measure", "--rate", "8e9", "--json", "-"};
    arguments.insert(arguments.begin() + 1, more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    EXPECT_LE(outcome.exit_code, 1);  // measured, whatever the limits say
    EXPECT_NE(outcome.out, "") << outcome.err;
    return Json::parse(outcome.out, nullptr, /*allow_exceptions=*/false);
  }
};

// A channel of one pole at 1.5 GHz smears each bit of 8 Gb/s over the next ones. A CTLE with its
// zero there and its poles far above takes that back.
TEST_F(Equaliser, OpensTheEyeThatAChannelHasClosed) {
  MakeCapture("sent.bin", {"--format", "bin"});
  PutThrough("channel.s4p", OnePole);
  std::ofstream(Path("family.json")) << R"([{"fAdc": 0.7, "fFz": 6e9, "fFp1": 9e9, "fFp2": 20e9},
      {"fAdc": 1, "fFz": 1.5e9, "fFp1": 12e9, "fFp2": 30e9}])";
  const std::vector<std::string> received = {Path("sent.bin"), "--s4p", Path("channel.s4p")};
  const Json closed = Measured(received);
  std::vector<std::string> arguments = received;
  arguments.insert(arguments.end(), {"--ctle", "0.5,0.5e9,1e9,8e9", Path("family.json")});
  const Json open = Measured(arguments);

  const double sent = Measured({Path("sent.bin")})["results"]["dTIEPeakPeak"];
  EXPECT_GT(closed["results"]["dTIEPeakPeak"].get<double>(), 4 * sent);
  EXPECT_LT(open["results"]["dTIEPeakPeak"].get<double>(), 2 * sent);
  // The four-port stretches the time by one sample in 300,000, and the outermost edges have jitter.
  EXPECT_NEAR(open["results"]["dUnitInterval"].get<double>(), 125e-12, 1e-15);

  const Json &ctle = open["equalisers"]["ctle"];
  EXPECT_EQ(ctle["chosen"], 3);
  EXPECT_EQ(open["results"]["iCTLEIndexUsed"], 3);
  ASSERT_EQ(ctle["settings"].size(), 4u);  // and the signal as it is
  EXPECT_EQ(ctle["settings"][0]["competes"], false);
  EXPECT_EQ(ctle["settings"][2]["fAdc"], 0.7);
  for (size_t other = 0; other < 3; ++other) {
    EXPECT_LT(ctle["settings"][other]["score"], ctle["settings"][3]["score"]) << other;
  }
  // The width is the unit interval less the spread of the intervals, of which the channel's own is
  // 20 ps and more and that of the jitter put in about 6.
  EXPECT_NEAR(ctle["settings"][3]["score"].get<double>(), 120e-12, 6e-12);

  const Json &port = open["four_port"];
  EXPECT_EQ(port["points"], 2000);
  EXPECT_EQ(port["lowest_hz"], 20e6);
  EXPECT_EQ(port["highest_hz"], 40e9);
  EXPECT_EQ(port["passive"], true);
  EXPECT_EQ(port["reciprocal"], true);
  // The curve falls by (0.2 / 1.5)^2 / 2 on the first ten points, and a line strays by less.
  EXPECT_NEAR(port["paths"][0]["at_dc"].get<double>(), 1, 0.009);
  EXPECT_EQ(port["paths"][2]["at_dc"], 0);
  EXPECT_NEAR(port["greatest_gain"].get<double>(), 1 / std::hypot(1, 20e6 / kPole), 1e-6);

  const Outcome table = Run({"measure", Path("sent.bin"), "--rate", "8e9", "--ctle", "built-in"});
  EXPECT_NE(table.out.find("of 12 settings; without a CTLE"), std::string::npos) << table.out;
}

// Each criterion's table agrees with what the run has chosen.
TEST_F(Equaliser, TheChosenSettingHasTheBestScore) {
  MakeCapture("sent.bin", {"--format", "bin"});
  ASSERT_EQ(Run({"filter", Path("sent.bin"), Path("a.bin"), "--low-pass", "1.8e9"}).exit_code, 0);
  for (const char *criterion : {"WIDTH", "HEIGHT", "AREA", "RATIO"}) {
    for (const bool behind_dfe : {false, true}) {
      std::vector<std::string> arguments = {Path("a.bin"), "--ctle", "built-in", "--set",
                                            std::string("eCTLEOpt=OPT_EYE_") + criterion};
      if (behind_dfe) {
        arguments.insert(arguments.end(),
                         {"--dfe", "0.03", "--set",
                          std::string("psDFEFilterParams.eOptValue=OPT_EYE_") + criterion});
      }
      const Json ctle = Measured(arguments)["equalisers"]["ctle"];
      EXPECT_EQ(ctle["behind_dfe"], behind_dfe);
      size_t best = 1;
      for (size_t k = 2; k <= 12; ++k) {
        if (ctle["settings"][k]["score"] > ctle["settings"][best]["score"]) best = k;
      }
      EXPECT_EQ(ctle["chosen"], best) << criterion << behind_dfe;
    }
  }
}

// Taps equal to what a channel adds of the bits before give back the bits. The second and the third
// tap both weigh the second bit back.
TEST_F(Equaliser, ADfeGivesBackTheBits) {
  const vomo_test::FirChannel channel({0.25, -0.0625}, 12'000, 3);
  PutSamples("a.txt", channel.samples);
  const std::vector<std::string> spui = {"--interval", "7.8125e-12"};
  const char *taps = "0.25,-0.03125,-0.03125";
  const Outcome outcome = Run(
      {"filter", Path("a.txt"), Path("b.txt"), "--dfe", taps, "--rate", "8e9", spui[0], spui[1]});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  const std::vector<double> bits = Samples("b.txt");
  ASSERT_EQ(bits.size(), channel.samples.size());
  for (size_t k = 1; k < channel.LastEdge(); ++k) {
    ASSERT_NEAR(bits[k * vomo_test::kPerUi + vomo_test::kPerUi / 2], channel.bits[k], 1e-5) << k;
  }
  const Json json = Measured({Path("a.txt"), "--dfe", taps, spui[0], spui[1]});
  EXPECT_EQ(json["equalisers"]["dfe"]["taps"], (Json{0.25, -0.03125, -0.03125}));
  EXPECT_EQ(json["results"]["iDFEApplied"], 1);
  // The estimate has the mean of the levels with and without an edge to go by, so one tap alone
  // takes what the first bit back adds.
  const Json estimated = Measured({Path("a.txt"), "--dfe", "auto", spui[0], spui[1]});
  EXPECT_NEAR(estimated["equalisers"]["dfe"]["taps"][0].get<double>(), 0.25, 0.02);
}

// A tone behind each stage, against the formula of its response.
TEST_F(Equaliser, FiltersFollowTheirFormulas) {
  constexpr int kPeriod = 50, kCount = 4000;
  constexpr double kTone = 1 / (kPeriod * 12.5e-12);
  std::vector<float> samples;
  for (int i = 0; i < kCount; ++i) {
    samples.push_back(static_cast<float>(std::cos(kTwoPi * i / kPeriod)));
  }
  PutSamples("a.txt", samples);
  PutThrough("half.s4p", [](double) { return Complex(0.5); });
  const auto factor = [](double corner) { return Complex(1, kTone / corner); };
  const struct {
    std::vector<std::string> stage;
    double gain;
  } cases[] = {
      {{"--low-pass", "1.6e9"}, 1 / std::sqrt(2)},
      {{"--high-pass", "0.8e9"}, 2 / std::sqrt(5)},
      {{"--low-pass", "1.6e9", "--order", "2", "--damping", "0.4"}, 1 / 0.8},
      {{"--ctle", "0.5,1e9,2e9,8e9"}, std::abs(0.5 * factor(1e9) / (factor(2e9) * factor(8e9)))},
      {{"--s4p", Path("half.s4p")}, 0.5},
  };
  for (const auto &[stage, gain] : cases) {
    std::vector<std::string> arguments = {"filter", Path("a.txt"), Path("b.txt"), "--interval",
                                          "12.5e-12"};
    arguments.insert(arguments.end(), stage.begin(), stage.end());
    const Outcome outcome = Run(arguments);
    ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
    const std::vector<double> out = Samples("b.txt");
    ASSERT_GT(out.size(), 3500u);
    Complex bin = 0;
    constexpr int kFirst = 1500, kPeriods = 10;
    for (int i = 0; i < kPeriods * kPeriod; ++i) {
      bin += out[static_cast<size_t>(kFirst + i)] * std::polar(2.0, -kTwoPi * i / kPeriod);
    }
    // Where the circle closes a step is left, of a sample's change of the tone at most (2 pi / 50);
    // what it leaves 1500 samples away is far below a thousandth.
    EXPECT_NEAR(std::abs(bin) / (kPeriods * kPeriod), gain, 1e-3) << stage[0];
  }
}

// What a file's figures warn of.
TEST_F(Equaliser, TellsOfDoubtfulFourPorts) {
  MakeCapture("sent.bin", {"--format", "bin"});
  const auto through = [](int row, int column) { return row / 2 == column / 2 && row != column; };
  const struct {
    Equaliser::Entry entry;
    double step_hz;
    const char *warning;  // or NULL for none
  } cases[] = {
      {[&](int r, int c, double) { return Complex(through(r, c) ? 0.9 : 0); }, 40e7, nullptr},
      {[&](int r, int c, double) { return Complex(through(r, c) ? 1.1 : 0); }, 40e7,
       "not passive: its greatest gain is 1.1000"},
      // Both ports of one side drive both of the other: 0.7 and 0.5 add up to 1.2.
      {[&](int r, int c, double) { return Complex((r + c) % 2 ? through(r, c) ? 0.7 : 0.5 : 0); },
       40e7, "not passive: its greatest gain is 1.2000"},
      {[&](int r, int c, double) { return Complex(through(r, c) ? r < c ? 0.9 : 0.6 : 0); }, 40e7,
       "differ by 0.3000"},
      {[&](int r, int c, double) { return Complex((r + c) % 2 == 0 && r != c ? 0.9 : 0.01); }, 40e7,
       "numbered otherwise"},
      {[&](int r, int c, double) { return Complex(through(r, c) ? 0.9 : 0); }, 20e7,
       "what lies above is lost"},
      {[&](int r, int c, double) { return Complex(through(r, c) ? 0.9 : 0); }, 50e7,
       "its last 20 % are lost"},
  };
  for (const auto &[entry, step_hz, warning] : cases) {
    PutFourPort("x.s4p", entry, 100, step_hz);
    const Outcome outcome =
        Run({"filter", Path("sent.bin"), Path("out.bin"), "--s4p", Path("x.s4p")});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("100 points from"), std::string::npos) << outcome.out;
    if (warning != nullptr) {
      EXPECT_NE(outcome.err.find(warning), std::string::npos) << outcome.err;
    } else {
      EXPECT_EQ(outcome.err.find("warning"), std::string::npos) << outcome.err;
    }
  }
}

TEST_F(Equaliser, RefusalsNameWhatIsWrong) {
  MakeCapture("a.bin", {"--format", "bin"});
  PutFourPort(
      "few.s4p", [](int, int, double) { return Complex(0.5); }, 9);
  PutFourPort(
      "down.s4p", [](int, int, double) { return Complex(0.5); }, 20, -1e9);
  PutFourPort(
      "nan.s4p", [](int, int, double) { return Complex(NAN); }, 20);
  std::ofstream(Path("object.json")) << R"({"fAdc": 0.5})";
  const auto measure = [this](std::vector<std::string> more) {
    more.insert(more.begin(), {"measure", Path("a.bin"), "--rate", "8e9"});
    return more;
  };
  const auto filter = [this](std::vector<std::string> more) {
    more.insert(more.begin(), {"filter", Path("a.bin"), Path("out.bin")});
    return more;
  };
  const struct {
    std::vector<std::string> arguments;
    int exit_code;
    const char *text;
  } cases[] = {
      {measure({"--ctle", "0.5,1e9,2e9"}), 2, "four numbers"},
      {measure({"--ctle", "0.5,1e9,2e9,x"}), 2, "four numbers"},
      {measure({"--ctle", "0.5,0,2e9,8e9"}), 2, "psCTLEFilterParams[0].fFz"},
      {measure({"--ctle", Path("none.json")}), 2, "none.json"},
      {measure({"--ctle", Path("object.json")}), 2, "a list of settings"},
      {measure({"--dfe", "3"}), 2, "from -1 to 1"},
      {measure({"--dfe", "first"}), 2, "taps in volts"},
      {measure({"--s4p", Path("none.s4p")}), 3, "none.s4p"},
      {measure({"--s4p", Path("few.s4p")}), 3, "9 frequency points"},
      {measure({"--s4p", Path("down.s4p")}), 3, "does not rise"},
      {measure({"--s4p", Path("nan.s4p")}), 3, "not a number"},
      {filter({}), 2, "0 stages"},
      {filter({"--low-pass", "1e9", "--dfe", "0.1"}), 2, "2 stages"},
      {filter({"--low-pass", "0"}), 2, "--low-pass"},
      {filter({"--dfe", "0.1"}), 2, "bit rate"},
      {filter({"--ctle", "built-in"}), 2, "12 settings"},
      {{"filter", Path("a.bin"), Path("out.xyz"), "--low-pass", "1e9"}, 2, "out.xyz"},
  };
  const std::vector<std::string> before = FilesLeft();
  for (const auto &[arguments, exit_code, text] : cases) {
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << text << '\n' << outcome.err;
    EXPECT_NE(outcome.err.find(text), std::string::npos) << text << '\n' << outcome.err;
    EXPECT_EQ(FilesLeft(), before) << text;
  }
}

}  // namespace
