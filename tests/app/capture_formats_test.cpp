// Captures in every format: written and read back, told apart by content, explained when damaged.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "capture_reader.h"
#include "capture_writer.h"
#include "program.h"
#include "signal_summary.h"
#include "synth_signal.h"

namespace {

using namespace app_test;
using namespace app;

constexpr double kInterval = 12.5e-12;

const CaptureFormat &FormatNamed(const std::string &name) {
  for (const CaptureFormat &format : WritableFormats()) {
    if (name == format.name) return format;
  }
  throw std::invalid_argument(name);
}

class Formats : public Program {
 protected:
  void Put(const std::string &name, const std::string &bytes) {
    std::ofstream(Path(name), std::ios::binary) << bytes;
  }
  // Writes waveforms in pieces, as they come from a signal source.
  void WriteFile(const std::string &name, const std::string &format,
                 const std::vector<std::vector<float>> &waveforms, double interval_s = kInterval) {
    std::vector<SampleSource> sources;
    for (const std::vector<float> &samples : waveforms) {
      sources.push_back([&samples](const SampleSink &sink) {
        const size_t cut = samples.size() / 3;
        sink(std::span(samples).first(cut));
        sink(std::span(samples).subspan(cut));
      });
    }
    OutputFile file(Path(name));
    WriteCapture(FormatNamed(format), {waveforms[0].size(), interval_s}, sources, file);
    file.Commit();
  }
  CaptureRequest RequestOf(const std::string &name) const {
    CaptureRequest request;
    request.path = Path(name);
    request.interval_needed = false;
    return request;
  }
  std::vector<Capture> Read(const std::string &name, int waveforms = 1) const {
    const CaptureFile file = CaptureFile::Open(RequestOf(name), waveforms);
    if (waveforms == 2) return Capture::ReadTwo(file, RequestOf(name));
    std::vector<Capture> captures;
    captures.push_back(Capture::Read(file, RequestOf(name)));
    return captures;
  }
};

std::vector<float> Noise(size_t count, double middle, double reach, uint64_t seed = 1) {
  RandomStream random(seed, 0);
  std::vector<float> samples(count);
  for (float &sample : samples) {
    sample = static_cast<float>(middle + reach * (2 * random.Uniform() - 1));
  }
  return samples;
}

void ExpectNear(const Capture &capture, const std::vector<float> &expected, double tolerance,
                const std::string &what) {
  const VomoWaveform &waveform = *capture.waveform();
  ASSERT_EQ(waveform.ulNumSamples, expected.size()) << what;
  for (size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(waveform.pfSamples[i], expected[i], tolerance) << what << " sample " << i;
  }
}

// Integers: the range's half, from its middle as a float, takes the type's greatest number less 2
// steps, and a sample is off by half a step at most. Reading narrows the volts to float once more,
// as does a gain that is a float: 2^-24 of the greatest voltage for each. Floats and the shortest
// text of a float are exact.
TEST_F(Formats, ReadBackAsWritten) {
  const struct {
    const char *format, *read_as;
    double most;  // of the integers, 0 for floats
    bool tells_interval, float_interval;
  } formats[] = {
      {"text", "text", 0, false, false},    {"text2", "text", 0, false, false},
      {"spice", "spice", 0, false, false},  {"bin", "bin", 0, true, false},
      {"wfm-float", "wfm", 0, true, false}, {"wfm", "wfm", 32767, true, false},
      {"trc", "trc", 32767, true, true},    {"trc8", "trc", 127, true, true},
  };
  ASSERT_EQ(std::size(formats), WritableFormats().size());
  const struct {
    const char *name;
    std::vector<float> samples;
  } signals[] = {
      {"one sample", {0.25f}},
      {"constant", std::vector<float>(100, -0.3f)},
      {"far from zero", Noise(1000, 1000, 0.01)},
      {"more than a block", Noise(200'001, 0.1, 0.4)},
  };
  for (const auto &[format, read_as, most, tells_interval, float_interval] : formats) {
    for (const auto &[signal, samples] : signals) {
      const std::string what = std::string(format) + ", " + signal;
      WriteFile("capture", format, {samples});
      const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
      const double middle = static_cast<float>((double{*low} + double{*high}) / 2);
      const double reach = std::max(*high - middle, middle - *low);
      const double greatest = std::max(std::abs(*low), std::abs(*high));
      const double tolerance =
          most == 0 ? 0 : reach / (most - 2) / 2 + 2 * greatest * std::ldexp(1, -24);
      const std::vector<Capture> captures = Read("capture");
      EXPECT_STREQ(captures[0].format(), read_as);
      ExpectNear(captures[0], samples, tolerance, what);
      EXPECT_TRUE(captures[0].notes().empty()) << what << ": " << captures[0].notes()[0];
      const double interval = float_interval ? static_cast<float>(kInterval) : kInterval;
      EXPECT_EQ(captures[0].waveform()->dSampleInterval, tells_interval ? interval : 1) << what;
    }
  }
}

TEST_F(Formats, TwoWaveformsOfOneFile) {
  const std::vector<float> a = Noise(100'000, 0, 1, 1), b = Noise(100'000, 0, 1, 2);
  for (const char *format : {"bin", "spice"}) {
    WriteFile("pair", format, {a, b});
    const std::vector<Capture> captures = Read("pair", 2);
    ExpectNear(captures[0], a, 0, format);
    ExpectNear(captures[1], b, 0, format);
    CaptureRequest request = RequestOf("pair");
    request.max_samples = 10;
    for (const Capture &capture : Capture::ReadTwo(CaptureFile::Open(request, 2), request)) {
      EXPECT_EQ(capture.waveform()->ulNumSamples, 10u) << format;
    }
  }
  EXPECT_THROW(WriteFile("pair", "trc", {a, b}), Failure);
  EXPECT_THROW(WriteFile("nan", "wfm", {{NAN, 1}}), Failure);  // integers have no place for it
}

TEST_F(Formats, ContentDecidesAndNotTheName) {
  const char *names[] = {"a.wfm", "a.trc", "a.bin", "a.txt"};
  const char *formats[] = {"trc", "bin", "text", "wfm"};
  for (int i = 0; i < 4; ++i) {
    WriteFile(names[i], formats[i], {{0.5f, 0.25f, -0.5f}});
    EXPECT_STREQ(Read(names[i])[0].format(), formats[i]) << names[i];
  }
  // Text that begins like others; a WFM version text without colon; blocks with a prefix.
  Put("AG.bin", "AGC trace\n0.5\n");
  EXPECT_STREQ(CaptureFile::Open(RequestOf("AG.bin")).reader->name, "text");
  Put("x", std::string("\0\0WFM#0003", 10));
  EXPECT_STREQ(CaptureFile::Open(RequestOf("x")).reader->name, "wfm");
  Put("x", "#9000000346WAVEDESC");
  EXPECT_STREQ(CaptureFile::Open(RequestOf("x")).reader->name, "trc");
  Put("x", "! by hand\n# ghz s db r 50\n");
  EXPECT_STREQ(CaptureFile::Open(RequestOf("x")).reader->name, "touchstone");
  Put("x.trc", "DATA\1\2");
  try {
    CaptureFile::Open(RequestOf("x.trc"));
    FAIL();
  } catch (const Failure &failure) {
    EXPECT_NE(std::string(failure.what()).find("44 41 54 41 01 02"), std::string::npos);
    EXPECT_NE(failure.advice().find("WAVEDESC"), std::string::npos) << failure.advice();
  }
}

template <class T>
void Set(std::string *bytes, size_t offset, T value) {
  std::memcpy(bytes->data() + offset, &value, sizeof value);
}

// Each file is whole but for one thing. The files hold three samples; where a number stands follows
// from the layouts: BIN headers at 12 and 152 and samples at 164, TRC samples at 346, WFM at 838.
TEST_F(Formats, RefusalsNameCheckByteAndNeed) {
  using Bytes = std::string;
  const struct {
    const char *format;
    std::function<void(Bytes *)> damage;
    const char *text;
    int waveforms = 1;
  } cases[] = {
      {"bin", [](Bytes *b) { Set<int32_t>(b, 12, 3); },
       "waveform header length at byte 12: found 3, needed a length from 4 to the 164 bytes left"},
      {"bin", [](Bytes *b) { Set<int32_t>(b, 24, -1); },
       "number of points at byte 24: found -1, needed 0 or more"},
      {"bin", [](Bytes *b) { Set<int16_t>(b, 156, 6); },
       "buffer type at byte 156: found 6, needed 1, 2 or 3"},
      {"bin", [](Bytes *b) { Set<int16_t>(b, 158, 8); },
       "bytes per point at byte 158: found 8, needed 4"},
      {"bin", [](Bytes *b) { Set<uint32_t>(b, 160, 16); },
       "buffer size at byte 160: found 16 bytes for 3 points, needed no more than 12 bytes"},
      {"bin", [](Bytes *b) { b->resize(170); },
       "samples at byte 170: found the end of the file, needed 3 samples up to byte 176; "
       "--max-samples 1"},
      {"bin", [](Bytes *) {}, "number of waveforms at byte 8: found 1, needed 2", 2},
      {"trc", [](Bytes *b) { b->resize(345); },
       "descriptor at byte 345: found the end of the file, needed 346 bytes"},
      {"trc", [](Bytes *b) { Set<uint16_t>(b, 34, 0); },
       "byte order at byte 34: found 00 00, needed 01 00"},
      {"trc", [](Bytes *b) { Set<uint32_t>(b, 36, 65536); },
       "descriptor length at byte 36: found 65536, needed a length below 65536"},
      {"trc", [](Bytes *b) { Set<uint32_t>(b, 40, 70000); },
       "user text length at byte 40: found 70000"},
      {"trc", [](Bytes *b) { Set<uint32_t>(b, 60, 1); },
       "array length at byte 60: found 1, needed 2 bytes or more"},
      {"trc", [](Bytes *b) { b->resize(347); },
       "samples at byte 347: found the end of the file, needed samples from byte 346 on"},
      // A prefix moves everything behind it.
      {"trc", [](Bytes *b) { b->insert(0, "#0"), Set<uint16_t>(b, 36, 256); },
       "byte order at byte 36: found 00 01"},
      {"wfm", [](Bytes *b) { (*b)[9] = '4'; },
       "version digit at byte 9: found 34 (\"4\"), needed 1, 2 or 3"},
      {"wfm", [](Bytes *b) { b->resize(837); },
       "header at byte 837: found the end of the file, needed 838 bytes"},
      {"wfm", [](Bytes *b) { (*b)[15] = 1; },
       "bytes per point at byte 15: found 1, needed 2 for 16-bit signed samples"},
      {"wfm", [](Bytes *b) { Set<uint32_t>(b, 822, 7); },
       "end of the samples at byte 826: found 6, needed 7 or more"},
      {"spice", [](Bytes *b) { Set<uint32_t>(b, 12, 9000); },
       "header block length at byte 12: found 9000, needed 8195 or less"},
      // The header's text ends at 288 and its block at 292: then comes a block of data.
      {"spice", [](Bytes *b) { (*b)[287] = '#'; }, "header block at byte 3"},
      {"spice", [](Bytes *b) { (*b)[19] = '0'; },
       "number of columns at byte 16: found 0 variables and 0 probes, needed 1 or more"},
      {"spice", [](Bytes *b) { b->resize(292); },
       "data block at byte 292: found the end of the file, needed a block with numbers"},
      {"text", [](Bytes *b) { *b = "time, volts\n"; },
       "data at byte 12: found the end of the file, needed a line with a number"},
  };
  for (const auto &[format, damage, text, waveforms] : cases) {
    WriteFile("capture", format, {{0.5f, 0.25f, -0.5f}});
    Bytes bytes = Contents(Path("capture"));
    damage(&bytes);
    Put("capture", bytes);
    try {
      Read("capture", waveforms);
      ADD_FAILURE() << "read: " << text;
    } catch (const Failure &failure) {
      EXPECT_EQ(failure.code(), ExitCode::kUnreadable) << text;
      EXPECT_NE(std::string(failure.what()).find(text), std::string::npos)
          << text << "\nnot in " << failure.what();
      EXPECT_FALSE(failure.advice().empty()) << text;
    }
  }
}

// What the library reads in silence is told nevertheless.
TEST_F(Formats, NotesOnWhatReadsOtherwiseThanItSeems) {
  const std::vector<float> samples = {0.5f, 0.25f, -0.5f};
  const auto note_of = [&](const std::string &name) {
    const std::vector<Capture> captures = Read(name);
    return captures[0].notes().empty() ? "" : captures[0].notes()[0];
  };
  WriteFile("cut", "trc", {samples});
  fs::resize_file(Path("cut"), 350);
  EXPECT_NE(note_of("cut").find("it holds 2 of 3 samples"), std::string::npos) << note_of("cut");
  EXPECT_EQ(Read("cut")[0].waveform()->ulNumSamples, 2u);
  WriteFile("cut", "wfm", {samples});
  fs::resize_file(Path("cut"), 840);
  EXPECT_NE(note_of("cut").find("ends at byte 840, its samples at 844"), std::string::npos);
  WriteFile("cut", "bin", {samples});
  fs::resize_file(Path("cut"), 152);
  EXPECT_NE(note_of("cut").find("3 samples read as zeros"), std::string::npos);
  Put("title", "Run 7 of June\nvolts\n0.5\n");
  EXPECT_NE(note_of("title").find("--skip-lines 1"), std::string::npos) << note_of("title");
  Put("comma", "0.0 0.5\n0,25\n");
  EXPECT_NE(note_of("comma").find("line 2 at byte 8, \"0,25\", has a comma"), std::string::npos);
  Put("plain", "time, volts\n0.0, 0.5\n1e-12, -2.5E-1\r\n");
  EXPECT_EQ(note_of("plain"), "");
}

TEST_F(Formats, UnitIntervalIsEstimatedFromEdges) {
  SynthSpec spec;
  spec.ui_count = 20'000;
  spec.samples_per_ui = 8.4;
  spec.rj_rms = 2e-12;
  spec.noise_rms = 0.01;
  std::vector<float> samples = Synthesize(spec).samples;
  const SignalSummary summary = Summarize(samples);
  // Neighbouring gaps share their edge, so their errors cancel but at the two ends: far below the
  // 2 ps and the noise of one edge, spread over 20,000 UI.
  EXPECT_NEAR(summary.samples_per_ui.value_or(0), 8.4, 1e-4);
  for (float &sample : samples) sample = 1.5f + 0.5f * sample;  // one half of a pair
  EXPECT_NEAR(Summarize(samples).samples_per_ui.value_or(0), 8.4, 1e-4);
  EXPECT_FALSE(Summarize(Noise(10'000, 0, 1)).samples_per_ui);
  EXPECT_FALSE(Summarize(std::vector<float>(1000, 0.5f)).samples_per_ui);

  const SignalSummary odd = Summarize(std::vector<float>{1, NAN, -3, INFINITY});
  EXPECT_EQ(odd.not_finite, 2u);
  EXPECT_EQ(odd.lowest, -3);
  EXPECT_EQ(odd.highest, 1);
  EXPECT_EQ(odd.mean, -1);
  // (1, 2, 3) and (1, 3, 2) about their means: products 1 + 0 + 0, squares 2 and 2.
  EXPECT_NEAR(Correlation(std::vector<float>{1, 2, 3}, std::vector<float>{1, 3, 2, 9}), 0.5, 1e-15);
}

}  // namespace
