#include "capture_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <vector>

#include "capture_reader.h"

namespace app {
namespace {

// One line for each sample, in front of it the time where wanted. A sample has the fewest digits
// that read back as the same float.
class TextWriter : public CaptureWriter {
 public:
  TextWriter(const CaptureInfo &info, OutputFile &file, bool with_time)
      : info_(info), file_(file), with_time_(with_time), buffer_(kBufferBytes) {}

  void Write(std::span<const float> samples) override {
    for (const float sample : samples) {
      if (used_ + kLineBytes > buffer_.size()) Flush();
      char *end = buffer_.data() + buffer_.size();
      char *at = buffer_.data() + used_;
      if (with_time_) {
        const double time_s = static_cast<double>(count_) * info_.sample_interval_s;
        at = std::to_chars(at, end, time_s, std::chars_format::scientific, 12).ptr;
        *at++ = ' ';
      }
      at = std::to_chars(at, end, sample).ptr;
      *at++ = '\n';
      used_ = static_cast<size_t>(at - buffer_.data());
      ++count_;
    }
  }

  void Finish() override { Flush(); }

 private:
  static constexpr size_t kBufferBytes = 1 << 20, kLineBytes = 64;

  void Flush() {
    file_.Write({buffer_.data(), used_});
    used_ = 0;
  }

  CaptureInfo info_;
  OutputFile &file_;
  bool with_time_;
  std::vector<char> buffer_;
  size_t used_ = 0;
  uint64_t count_ = 0;
};

template <bool with_time>
std::unique_ptr<CaptureWriter> OpenText(const CaptureInfo &info, OutputFile &file) {
  return std::make_unique<TextWriter>(info, file, with_time);
}

constexpr uint64_t kMostInRecord = UINT32_MAX;          // what the readers count up to
constexpr uint64_t kMostBufferFloats = UINT32_MAX / 4;  // in a buffer whose bytes are counted so
constexpr uint64_t kMostBufferShorts = UINT32_MAX / 2;

constexpr CaptureFormat kFormats[] = {
    {"text", ".txt", "one sample (volts) on each line", false, false, 1, kMostInRecord,
     OpenText<false>},
    {"text2", "", "time (seconds) and sample (volts) on each line", true, false, 1, kMostInRecord,
     OpenText<true>},
    {"spice", ".tr0", "simulator's binary transient file", false, false, 2, kMostInRecord,
     OpenSpice},
    {"bin", ".bin", "floats behind the cookie AG", true, false, 2, kMostBufferFloats, OpenBin},
    {"trc", ".trc", "16-bit samples behind a WAVEDESC descriptor", true, true, 1, kMostBufferShorts,
     OpenTrc<int16_t>},
    {"trc8", "", "8-bit samples behind a WAVEDESC descriptor", true, true, 1, kMostInRecord,
     OpenTrc<int8_t>},
    {"wfm", ".wfm", "16-bit samples behind a header of version 3", true, true, 1, kMostBufferShorts,
     OpenWfm<int16_t>},
    {"wfm-float", "", "floats behind a header of version 3", true, false, 1, kMostBufferFloats,
     OpenWfm<float>},
};

// Sets the extremes of all samples; integers have no place for what is not finite.
void FindRange(const CaptureFormat &format, std::span<const SampleSource> waveforms,
               CaptureInfo *info) {
  float lowest = INFINITY, highest = -INFINITY;
  for (const SampleSource &waveform : waveforms) {
    waveform([&](std::span<const float> samples) {
      for (const float sample : samples) {
        if (!std::isfinite(sample)) {
          throw Failure(ExitCode::kWrongUsage,
                        fmt::format("{} stores integers and can't hold a sample that is {}",
                                    format.name, sample),
                        "bin, which stores floats");
        }
        lowest = std::min(lowest, sample);
        highest = std::max(highest, sample);
      }
    });
  }
  info->lowest = lowest <= highest ? lowest : 0;
  info->highest = lowest <= highest ? highest : 0;
}

}  // namespace

std::span<const CaptureFormat> WritableFormats() {
  return kFormats;
}

std::vector<std::string> WritableFormatNames() {
  std::vector<std::string> names;
  for (const CaptureFormat &format : kFormats) names.emplace_back(format.name);
  return names;
}

const CaptureFormat &ChooseFormat(const std::string &name, const std::string &path) {
  const std::string suffix = std::filesystem::path(path).extension().string();
  std::string names;
  for (const CaptureFormat &format : kFormats) {
    const bool chosen =
        name.empty() ? !suffix.empty() && suffix == format.suffix : name == format.name;
    if (chosen) return format;
    names += fmt::format("{}{} ({})", names.empty() ? "" : ", ", format.name, format.description);
  }
  throw Failure(ExitCode::kWrongUsage, fmt::format("{}: its suffix names no format to write", path),
                "--to with one of " + names);
}

void WriteWaveform(const CaptureFormat &format, const VomoWaveform &waveform,
                   const std::string &name, OutputFile &file) {
  if (waveform.ulTrimFront + waveform.ulTrimBack > 0) {
    PrintNotes(name, {fmt::format("hidden samples are left out: {} in front, {} behind",
                                  waveform.ulTrimFront, waveform.ulTrimBack)});
  }
  const SampleSource samples = [&](const SampleSink &sink) {
    sink({waveform.pfSamples, waveform.ulNumSamples});
  };
  WriteCapture(format, {waveform.ulNumSamples, waveform.dSampleInterval}, {&samples, 1}, file);
}

void WriteCapture(const CaptureFormat &format, CaptureInfo info,
                  std::span<const SampleSource> waveforms, OutputFile &file) {
  if (info.sample_count > format.most_samples) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("{} samples are more than the {} that {} can state",
                              info.sample_count, format.most_samples, format.name));
  }
  info.waveforms = static_cast<int>(waveforms.size());
  if (info.waveforms > format.most_waveforms) {
    throw Failure(ExitCode::kWrongUsage,
                  fmt::format("a {} file does not hold two waveforms", format.name),
                  "bin or spice, or two files");
  }
  if (format.needs_range) FindRange(format, waveforms, &info);
  const std::unique_ptr<CaptureWriter> writer = format.open(info, file);
  for (const SampleSource &waveform : waveforms) {
    waveform([&](std::span<const float> samples) { writer->Write(samples); });
  }
  writer->Finish();
}

}  // namespace app
