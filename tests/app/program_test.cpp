// The program as its users run it: what it prints, how it ends, which files it leaves.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "file_hash.h"
#include "program.h"

namespace {

using namespace app_test;
using Json = nlohmann::json;

using Synth = Program;
using Measure = Program;
using Eye = Program;

TEST_F(Synth, WritesTheCaptureAndItsTruth) {
  MakeCapture("a.txt", {"--sj-amplitude", "3e-12", "--sj-frequency", "2e7", "--seed", "7"});
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"a.txt", "a.txt.truth.json"}));
  const Json truth = Json::parse(Contents(Path("a.txt.truth.json")));
  EXPECT_EQ(truth["schema"], "vomo.synth.truth");
  EXPECT_EQ(truth["sample_count"], 300000);
  EXPECT_EQ(truth["parameters"]["sj_amplitude"]["value"], 3e-12);
  EXPECT_EQ(truth["parameters"]["sj_amplitude"]["unit"], "s");

  // Count the edges and place them by straight lines through the text's own numbers.
  std::ifstream file(Path("a.txt"));
  std::vector<double> crossings;
  double previous = 0, sample = 0;
  int n = 0;
  for (; file >> sample; ++n) {
    if (n > 0 && (previous < 0) != (sample < 0)) {
      crossings.push_back((n - 1 + previous / (previous - sample)) * 12.5e-12);
    }
    previous = sample;
  }
  EXPECT_EQ(n, 300000);
  ASSERT_EQ(crossings.size(),
            truth["rising_edges"].get<size_t>() + truth["falling_edges"].get<size_t>());
  // The numbers in the text are the floats to the last bit, so the crossings are exact to 2e-7
  // samples of 12.5 ps.
  EXPECT_NEAR(crossings.front(), truth["first_edge"].get<double>(), 3e-18);
  EXPECT_NEAR(crossings.back(), truth["last_edge"].get<double>(), 3e-18);

  MakeCapture("b.txt", {"--sj-amplitude", "3e-12", "--sj-frequency", "2e7", "--seed", "7"});
  EXPECT_EQ(Contents(Path("a.txt")), Contents(Path("b.txt")));
}

