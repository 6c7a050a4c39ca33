// info, convert, synth and measure on captures of every format, as their users run them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "program.h"

namespace {

using namespace app_test;
using Json = nlohmann::json;

class Commands : public Program {
 protected:
  void Put(const std::string &name, const std::string &bytes) {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  Json Info(const std::vector<std::string> &names, int exit_code = 0) {
    std::vector<std::string> arguments = {"info", "--json"};
    for (const std::string &name : names) arguments.push_back(Path(name));
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << outcome.err;
    return Json::parse(outcome.out)["files"];
  }
  Json Measured(std::vector<std::string> more) {
    std::vector<std::string> arguments = {"measure", "--rate", "8e9", "--spui",
                                          "10",      "--json", "-"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    return Json::parse(outcome.out);
  }
};

TEST_F(Commands, PairsInAnyFormatMeasureAsOne) {
  MakeCapture("one.bin", {"--format", "bin"});
  MakeCapture("p.txt", {"--complement", Path("n.txt")});
  MakeCapture("pair.bin", {"--format", "bin", "--combined"});
  MakeCapture("pair.tr0", {"--format", "spice", "--combined"});
  // Both write 1 / (8e9 * 10) with all its bits.
  ASSERT_EQ(Run({"convert", Path("pair.bin"), Path("p.bin")}).exit_code, 0);
  ASSERT_EQ(
      Run({"convert", Path("pair.bin"), Path("n.wfm"), "--to", "wfm-float", "--waveform", "2"})
          .exit_code,
      0);
  // Halving and subtracting a negative half are exact in float.
  const Json whole = Measured({Path("one.bin")})["results"];
  EXPECT_EQ(Measured({Path("p.txt"), Path("n.txt")})["results"], whole);
  EXPECT_EQ(Measured({Path("p.bin"), Path("n.wfm")})["results"], whole);
  EXPECT_EQ(Measured({Path("pair.tr0"), "--combined"})["results"], whole);
  const Json pair = Measured({Path("pair.bin"), "--combined"});
  EXPECT_EQ(pair["results"], whole);
  EXPECT_EQ(pair["captures"][0]["role"], "positive");
  EXPECT_EQ(pair["captures"][1]["waveform"], 2);
  EXPECT_NEAR(pair["pair"]["correlation"].get<double>(), -1, 1e-12);

  const Outcome table = Run({"measure", Path("pair.bin"), "--combined", "--rate", "8e9"});
  EXPECT_NE(table.out.find("negative half: waveform 2 of"), std::string::npos) << table.out;
  // The same half twice has no difference to measure, and the warning says why.
  const Outcome same = Run({"measure", Path("p.bin"), Path("p.bin"), "--rate", "8e9"});
  EXPECT_EQ(same.exit_code, 4);
  EXPECT_NE(same.err.find("rise and fall together"), std::string::npos) << same.err;
}

TEST_F(Commands, MismatchesAndMissingHalvesAreToldFirst) {
  MakeCapture("p.bin", {"--format", "bin"});
  MakeCapture("slow.bin", {"--format", "bin", "--bit-rate", "8.0000000000001e9"});
  MakeCapture("trace.trc", {"--format", "trc"});
  MakeCapture("one.tr0", {"--format", "spice"});
  Put("x.s4p", "# GHz S MA R 50\n");
  ASSERT_EQ(Run({"convert", Path("p.bin"), Path("short.bin"), "--max-samples", "7"}).exit_code, 0);
  const struct {
    std::vector<std::string> arguments;
    int exit_code;
    const char *text;
  } cases[] = {
      {{Path("p.bin"), Path("short.bin")}, 3, "short.bin has 7"},
      {{Path("p.bin"), Path("slow.bin")}, 3, "1.25e-11 s"},
      {{Path("p.bin"), "--combined"}, 3, "number of waveforms at byte 8: found 1, needed 2"},
      {{Path("one.tr0"), "--combined", "--spui", "10"}, 3, "number of columns at byte 16"},
      {{Path("trace.trc"), "--combined"}, 3, "a trc file holds no two waveforms"},
      {{Path("p.bin"), Path("p.bin"), "--combined"}, 2, "--combined takes one file"},
      {{Path("one.tr0")}, 2, "--interval"},
      {{Path("x.s4p")}, 3, "holds no samples"},
  };
  for (const auto &[more, exit_code, text] : cases) {
    std::vector<std::string> arguments = {"measure", "--rate", "8e9"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << text << outcome.err;
    EXPECT_NE(outcome.err.find(text), std::string::npos) << text << " not in " << outcome.err;
    EXPECT_EQ(outcome.out, "") << text;
  }
}

template <class T>
void SetBig(std::string *bytes, size_t offset, T value) {
  char raw[sizeof value];
  std::memcpy(raw, &value, sizeof value);
  std::reverse_copy(raw, raw + sizeof raw, bytes->begin() + static_cast<ptrdiff_t>(offset));
}

TEST_F(Commands, InfoTellsHeaderSamplesAndRate) {
  // Version 1, big-endian, floats at 2 ps, of which the first two and the last are no numbers.
  std::string wfm(820, '\0');
  wfm.replace(0, 10, "\xF0\xF0:WFM#001");
  wfm[15] = 4;
  SetBig(&wfm, 16, uint32_t{820});
  SetBig(&wfm, 166, 0.5);
  SetBig(&wfm, 174, -1.0);
  SetBig(&wfm, 238, uint32_t{4});
  SetBig(&wfm, 478, 2e-12);
  SetBig(&wfm, 808, uint32_t{24});
  for (const float sample : {NAN, NAN, 3.0f, 1.5f, 4.0f, NAN}) {
    wfm.resize(wfm.size() + 4);
    SetBig(&wfm, wfm.size() - 4, sample);
  }
  Put("nan.wfm", wfm);
  MakeCapture("a.wfm", {"--format", "wfm"});
  Put("bad.bin", "AG\1\2");
  const Json files = Info({"nan.wfm", "bad.bin", "a.wfm"}, 3);
  const Json &hidden = files[0]["facts"];
  EXPECT_EQ(files[0]["format"], "wfm");
  EXPECT_EQ(hidden["version"], 1);
  EXPECT_EQ(hidden["byte_order"], "big-endian");
  EXPECT_EQ(hidden["sample_format"], "32-bit float");
  EXPECT_EQ(hidden["samples"], 3);
  EXPECT_EQ(hidden["hidden_in_front"], 2);
  EXPECT_EQ(hidden["hidden_behind"], 1);
  EXPECT_EQ(hidden["interval"], 2e-12);
  EXPECT_EQ(hidden["minimum"], -0.25);
  EXPECT_EQ(hidden["maximum"], 1.0);
  EXPECT_NEAR(hidden["mean"].get<double>(), 1.25 / 3, 1e-15);
  EXPECT_EQ(files[0]["units"]["interval"], "s");
  EXPECT_NE(files[1]["error"].get<std::string>().find("file header at byte 0"), std::string::npos);
  // 30,000 UI whose two ends jitter by some ps.
  EXPECT_NEAR(files[2]["facts"]["estimated_unit_interval"].get<double>(), 125e-12, 1e-15);
  EXPECT_NEAR(files[2]["facts"]["estimated_bit_rate"].get<double>(), 8e9, 1e5);

  const Outcome text = Run({"info", Path("a.wfm")});
  EXPECT_NE(text.out.find("estimated bit rate"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("12.5000 ps"), std::string::npos) << text.out;
}

// A line that passes from port 1 to 2, or numbered the other way from 1 to 3.
TEST_F(Commands, InfoShowsPortOrder) {
  const std::string options = "! made by hand\n# MHz S RI R 50\n";
  const std::string near = " 0 0 0.9 0 0 0 0 0\n", far = " 0 0 0 0 0.9 0 0 0\n",
                    none = " 0 0 0 0 0 0 0 0\n";
  Put("near.s4p", options + "10" + near + " 0.9 0 0 0 0 0 0 0\n" + none + none);
  Put("far.s4p", options + "10" + far + none + " 0.9 0 0 0 0 0 0 0\n" + none);
  Put("two.s2p", options + "10 0 0 0.9 0 0.9 0 0 0\n20 0 0 0.9 0 0.9 0 0 0\n");
  const Json files = Info({"near.s4p", "far.s4p", "two.s2p"}, 3);
  EXPECT_EQ(files[0]["facts"]["ports_as_found"], "1 leads to 2, 3 to 4");
  EXPECT_EQ(files[0]["facts"]["lowest_frequency"], 10e6);
  EXPECT_TRUE(files[0]["notes"].empty());
  EXPECT_EQ(files[1]["facts"]["ports_as_found"], "1 leads to 3, 2 to 4");
  EXPECT_NE(files[1]["notes"][0].get<std::string>().find("exchange ports 2 and 3"),
            std::string::npos);
  // The second line begins behind the 16 + 17 + 23 bytes of the first ones.
  EXPECT_NE(files[2]["error"].get<std::string>().find(
                "row 2 of the first point at byte 54: found 9 numbers, needed 8"),
            std::string::npos)
      << files[2]["error"];
}

TEST_F(Commands, ConvertChoosesByNameAndSaysWhatItLeavesOut) {
  Put("a.txt", "0.5\n-0.25\n");
  ASSERT_EQ(Run({"convert", Path("a.txt"), Path("b.bin"), "--interval", "1e-12"}).exit_code, 0);
  ASSERT_EQ(Run({"convert", Path("b.bin"), Path("b.txt")}).exit_code, 0);
  EXPECT_EQ(Contents(Path("b.txt")), "0.5\n-0.25\n");
  const Outcome unknown = Run({"convert", Path("b.bin"), Path("b.out")});
  EXPECT_EQ(unknown.exit_code, 2);
  EXPECT_NE(unknown.err.find("--to with one of text"), std::string::npos) << unknown.err;
  EXPECT_EQ(Run({"convert", Path("a.txt"), Path("c.bin")}).exit_code, 2);  // needs an interval
  EXPECT_FALSE(fs::exists(Path("c.bin")));
  MakeCapture("pair.bin", {"--format", "bin", "--combined"});
  const Outcome first = Run({"convert", Path("pair.bin"), Path("first.txt")});
  EXPECT_NE(first.err.find("the first of 2 waveforms"), std::string::npos) << first.err;
}

}  // namespace