TEST_F(Synth, PairsBitsAndColumns) {
  std::ofstream(Path("bits")) << "0110\n1000 1";
  const Outcome outcome = Run({"synth", Path("p.txt"), "--complement", Path("n.txt"), "--bits",
                               Path("bits"), "--ui", "9", "--samples-per-ui", "4", "--swing", "2",
                               "--edge-time", "1e-13", "--format", "text2"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  std::ifstream positive(Path("p.txt")), negative(Path("n.txt"));
  std::string levels;
  for (int n = 0; n < 36; ++n) {
    double time_p, time_n, p, q;
    positive >> time_p >> p;
    negative >> time_n >> q;
    ASSERT_NEAR(time_p, n * 31.25e-12, 1e-22);
    EXPECT_EQ(time_p, time_n);
    EXPECT_EQ(p, -q);  // each half has half of the swing
    if (n % 4 == 2) levels += p - q == 1 ? "1" : p - q == -1 ? "0" : "?";
  }
  EXPECT_EQ(levels, "011010001");
}

TEST_F(Synth, RefusesAndLeavesNothing) {
  std::ofstream(Path("bits")) << "0102";
  const struct {
    std::vector<std::string> arguments;
    int exit_code;
    const char *text;
  } cases[] = {
      {{"--rj-rms", "-1"}, 2, "--rj-rms"},
      {{"--samples-per-ui", "x"}, 2, "--samples-per-ui"},
      {{"--pattern", "prbs8"}, 2, "prbs8"},
      {{"--pattern", "bits"}, 2, "bits"},
      {{"--sj-amplitude", "1e-12"}, 2, "sj_frequency"},
      {{"--ui", "0"}, 2, "--ui"},
      {{"--bits", Path("none")}, 3, "none"},
      {{"--bits", Path("bits")}, 3, "byte 3"},
      {{"--complement", Path("no/folder")}, 2, "no/folder"},
  };
  for (const auto &[more, exit_code, text] : cases) {
    std::vector<std::string> arguments = {"synth", Path("out.txt"), "--ui", "100"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << more[0] << outcome.err;
    EXPECT_NE(outcome.err.find(text), std::string::npos) << outcome.err;
    EXPECT_EQ(FilesLeft(), std::vector<std::string>{"bits"}) << more[0];
  }
}

TEST_F(Synth, InterruptedLeavesNothingAndKeepsWhatWasThere) {
  std::ofstream(Path("out.txt")) << "before";
  for (const int signal : {SIGINT, SIGTERM}) {
    const pid_t child = Start({"synth", Path("out.txt"), "--ui", "50000000"});
    // The unfinished files show that the program is at work.
    for (int i = 0; i < 1000 && FilesLeft().size() < 5; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(FilesLeft().size(), 5u);  // two unfinished files, and the program's two streams
    kill(child, signal);
    EXPECT_EQ(Finish(child).exit_code, -signal);
    EXPECT_EQ(FilesLeft(), std::vector<std::string>{"out.txt"});
    EXPECT_EQ(Contents(Path("out.txt")), "before");
  }
}

TEST_F(Synth, WritesThroughLinksAndToDevices) {
  std::ofstream(Path("target.txt")) << "before";
  fs::create_symlink(Path("target.txt"), Path("link.txt"));
  ASSERT_EQ(Run({"synth", Path("link.txt"), "--ui", "10"}).exit_code, 0);
  EXPECT_TRUE(fs::is_symlink(Path("link.txt")));
  EXPECT_EQ(Contents(Path("target.txt")).substr(0, 4), "0.4\n");
  const Outcome full = Run({"synth", "/dev/full", "--ui", "10"});
  EXPECT_EQ(full.exit_code, 2);
  EXPECT_NE(full.err.find("/dev/full"), std::string::npos) << full.err;
}

TEST_F(Program, AFullStandardOutputIsToldOf) {
  const int status =
      std::system((std::string(VOMO_BINARY) + " settings --rate 8e9 2>&1 >/dev/full").c_str());
  EXPECT_EQ(WEXITSTATUS(status), 2);
}

TEST_F(Measure, TableAndJsonOfAKnownCapture) {
  MakeCapture("a.txt");
  const Outcome outcome = Run({"measure", Path("a.txt"), "--rate", "8e9", "--spui", "10", "--json",
                               Path("a.json"), "--timing"});
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  for (const char *text : {"Unit interval", "125.0", "Random jitter Rj", "Total jitter Tj", "pass",
                           "1e-12", "first-order high pass at 4.80 MHz"}) {
    EXPECT_NE(outcome.out.find(text), std::string::npos) << text << "\n" << outcome.out;
  }
  EXPECT_NE(outcome.err.find("Msamples/s"), std::string::npos);
  EXPECT_EQ(outcome.out.find('\x1b'), std::string::npos);  // no terminal, no colour

  const Json json = Json::parse(Contents(Path("a.json")));
  EXPECT_EQ(json["schema"], "vomo.measure");
  EXPECT_EQ(json["version"], 1);
  EXPECT_TRUE(json["library_version"].is_string());
  EXPECT_EQ(json["captures"][0]["bytes"], fs::file_size(Path("a.txt")));
  EXPECT_EQ(json["captures"][0]["sha256"].get<std::string>().size(), 64u);
  EXPECT_EQ(json["captures"][0]["samples"], 300000);
  EXPECT_EQ(json["within_limits"], true);
  const Json &results = json["results"];
  // The mean interval of 30,000 UI is off by the jitter of its two ends: some ps / 30,000.
  EXPECT_NEAR(results["dUnitInterval"].get<double>(), 125e-12, 1e-15);
  EXPECT_EQ(
      results["ulLastIndex"].get<uint64_t>() + 1,
      results["ulPointsUsed"].get<uint64_t>() + 2 * results["ulFirstValidIndex"].get<uint64_t>());
  EXPECT_NEAR(results["dEdgeDensity"].get<double>(), 256.0 / 511, 0.002);
  EXPECT_EQ(results["sJitterPdf"]["pdPDF"].size(), results["sJitterPdf"]["ulBinCount"]);
  EXPECT_EQ(results["sJitterSpectrum"]["pdRawMagnitude"].size(),
            results["sJitterSpectrum"]["ulBinCount"]);
  EXPECT_EQ(json["results_units"]["dTjPeakPeak"], "s");
  EXPECT_EQ(json["settings"]["dTargetUI"], 125e-12);
  EXPECT_EQ(json["settings_units"]["dTargetUI"], "s");
  for (const Json &row : json["rows"]) {
    if (row["quantity"] == "Total jitter Tj") {
      EXPECT_EQ(row["value"], results["dTjPeakPeak"]);
      EXPECT_EQ(row["limit"], json["settings"]["dTjPeakPeakJitterLimit"]);
    }
  }

  // The same document on the standard output, and nothing else there.
  const Outcome piped =
      Run({"measure", Path("a.txt"), "--rate", "8e9", "--interval", "12.5e-12", "--json", "-"});
  EXPECT_EQ(Json::parse(piped.out)["results"], results);
}

// One block of a simulator's file: four words, the payload and its length again.
void WriteBlock(std::ofstream &file, uint32_t count, const void *payload, uint32_t bytes) {
  const uint32_t prefix[] = {4, count, 4, bytes};
  file.write(reinterpret_cast<const char *>(prefix), sizeof prefix);
  file.write(static_cast<const char *>(payload), bytes);
  file.write(reinterpret_cast<const char *>(&bytes), sizeof bytes);
}

TEST_F(Measure, ASimulatorFileIsFoundByItsContent) {
  MakeCapture("a.txt");
  std::ifstream text(Path("a.txt"));
  std::vector<float> samples;
  for (float sample; text >> sample;) samples.push_back(sample);
  std::string header(272, ' ');
  header.replace(0, 16, "0001000000000000");  // one variable, no probes, no leading floats
  header.replace(header.size() - 8, 8, "$&%#    ");
  {
    std::ofstream file(Path("a.tr0"), std::ios::binary);
    WriteBlock(file, 0, header.data(), static_cast<uint32_t>(header.size()));
    const auto count = static_cast<uint32_t>(samples.size());
    WriteBlock(file, count, samples.data(), 4 * count);
  }
  const auto measured = [&](const char *name) {
    const Outcome outcome =
        Run({"measure", Path(name), "--rate", "8e9", "--spui", "10", "--json", "-"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    return Json::parse(outcome.out);
  };
  const Json spice = measured("a.tr0");
  EXPECT_EQ(spice["captures"][0]["format"], "spice");
  EXPECT_EQ(spice["results"], measured("a.txt")["results"]);
}

TEST_F(Measure, PatternCheckIsALimit) {
  // The 64 runs of a period of PRBS7: halves of what is left, and one of 6 and of 7 bits.
  const std::vector<std::string> check = {
      "--rate", "8e9",
      "--spui", "10",
      "--set",  "psPatChkData.ulPatChkCount=100",
      "--set",  R"(psPatChkData.psPatDefArray=[{"pdPatDefCounts":[0,32,16,8,4,2,1,1]}])"};
  for (const auto &[pattern, exit_code] : {std::pair{"prbs7", 0}, std::pair{"prbs9", 1}}) {
    MakeCapture("a.txt", {}, pattern);
    std::vector<std::string> arguments = {"measure", Path("a.txt")};
    arguments.insert(arguments.end(), check.begin(), check.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, exit_code) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find("Pattern check"), std::string::npos) << outcome.out;
  }
}

// The four bytes of a PNG's number, most significant first.
uint32_t BigEndian(const std::string &bytes, size_t at) {
  uint32_t value = 0;
  for (size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i));
  return value;
}

TEST_F(Eye, PictureAndCountsOfAKnownCapture) {
  MakeCapture("a.txt", {"--edge-time", "25e-12"});
  std::vector<std::string> arguments = {"eye",    Path("a.txt"), "--rate", "8e9",
                                        "--spui", "10",          "--png",  Path("a.png"),
                                        "--csv",  Path("a.csv")};
  const Outcome outcome = Run(arguments);
  ASSERT_EQ(outcome.exit_code, 0) << outcome.err;
  const std::string png = Contents(Path("a.png"));
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
  EXPECT_EQ(BigEndian(png, 16), 1220u);
  EXPECT_EQ(BigEndian(png, 20), 720u);
  EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");

  std::ifstream file(Path("a.csv"));
  std::map<std::string, double> head;
  std::vector<std::vector<uint64_t>> rows;
  for (std::string line; std::getline(file, line);) {
    if (line[0] == '#') {
      head[line.substr(2, line.find(',') - 2)] = std::stod(line.substr(line.find(',') + 1));
      continue;
    }
    std::stringstream cells(line);
    rows.emplace_back();
    for (std::string cell; std::getline(cells, cell, ',');)
      rows.back().push_back(std::stoull(cell));
  }
  ASSERT_EQ(rows.size(), 256u);
  // All bits but those that the capture's ends cut, the longest run of the pattern among them.
  EXPECT_GT(head["bits"], 29980);
  EXPECT_LE(head["bits"], 30000);
  EXPECT_NEAR(head["x step (s)"] * 256, 125e-12, 1e-15);
  const auto row_of = [&](double v) {
    return static_cast<size_t>((v - head["y origin (V)"]) / head["y step (V)"]);
  };
  for (size_t column = 0; column < 512; ++column) {
    uint64_t sum = 0;
    for (const auto &row : rows) sum += row.at(column);
    ASSERT_EQ(static_cast<double>(sum), head["bits"] * head["weight of one bit in a column"]);
  }
  // Bits stand at 0.4 V or -0.4 V in their middle, half of them each, and nothing lies between.
  const double full = head["bits"] * head["weight of one bit in a column"];
  EXPECT_NEAR(static_cast<double>(rows[row_of(0.4)][256]) / full, 0.5, 0.01);
  EXPECT_NEAR(static_cast<double>(rows[row_of(-0.4)][256]) / full, 0.5, 0.01);
  EXPECT_EQ(rows[row_of(0)][256], 0u);
  // Edges cross 0 V at 0 and 1 UI: 1 ps of jitter is 2 columns.
  EXPECT_GT(rows[row_of(0)][128], 0u);
  EXPECT_GT(rows[row_of(0)][384], 0u);

  // Eyes that can't be drawn leave no file behind.
  fs::remove(Path("a.png"));
  fs::remove(Path("a.csv"));
  arguments.insert(arguments.end(), {"--max-samples", "2000"});
  EXPECT_EQ(Run(arguments).exit_code, 4);
  arguments.insert(arguments.end(), {"--bits", "some"});
  EXPECT_EQ(Run(arguments).exit_code, 2);
  EXPECT_EQ(FilesLeft(), (std::vector<std::string>{"a.txt", "a.txt.truth.json"}));
}

TEST_F(Measure, InterruptedLeavesNoResult) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const pid_t child = Start({"measure", Path("pipe"), "--format", "text", "--rate", "8e9", "--spui",
                             "10", "--json", Path("result.json")});
  // Opening the other end succeeds when the program reads; with no data it waits.
  const int feed = open(Path("pipe").c_str(), O_WRONLY);
  kill(child, SIGINT);
  EXPECT_EQ(Finish(child).exit_code, -SIGINT);
  close(feed);
  EXPECT_EQ(FilesLeft(), std::vector<std::string>{"pipe"});
}

// What the program shows on a terminal of its own.
std::string OnTerminal(const std::vector<std::string> &arguments, bool no_color) {
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    no_color ? setenv("NO_COLOR", "1", 1) : unsetenv("NO_COLOR");
    Execute(arguments);
  }
  std::string shown;
  char block[4096];
  for (ssize_t count; (count = read(terminal, block, sizeof block)) > 0;) {
    shown.append(block, static_cast<size_t>(count));
  }
  close(terminal);
  waitpid(child, nullptr, 0);
  return shown;
}

TEST_F(Measure, ProgressAndColourOnATerminalOnly) {
  MakeCapture("a.txt");
  const std::vector<std::string> arguments = {"measure", Path("a.txt"), "--rate",
                                              "8e9",     "--spui",      "10"};
  const std::string shown = OnTerminal(arguments, false);
  EXPECT_NE(shown.find("reading"), std::string::npos) << shown;
  EXPECT_NE(shown.find(" % "), std::string::npos) << shown;
  EXPECT_NE(shown.find("measuring"), std::string::npos) << shown;
  EXPECT_NE(shown.find("\x1b[32mpass"), std::string::npos) << shown;
  EXPECT_EQ(OnTerminal(arguments, true).find("\x1b[32m"), std::string::npos);
  const Outcome quiet = Run(arguments);
  EXPECT_EQ(quiet.err, "");
  EXPECT_EQ(quiet.out.find('\x1b'), std::string::npos);
}

TEST_F(Measure, HashIsTheKnownDigest) {
  std::ofstream(Path("abc")) << "abc";
  EXPECT_EQ(app::FileSha256(Path("abc")),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(Measure, PairGivesWhatTheDifferenceGives) {
  MakeCapture("one.txt");
  MakeCapture("p.txt", {"--complement", Path("n.txt")});
  const auto results = [&](std::vector<std::string> captures) {
    std::vector<std::string> arguments = {"measure", "--rate", "8e9", "--spui",
                                          "10",      "--json", "-"};
    arguments.insert(arguments.end(), captures.begin(), captures.end());
    const Outcome outcome = Run(arguments);
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    return Json::parse(outcome.out)["results"];
  };
  // Halving and subtracting a negative half are exact in float.
  EXPECT_EQ(results({Path("p.txt"), Path("n.txt")}), results({Path("one.txt")}));

  std::ofstream(Path("short.txt")) << "0.1\n0.2\n";
  const Outcome unequal =
      Run({"measure", Path("p.txt"), Path("short.txt"), "--rate", "8e9", "--spui", "10"});
  EXPECT_EQ(unequal.exit_code, 3);
  EXPECT_NE(unequal.err.find("has 300000 samples"), std::string::npos) << unequal.err;
}

TEST_F(Measure, ExitCodesAndMessages) {
  MakeCapture("a.txt");
  std::ofstream(Path("empty.txt"));
  std::ofstream(Path("words.txt")) << "no numbers here\n";
  std::ofstream(Path("binary"), std::ios::binary) << "\x01\x02\x03";
  std::ofstream(Path("damaged.tr0"), std::ios::binary) << std::string("\4\0\0\0\1\1\1", 7);
  {
    std::ofstream flat(Path("flat.txt"));
    for (int i = 0; i < 1000; ++i) flat << "0.25\n";
  }
  std::ofstream(Path("broken.json")) << "{\"dTargetUI\": ";
  const struct {
    std::vector<std::string> arguments;
    int exit_code;
    std::vector<std::string> texts;
  } cases[] = {
      {{"a.txt", "--set", "dTjPeakPeakJitterLimit=1e-12"}, 1, {}},
      {{"a.txt", "--set", "dTjPeakPeakJitterLimit=0"}, 0, {}},  // 0 is no limit
      {{"a.txt", "--set", "dTargetUII=1e-12"}, 2, {"dTargetUII"}},
      {{"a.txt", "--settings", Path("broken.json")}, 2, {"broken.json"}},
      {{"a.txt", "--format", "text", "--unknown"}, 2, {"--unknown"}},
      {{"a.txt", "--json", Path("no/folder/x.json")}, 2, {"no/folder"}},
      {{"missing.txt"}, 3, {"missing.txt", "try: "}},
      {{"empty.txt"}, 3, {"empty.txt", "empty"}},
      {{"words.txt"}, 3, {"words.txt", "Unexpected end of file", "try: "}},
      {{"binary"}, 3, {"binary", "no known format", "spice"}},
      {{"damaged.tr0"}, 3, {"damaged.tr0", "Error reading data input file", "try: "}},
      {{"."}, 3, {"folder"}},
      {{"flat.txt"}, 4, {"flat.txt", "out of range", "crosses 0 V"}},
      {{"a.txt", "--max-samples", "50000"}, 4, {"Not enough Unit Intervals", "a longer capture"}},
  };
  for (const auto &[arguments, exit_code, texts] : cases) {
    std::vector<std::string> all = {"measure", Path(arguments[0]), "--rate", "8e9", "--spui", "10"};
    all.insert(all.end(), arguments.begin() + 1, arguments.end());
    const Outcome outcome = Run(all);
    EXPECT_EQ(outcome.exit_code, exit_code) << arguments[0] << ": " << outcome.err;
    for (const std::string &text : texts) {
      EXPECT_NE(outcome.err.find(text), std::string::npos) << text << " not in " << outcome.err;
    }
    // A failed limit is told in the table; whatever else fails leaves the output empty.
    EXPECT_EQ(outcome.out.find("FAIL") != std::string::npos, exit_code == 1) << outcome.out;
    EXPECT_EQ(outcome.out.empty(), exit_code > 1) << outcome.out;
  }
  // An interval that can't be right is measured, with a warning beside the failed limits.
  const Outcome wrong = Run({"measure", Path("a.txt"), "--rate", "8e9", "--interval", "10e-12"});
  EXPECT_EQ(wrong.exit_code, 1);
  EXPECT_NE(wrong.err.find("times dTargetUI"), std::string::npos) << wrong.err;
  const Outcome bare = Run({"measure", Path("a.txt"), "--rate", "8e9"});
  EXPECT_EQ(bare.exit_code, 2);
  EXPECT_NE(bare.err.find("--interval"), std::string::npos) << bare.err;
}

}  // namespace
